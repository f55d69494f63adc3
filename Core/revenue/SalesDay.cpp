#include "Core/revenue/SalesDay.h"

#include "Core/revenue/SalesReportParser.h"

#include <cstdint>
#include <functional>
#include <string>

namespace quorvel {

namespace {

constexpr std::size_t mostSumBytes = 24 << 20; // of one day's lines; those of a large account take 100 kB

/// The sums of one product and currency, and where the text that names them lies.
struct Sums {
    std::size_t hash = 0;
    std::uint32_t begin = 0;
    std::uint32_t length = 0;
    std::int64_t units = 0;
    std::int64_t downloads = 0;
    double proceeds = 0;
};

/// Sums the rows of each product and currency. An open hash table over one text, as a map of strings takes
/// most of the reading time.
class LineSums {
  public:
    Sums& of(std::string_view app, std::string_view parent, std::string_view sku, std::string_view currency) {
        const std::size_t begin = text_.size();
        for (const std::string_view part : {app, parent, sku, currency})
            (text_ += part) += '\t'; // no cell holds one
        const auto key = std::string_view(text_).substr(begin);
        const std::size_t hash = std::hash<std::string_view>()(key);
        std::uint32_t& place = placeOf(key, hash);
        if (place != 0) {
            text_.resize(begin);
            return sums_[place - 1];
        }
        if (text_.size() + (sums_.size() + 1) * sizeof(SalesLine) > mostSumBytes)
            throw SalesReportParserError(SalesReportParserError::TooManyProducts{sums_.size()});
        sums_.push_back({.hash = hash,
                         .begin = static_cast<std::uint32_t>(begin),
                         .length = static_cast<std::uint32_t>(key.size())});
        place = static_cast<std::uint32_t>(sums_.size());
        if (sums_.size() * 2 > places_.size()) grow();
        return sums_.back();
    }
    [[nodiscard]] std::vector<SalesLine> lines() const {
        std::vector<SalesLine> lines;
        lines.reserve(sums_.size());
        for (const Sums& sum : sums_) {
            std::string_view rest = textOf(sum);
            const auto part = [&] {
                const auto cell = rest.substr(0, rest.find('\t'));
                rest.remove_prefix(cell.size() + 1);
                return cell;
            };
            SalesLine& line = lines.emplace_back();
            line.appleIdentifier = part();
            line.parentIdentifier = part();
            line.sku = part();
            line.currency = part();
            line.units = sum.units;
            line.downloads = sum.downloads;
            line.proceeds = sum.proceeds;
        }
        return lines;
    }

  private:
    [[nodiscard]] std::string_view textOf(const Sums& sum) const {
        return std::string_view(text_).substr(sum.begin, sum.length);
    }
    // Holds the number of the key's sums, counted from 1; 0 where there are none yet.
    std::uint32_t& placeOf(std::string_view key, std::size_t hash) {
        for (std::size_t at = hash;; ++at) {
            std::uint32_t& place = places_[at & (places_.size() - 1)];
            if (place == 0) return place;
            const Sums& sum = sums_[place - 1];
            if (sum.hash == hash && textOf(sum) == key) return place;
        }
    }
    void grow() {
        places_.assign(2 * places_.size(), 0);
        for (std::size_t i = 0; i < sums_.size(); ++i)
            placeOf(textOf(sums_[i]), sums_[i].hash) = static_cast<std::uint32_t>(i + 1);
    }

    std::vector<std::uint32_t> places_ = std::vector<std::uint32_t>(1024); // a power of two
    std::vector<Sums> sums_;                                               // in the order of the report
    std::string text_;
};

} // namespace

DayResult salesDayOf(std::string_view date, std::string_view compressed) {
    LineSums sums;
    DayResult day{.date = std::string(date)};
    SalesReportParser::forEachRow(compressed, [&](const SalesReportRow& row) {
        const auto units = row.units();
        const double proceeds = row.proceeds();
        // What was given away may name a currency too.
        const auto currency = proceeds == 0 ? std::string_view() : row.proceedsCurrency();
        Sums& sum = sums.of(row.appleIdentifier(), row.parentIdentifier(), row.sku(), currency);
        sum.units += units;
        if (row.isFirstTimeDownload()) sum.downloads += units;
        if (!currency.empty()) sum.proceeds += proceeds;
        if (row.hasUnreadableNumber()) ++day.unreadableNumbers;
    });
    day.lines = sums.lines();
    return day;
}

} // namespace quorvel
