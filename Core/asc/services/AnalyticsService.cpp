#include "Core/asc/services/AnalyticsService.h"

#include <algorithm>
#include <iterator>

namespace quorvel {

ASCResource<AnalyticsReportRequestAttributes>
AnalyticsService::findOrCreateRequest(std::string_view appID, std::string_view accessType) const {
    auto requests = client_.listAnalyticsReportRequests(appID);
    if (!requests.empty()) return std::move(requests.front());
    return client_.createAnalyticsReportRequest(appID, {std::string(accessType)});
}

ASCList<AnalyticsReportSegmentAttributes>
AnalyticsService::listSegments(std::string_view requestID, std::optional<std::string_view> category,
                               std::optional<std::string_view> granularity) const {
    ASCList<AnalyticsReportSegmentAttributes> segments;
    for (const auto& report : client_.listAnalyticsReports(requestID, category))
        for (const auto& instance : client_.listAnalyticsReportInstances(report.id, granularity))
            std::ranges::move(client_.listAnalyticsReportSegments(instance.id), std::back_inserter(segments));
    return segments;
}

} // namespace quorvel
