#include "Core/revenue/SalesReportParser.h"

#include "Platform/gzip/Gzip.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <optional>

namespace quorvel {

namespace {

constexpr std::uint64_t largestReport = 2ULL << 30; // bytes, inflated
constexpr std::size_t longestLine = 1 << 20;        // bytes
constexpr std::array<std::string_view, 9> firstTimeTypes = {"1",   "1F",  "1T",  "F1",  "1E",
                                                            "1EP", "1EU", "1-B", "F1-B"};

struct ErrorText {
    std::string operator()(const SalesReportParserError::GunzipFailed& problem) const {
        return fmt::format("gunzip failed (status {}): {}", problem.status, problem.reason);
    }
    std::string operator()(const SalesReportParserError::NoReport& problem) const {
        return fmt::format("This is no sales report. It begins with \"{}\".", problem.beginning);
    }
    std::string operator()(const SalesReportParserError::MissingColumns& problem) const {
        return fmt::format("This is no daily summary of sales: it lacks the {} {}.",
                           problem.names.size() == 1 ? "column" : "columns", fmt::join(problem.names, ", "));
    }
    std::string operator()(const SalesReportParserError::TooManyProducts& problem) const {
        return fmt::format("The sales report names more than {} products and currencies.", problem.count);
    }
};

// A bit 0x80 for each tab among eight bytes.
std::uint64_t tabsIn(const char* bytes) {
    constexpr std::uint64_t tabs = 0x0909090909090909, low = 0x7F7F7F7F7F7F7F7F;
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    word ^= tabs;
    return ~(((word & low) + low) | word | low);
}

/// The first cells of a line, at most so many, in storage that is used again.
void splitCells(std::string_view line, std::size_t most, std::vector<std::string_view>& cells) {
    cells.clear();
    std::size_t start = 0, at = 0;
    const auto end = [&](std::size_t tab) {
        cells.push_back(line.substr(start, tab - start));
        start = tab + 1;
        return cells.size() == most;
    };
    if constexpr (std::endian::native ==
                  std::endian::little) // cells are short, and a search for each is slow
        for (; at + sizeof(std::uint64_t) <= line.size(); at += sizeof(std::uint64_t))
            for (auto found = tabsIn(line.data() + at); found != 0; found &= found - 1)
                if (end(at + static_cast<std::size_t>(std::countr_zero(found)) / 8)) return;
    for (; at < line.size(); ++at)
        if (line[at] == '\t' && end(at)) return;
    end(line.size());
}

constexpr std::size_t mostDigits = 18; // that fit 64 bits whatever they are
constexpr auto powersOfTen = [] {
    std::array<double, mostDigits + 1> powers{1};
    for (std::size_t i = 1; i < powers.size(); ++i)
        powers[i] = powers[i - 1] * 10;
    return powers;
}();

/// Reads digits with an optional sign and point; nothing for any other text. Exact for 15 digits.
std::optional<double> decimalNumber(std::string_view text) {
    const bool isNegative = text.starts_with('-');
    if (isNegative) text.remove_prefix(1);
    if (text.size() > mostDigits + 1) return std::nullopt;
    std::uint64_t whole = 0;
    std::size_t digits = 0, decimals = 0;
    bool hasPoint = false;
    for (const char letter : text) {
        if (letter == '.' && !hasPoint) {
            hasPoint = true;
            continue;
        }
        if (letter < '0' || letter > '9') return std::nullopt;
        whole = whole * 10 + static_cast<std::uint64_t>(letter - '0');
        ++digits;
        decimals += hasPoint ? 1 : 0;
    }
    if (digits == 0 || digits > mostDigits) return std::nullopt;
    const double value = static_cast<double>(whole) / powersOfTen[decimals];
    return isNegative ? -value : value;
}

std::optional<std::int64_t> wholeNumber(std::string_view text) {
    const auto value = decimalNumber(text); // some reports write units as "12.00"
    constexpr double largest = 1e15;
    if (!value || *value > largest || *value < -largest) return std::nullopt;
    return static_cast<std::int64_t>(*value);
}

std::string_view withoutBlanks(std::string_view text) {
    while (text.starts_with(' '))
        text.remove_prefix(1);
    while (text.ends_with(' '))
        text.remove_suffix(1);
    return text;
}

std::string beginningOf(std::string_view text) {
    constexpr std::size_t looked = 400; // bytes
    constexpr std::size_t shown = 40;   // characters
    const std::string valid = repairUTF8(text.substr(0, looked));
    return escapeControls(graphemePrefix(valid, shown));
}

/// Joins the pieces of a text to lines.
class LineReader {
  public:
    explicit LineReader(const std::function<void(std::string_view)>& onLine) : onLine_(onLine) {}

    void take(std::string_view piece) {
        while (!piece.empty()) {
            const auto end = piece.find('\n');
            if (end == piece.npos) return keep(piece);
            const auto line = piece.substr(0, end);
            piece.remove_prefix(end + 1);
            if (begun_.empty()) {
                tell(line);
            } else {
                keep(line);
                tell(begun_);
                begun_.clear();
            }
        }
    }
    void finish() {
        if (!begun_.empty()) tell(begun_);
    }

