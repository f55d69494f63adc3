#include "Sandbox/rules/Analytics.h"

#include "Platform/crypto/Digest.h"
#include "Sandbox/rules/Gzip.h"

#include <fmt/format.h>

namespace quorvel::sandbox {
namespace {

struct Report {
    std::string_view name, category;
};
constexpr Report reports[] = {{"App Downloads Standard", "COMMERCE"},
                              {"App Store Discovery and Engagement Standard", "APP_STORE_ENGAGEMENT"},
                              {"App Sessions Standard", "APP_USAGE"},
                              {"App Store Installation and Deletion Standard", "APP_USAGE"}};
constexpr int daysKept = 7;

} // namespace

Segment segmentFile(std::string_view report, std::string_view date) {
    std::string table = "Date\tApp Name\tEvent\tTerritory\tCounts\n";
    int counts = 11 + static_cast<int>(report.size());
    for (const std::string_view territory : {"US", "JP", "DE", "FR", "GB", "BR"}) {
        table += fmt::format("{}\tMosswick\t{}\t{}\t{}\n", date, report, territory, counts);
        counts = counts * 7 % 101 + 3;
    }
    std::string bytes = gzip(table);
    std::string checksum = md5Hex(bytes);
    return {std::move(bytes), std::move(checksum)};
}

void produceReports(World& world, const Resource& request) {
    const int today = dayNumber(world.now());
    for (const Report& kind : reports) {
        const Resource& report = world.store.add(
            "analyticsReports", JSONValue::object({{"name", kind.name}, {"category", kind.category}}),
            {{"analyticsReportRequest", request.id}});
        for (int day = today - daysKept; day < today; ++day) {
            const std::string date = calendarDate(day);
            const Resource& instance =
                world.store.add("analyticsReportInstances",
                                JSONValue::object({{"granularity", "DAILY"}, {"processingDate", date}}),
                                {{"analyticsReport", report.id}});
            Resource& segment = world.store.add("analyticsReportSegments", JSONValue::object(),
                                                {{"analyticsReportInstance", instance.id}});
            const Segment file = segmentFile(kind.name, date);
            segment.hidden = JSONValue::object({{"report", kind.name}, {"date", date}});
            segment.attributes =
                JSONValue::object({{"checksum", file.checksum},
                                   {"sizeInBytes", static_cast<std::int64_t>(file.bytes.size())},
                                   {"url", fmt::format("{}/report/{}", world.baseURL, segment.id)}});
        }
    }
}

} // namespace quorvel::sandbox
