// Tables of texts in columns.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

enum class Style;

struct Table {
    enum class Align { left, right };
    /// What becomes of a column when the table is wider than the terminal: kept whole, for words that
    /// somebody types again; cut; broken at blanks, for the sentences of a last column; or left out.
    enum class Fit { keep, cut, wrap, drop };
    struct Column {
        std::string title;
        Align align = Align::left;
        Fit fit = Fit::keep;
    };
    struct Cell {
        std::string text;
        Style style{}; // plain
        Cell(std::string cellText = {}, Style cellStyle = {}) : text(std::move(cellText)), style(cellStyle) {}
        Cell(std::string_view cellText) : text(cellText) {}
        Cell(const char* cellText) : text(cellText) {}
    };
    std::vector<Column> columns;
    std::vector<std::vector<Cell>> rows;
};

namespace tableLayout {
constexpr std::size_t gap = 2;          // between columns
constexpr std::size_t continuation = 4; // before a row's further lines
} // namespace tableLayout

/// `text` in one line, as far in as it begins: " — " for line breaks, control characters escaped.
[[nodiscard]] std::string onOneLine(std::string_view text);
/// `text` cut to `width` terminal cells, with "…" at its end when something was cut off.
[[nodiscard]] std::string cutToWidth(std::string_view text, std::size_t width);
/// `text` filled up with blanks to `width` terminal cells.
[[nodiscard]] std::string padToWidth(std::string_view text, std::size_t width, Table::Align align);

/// `table` without those columns that may be left out, the last first, as far as it takes more than
/// `maximum` terminal cells (0: no bound).
[[nodiscard]] Table fitted(Table table, std::size_t maximum);

/// The widths of the columns in terminal cells, the widest of those that may be narrowed until the whole
/// takes at most `maximum` (0: no bound); two blanks stand between columns.
[[nodiscard]] std::vector<std::size_t> columnWidths(const Table& table, std::size_t maximum);

/// `text` broken at blanks into lines of at most `width` terminal cells.
[[nodiscard]] std::vector<std::string> wrap(std::string_view text, std::size_t width);
/// Each line broken at blanks where a terminal of this width would break it within a word, as far in as it
/// begins; 0 is no bound.
[[nodiscard]] std::string wrapLines(std::string_view text, std::size_t width);

} // namespace quorvel
