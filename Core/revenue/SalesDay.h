// One day's sales, as small as their summaries need them.
#pragma once

#include "Platform/json/JSON.h"

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// The sum of a day's rows of one product in one currency.
struct SalesLine {
    std::string appleIdentifier;  // of the app or of the in-app purchase
    std::string parentIdentifier; // SKU of the app that an in-app purchase belongs to
    std::string sku;
    std::string currency; // of the proceeds; empty where nothing was paid
    std::int64_t units = 0;
    std::int64_t downloads = 0; // of these units, those that were installed for the first time
    double proceeds = 0;
    std::string vendorNumber; // of the account whose report it stands in
    QUORVEL_RECORD(SalesLine, appleIdentifier, parentIdentifier, sku, currency, units, downloads, proceeds,
                   vendorNumber)
    bool operator==(const SalesLine&) const = default;
};

/// What became of one day's report.
struct DayResult {
    enum class Status {
        ok,              // also a day without sales
        notYetPublished, // Apple has not published that day's report yet
        failed,
    };
    std::string date; // "2026-03-01"
    Status status = Status::ok;
    std::string reason; // of a failure
    std::vector<SalesLine> lines;
    std::int64_t unreadableNumbers = 0; // rows with a cell that should be a number; it counts as 0
    bool isUnreachable = false;         // it failed for want of a network
    QUORVEL_RECORD(DayResult, date, status, reason, lines, unreadableNumbers, isUnreachable)
    bool operator==(const DayResult&) const = default;
};

template <>
struct RawValues<DayResult::Status> {
    using S = DayResult::Status;
    static constexpr std::pair<S, std::string_view> values[] = {
        {S::ok, "ok"}, {S::notYetPublished, "notYetPublished"}, {S::failed, "failed"}};
};

/// Reads a compressed report into the lines of its day, in its order. Throws
/// `SalesReportParserError`.
[[nodiscard]] DayResult salesDayOf(std::string_view date, std::string_view compressed);

/// What tells an app's lines: its own identifier, and its SKUs, which its in-app purchases name.
struct SalesRowAttribution {
    std::string appStoreId;
    std::string bundleId;
    std::set<std::string, std::less<>> appSKUs;
};

} // namespace quorvel
