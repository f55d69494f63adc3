#include "Core/revenue/SalesDay.h"

#include "Core/revenue/SalesReportParser.h"

#include <map>
#include <tuple>
#include <utility>

namespace quorvel {

DayResult salesDayOf(std::string_view date, std::string_view compressed) {
    using Key = std::tuple<std::string, std::string, std::string, std::string>;
    std::map<Key, SalesLine> lines;
    DayResult day{.date = std::string(date)};
    SalesReportParser::forEachRow(compressed, [&](const SalesReportRow& row) {
        const double proceeds = row.proceeds();
        // What was given away may name a currency too.
        const auto currency = proceeds == 0 ? std::string_view() : row.proceedsCurrency();
        Key key(row.appleIdentifier(), row.parentIdentifier(), row.sku(), currency);
        SalesLine& line = lines[std::move(key)];
        line.units += row.units();
        if (row.isFirstTimeDownload()) line.downloads += row.units();
        if (!currency.empty()) line.proceeds += proceeds;
        if (row.hasUnreadableNumber()) ++day.unreadableNumbers;
    });
    for (auto& [key, line] : lines) {
        std::tie(line.appleIdentifier, line.parentIdentifier, line.sku, line.currency) = key;
        day.lines.push_back(std::move(line));
    }
    return day;
}

} // namespace quorvel