  private:
    void keep(std::string_view part) {
        if (begun_.size() + part.size() > longestLine)
            throw SalesReportParserError(SalesReportParserError::NoReport{beginningOf(begun_)});
        begun_ += part;
    }
    void tell(std::string_view line) {
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (!line.empty()) onLine_(line);
    }

    const std::function<void(std::string_view)>& onLine_;
    std::string begun_;
};

} // namespace

SalesReportParserError::SalesReportParserError(Case problem)
    : problem_(std::move(problem)), description_(std::visit(ErrorText{}, problem_)) {}

SalesReportColumns::SalesReportColumns(std::string_view headerLine) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (headerLine.starts_with(byteOrderMark)) headerLine.remove_prefix(byteOrderMark.size());
    std::vector<std::string_view> cells;
    splitCells(headerLine, headerLine.size() + 1, cells);
    for (const std::string_view cell : cells)
        names_.emplace_back(trim(cell));
    if (names_.size() == 1) {
        throw SalesReportParserError(SalesReportParserError::NoReport{beginningOf(headerLine)});
    }
    std::vector<std::string> missing;
    const auto first = [&](std::initializer_list<std::string_view> spellings) {
        for (const std::string_view name : spellings)
            if (const auto at = find(name); at != none) return at;
        missing.emplace_back(*spellings.begin());
        return none;
    };
    developerProceeds = first({"Developer Proceeds"});
    proceedsCurrency = first({"Currency of Proceeds", "Proceeds Currency", "Partner Share Currency"});
    appleIdentifier = first({"Apple Identifier"});
    productType = first({"Product Type Identifier"});
    units = first({"Units", "Quantity"});
    if (!missing.empty()) throw SalesReportParserError(SalesReportParserError::MissingColumns{missing});
    parentIdentifier = find("Parent Identifier");
    sku = find("SKU");
    for (const auto column :
         {developerProceeds, proceedsCurrency, appleIdentifier, parentIdentifier, productType, units, sku})
        if (column != none) needed_ = std::max(needed_, column + 1);
}

std::size_t SalesReportColumns::find(std::string_view name) const {
    const auto found = std::ranges::find(names_, name);
    return found == names_.end() ? none : static_cast<std::size_t>(found - names_.begin());
}

SalesReportRow::SalesReportRow(const SalesReportColumns& columns, std::string_view line,
                               std::span<const std::string_view> cells)
    : columns_(&columns), line_(line), cells_(cells) {
    const auto count = wholeNumber(cell(columns.units));
    const auto each = cell(columns.developerProceeds);
    const auto amount = decimalNumber(each);
    units_ = count.value_or(0);
    proceeds_ = amount.value_or(0) * static_cast<double>(units_);
    hasUnreadableNumber_ = !count || (!each.empty() && !amount);
}

std::string_view SalesReportRow::raw(std::string_view column) const {
    const std::size_t wanted = columns_->find(column);
    if (wanted < cells_.size() || wanted == SalesReportColumns::none) return cell(wanted);
    std::vector<std::string_view> all;
    splitCells(line_, wanted + 1, all);
    return wanted < all.size() ? withoutBlanks(all[wanted]) : std::string_view();
}

std::string_view SalesReportRow::cell(std::size_t column) const {
    return column < cells_.size() ? withoutBlanks(cells_[column]) : std::string_view();
}

bool SalesReportRow::isFirstTimeDownload() const {
    const auto type = cell(columns_->productType);
    const bool mayBe = !type.empty() && (type.front() == '1' || type.front() == 'F'); // few others do
    return mayBe && std::ranges::find(firstTimeTypes, type) != firstTimeTypes.end();
}

void SalesReportParser::forEachRow(std::string_view compressed,
                                   const std::function<void(const SalesReportRow&)>& onRow) {
    std::optional<SalesReportColumns> columns;
    std::vector<std::string_view> cells;
    const std::function<void(std::string_view)> onLine = [&](std::string_view line) {
        if (!columns) {
            columns.emplace(line);
            return;
        }
        splitCells(line, columns->needed(), cells);
        onRow(SalesReportRow(*columns, line, cells));
    };
    LineReader lines(onLine);
    try {
        inflateGzip(compressed, largestReport, [&](std::string_view piece) { lines.take(piece); });
    } catch (const GzipError& problem) {
        throw SalesReportParserError(SalesReportParserError::GunzipFailed{problem.status(), problem.what()});
    }
    lines.finish();
    if (!columns) throw SalesReportParserError(SalesReportParserError::NoReport{""});
}

SalesReportParser::Totals SalesReportParser::totals(std::string_view compressed) {
    Totals sums;
    forEachRow(compressed, [&](const SalesReportRow& row) {
        sums.units += row.units();
        const double amount = row.proceeds();
        if (amount != 0 && !row.proceedsCurrency().empty())
            sums.proceedsByCurrency[std::string(row.proceedsCurrency())] += amount;
    });
    return sums;
}

} // namespace quorvel
