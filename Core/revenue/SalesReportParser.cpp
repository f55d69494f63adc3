#include "Core/revenue/SalesReportParser.h"

#include "Platform/gzip/Gzip.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <charconv>
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
        return fmt::format("The sales report lacks the columns {}.", fmt::join(problem.names, ", "));
    }
};

/// The cells of a line, in storage that is used again.
void splitCells(std::string_view line, std::vector<std::string_view>& cells) {
    cells.clear();
    for (std::size_t start = 0;;) {
        const auto tab = line.find('\t', start);
        cells.push_back(line.substr(start, tab == line.npos ? tab : tab - start));
        if (tab == line.npos) return;
        start = tab + 1;
    }
}

/// Reads digits with an optional sign and point; nothing for any other text. Exact for 15 digits.
std::optional<double> decimalNumber(std::string_view text) {
    const bool isNegative = text.starts_with('-');
    if (isNegative) text.remove_prefix(1);
    std::string digits;
    std::size_t decimals = 0;
    bool hasPoint = false;
    for (const char letter : text) {
        if (letter == '.' && !hasPoint) {
            hasPoint = true;
            continue;
        }
        if (letter < '0' || letter > '9') return std::nullopt;
        digits += letter;
        decimals += hasPoint ? 1 : 0;
    }
    std::uint64_t whole = 0;
    const auto [end, problem] = std::from_chars(digits.data(), digits.data() + digits.size(), whole);
    if (problem != std::errc() || end != digits.data() + digits.size() || decimals > 18) return std::nullopt;
    double scale = 1;
    for (std::size_t i = 0; i < decimals; ++i)
        scale *= 10;
    const double value = static_cast<double>(whole) / scale;
    return isNegative ? -value : value;
}

std::optional<std::int64_t> wholeNumber(std::string_view text) {
    const auto value = decimalNumber(text); // some reports write units as "12.00"
    constexpr double largest = 1e15;
    if (!value || *value > largest || *value < -largest) return std::nullopt;
    return static_cast<std::int64_t>(*value);
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
    splitCells(headerLine, cells);
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
}

std::size_t SalesReportColumns::find(std::string_view name) const {
    const auto found = std::ranges::find(names_, name);
    return found == names_.end() ? none : static_cast<std::size_t>(found - names_.begin());
}

std::string_view SalesReportRow::cell(std::size_t column) const {
    if (column >= cells_.size()) return {};
    std::string_view text = cells_[column];
    while (text.starts_with(' '))
        text.remove_prefix(1);
    while (text.ends_with(' '))
        text.remove_suffix(1);
    return text;
}

std::int64_t SalesReportRow::units() const {
    return wholeNumber(cell(columns_->units)).value_or(0);
}

double SalesReportRow::proceeds() const {
    return decimalNumber(cell(columns_->developerProceeds)).value_or(0) * static_cast<double>(units());
}

bool SalesReportRow::isFirstTimeDownload() const {
    return std::ranges::find(firstTimeTypes, cell(columns_->productType)) != firstTimeTypes.end();
}

bool SalesReportRow::hasUnreadableNumber() const {
    const auto proceedsText = cell(columns_->developerProceeds);
    return !wholeNumber(cell(columns_->units)) || (!proceedsText.empty() && !decimalNumber(proceedsText));
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
        splitCells(line, cells);
        onRow(SalesReportRow(*columns, cells));
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
