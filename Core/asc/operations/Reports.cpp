#include "Core/asc/operations/Shapes.h"

namespace quorvel {

using namespace operations;

namespace {

constexpr std::uint64_t largestReport = 512ULL << 20;

} // namespace

ASCList<AnalyticsReportRequestAttributes>
ASCClientProtocol::listAnalyticsReportRequests(std::string_view appID) const {
    return listResources<AnalyticsReportRequestAttributes>(*this,
                                                           ascPath("apps", appID, "analyticsReportRequests"));
}

ASCResource<AnalyticsReportRequestAttributes> ASCClientProtocol::createAnalyticsReportRequest(
    std::string_view appID, const AnalyticsReportRequestCreateAttributes& attributes) const {
    return createResource<AnalyticsReportRequestAttributes>(*this, "analyticsReportRequests", attributes,
                                                            {.app = relationTo("apps", appID)});
}

ASCList<AnalyticsReportAttributes>
ASCClientProtocol::listAnalyticsReports(std::string_view requestID,
                                        std::optional<std::string_view> category) const {
    return listResources<AnalyticsReportAttributes>(*this,
                                                    ascPath("analyticsReportRequests", requestID, "reports"),
                                                    {{"filter[category]", category}, {"limit", limitFor()}});
}

ASCList<AnalyticsReportInstanceAttributes>
ASCClientProtocol::listAnalyticsReportInstances(std::string_view reportID,
                                                std::optional<std::string_view> granularity,
                                                std::optional<std::string_view> processingDate) const {
    return listResources<AnalyticsReportInstanceAttributes>(
        *this, ascPath("analyticsReports", reportID, "instances"),
        {{"filter[granularity]", granularity},
         {"filter[processingDate]", processingDate},
         {"limit", limitFor()}});
}

ASCList<AnalyticsReportSegmentAttributes>
ASCClientProtocol::listAnalyticsReportSegments(std::string_view instanceID) const {
    return listResources<AnalyticsReportSegmentAttributes>(
        *this, ascPath("analyticsReportInstances", instanceID, "segments"), {{"limit", limitFor()}});
}

std::string ASCClientProtocol::downloadSalesReport(const ASCSalesReportQuery& query) const {
    ASCRequest request = ASCRequest::get("v1/salesReports", {{"filter[vendorNumber]", query.vendorNumber},
                                                             {"filter[reportType]", query.reportType},
                                                             {"filter[reportSubType]", query.reportSubType},
                                                             {"filter[frequency]", query.frequency},
                                                             {"filter[version]", query.version},
                                                             {"filter[reportDate]", query.reportDate}});
    request.accept = "application/a-gzip";
    request.maximumAnswerBytes = largestReport;
    return exchange(request);
}

} // namespace quorvel
