// Reads Apple's daily sales reports: gzip-compressed, tab-separated text, the column names in the first line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace quorvel {

/// A report that cannot be read; `description()` is the text that users see.
class SalesReportParserError : public std::exception {
  public:
    struct GunzipFailed {
        std::int32_t status = 0;
        std::string reason;
        bool operator==(const GunzipFailed&) const = default;
    };
    struct NoReport { // what came is something else
        std::string beginning;
        bool operator==(const NoReport&) const = default;
    };
    struct MissingColumns {
        std::vector<std::string> names;
        bool operator==(const MissingColumns&) const = default;
    };
    struct TooManyProducts { // more than any account sells
        std::size_t count = 0;
        bool operator==(const TooManyProducts&) const = default;
    };
    using Case = std::variant<GunzipFailed, NoReport, MissingColumns, TooManyProducts>;

    SalesReportParserError(Case problem);

    [[nodiscard]] const Case& problem() const { return problem_; }
    [[nodiscard]] const std::string& description() const { return description_; }
    [[nodiscard]] const char* what() const noexcept override { return description_.c_str(); }

  private:
    Case problem_;
    std::string description_;
};

/// The columns of a report, found once per report.
class SalesReportColumns {
  public:
    /// Throws `SalesReportParserError` when the line names no columns of a sales report.
    explicit SalesReportColumns(std::string_view headerLine);

    static constexpr std::size_t none = static_cast<std::size_t>(-1);
    /// Where the column of that name stands; `none` when the report has no such column.
    [[nodiscard]] std::size_t find(std::string_view name) const;

    std::size_t developerProceeds = none, proceedsCurrency = none, appleIdentifier = none,
                parentIdentifier = none, productType = none, units = none, sku = none;

    /// How many cells of a line hold all of these.
    [[nodiscard]] std::size_t needed() const { return needed_; }

  private:
    std::vector<std::string> names_;
    std::size_t needed_ = 0;
};

/// One line of a report. It looks into the parser's memory and lasts until the parser goes on.
class SalesReportRow {
  public:
    /// `cells` are the first ones of the line, as many as the columns need.
    SalesReportRow(const SalesReportColumns& columns, std::string_view line,
                   std::span<const std::string_view> cells);

    /// The cell under a column's name, without the blanks around it; empty where there is none. An empty cell
    /// of a report is one blank.
    [[nodiscard]] std::string_view raw(std::string_view column) const;
    [[nodiscard]] std::string_view appleIdentifier() const { return cell(columns_->appleIdentifier); }
    [[nodiscard]] std::string_view parentIdentifier() const { return cell(columns_->parentIdentifier); }
    [[nodiscard]] std::string_view sku() const { return cell(columns_->sku); }
    [[nodiscard]] std::string_view proceedsCurrency() const { return cell(columns_->proceedsCurrency); }
    /// Negative for refunds; 0 when the cell is no number.
    [[nodiscard]] std::int64_t units() const { return units_; }
    /// Of all its units; 0 when a cell is no number.
    [[nodiscard]] double proceeds() const { return proceeds_; }
    /// Whether its units were installed for the first time.
    [[nodiscard]] bool isFirstTimeDownload() const;
    /// Whether a cell that should hold a number holds something else.
    [[nodiscard]] bool hasUnreadableNumber() const { return hasUnreadableNumber_; }

  private:
    [[nodiscard]] std::string_view cell(std::size_t column) const;

    const SalesReportColumns* columns_;
    std::string_view line_;
    std::span<const std::string_view> cells_;
    std::int64_t units_ = 0;
    double proceeds_ = 0;
    bool hasUnreadableNumber_ = false;
};

struct SalesReportParser {
    struct Totals {
        std::int64_t units = 0;
        std::map<std::string, double> proceedsByCurrency;
        bool operator==(const Totals&) const = default;
    };

    /// Calls `onRow` with every row of a compressed report; holds one piece of it at a time. Throws
    /// `SalesReportParserError`; the rows before were told already.
    static void forEachRow(std::string_view compressed,
                           const std::function<void(const SalesReportRow&)>& onRow);

    [[nodiscard]] static Totals totals(std::string_view compressed);
};

} // namespace quorvel
