#include "Core/asc/operations/Shapes.h"

namespace quorvel {

using namespace operations;

ASCList<AnalyticsReportRequestAttributes>
ASCClientProtocol::listAnalyticsReportRequests(std::string_view appID) const {
    return collect<AnalyticsReportRequestAttributes>(
        *this, ASCRequest::get(ascPath("apps", appID, "analyticsReportRequests")));
}

ASCResource<AnalyticsReportRequestAttributes> ASCClientProtocol::createAnalyticsReportRequest(
    std::string_view appID, const AnalyticsReportRequestCreateAttributes& attributes) const {
    return createResource<AnalyticsReportRequestAttributes>(*this, "analyticsReportRequests", attributes,
                                                            {.app = relationTo("apps", appID)});
}

ASCList<AnalyticsReportAttributes>
ASCClientProtocol::listAnalyticsReports(std::string_view requestID,
                                        std::optional<std::string_view> category) const {
    ASCRequest request = ASCRequest::get(ascPath("analyticsReportRequests", requestID, "reports"));
    if (category) request.query.emplace_back("filter[category]", *category);
    request.query.emplace_back("limit", limitFor({}));
    return collect<AnalyticsReportAttributes>(*this, std::move(request));
}

ASCList<AnalyticsReportInstanceAttributes>
ASCClientProtocol::listAnalyticsReportInstances(std::string_view reportID,
                                                std::optional<std::string_view> granularity,
                                                std::optional<std::string_view> processingDate) const {
    ASCRequest request = ASCRequest::get(ascPath("analyticsReports", reportID, "instances"));
    if (granularity) request.query.emplace_back("filter[granularity]", *granularity);
    if (processingDate) request.query.emplace_back("filter[processingDate]", *processingDate);
    request.query.emplace_back("limit", limitFor({}));
    return collect<AnalyticsReportInstanceAttributes>(*this, std::move(request));
}

ASCList<AnalyticsReportSegmentAttributes>
ASCClientProtocol::listAnalyticsReportSegments(std::string_view instanceID) const {
    return collect<AnalyticsReportSegmentAttributes>(
        *this, ASCRequest::get(ascPath("analyticsReportInstances", instanceID, "segments"),
                               {{"limit", limitFor({})}}));
}

std::string ASCClientProtocol::downloadSalesReport(const ASCSalesReportQuery& query) const {
    ASCRequest request = ASCRequest::get("v1/salesReports", {{"filter[vendorNumber]", query.vendorNumber},
                                                             {"filter[reportType]", query.reportType},
                                                             {"filter[reportSubType]", query.reportSubType},
                                                             {"filter[frequency]", query.frequency},
                                                             {"filter[version]", query.version},
                                                             {"filter[reportDate]", query.reportDate}});
    request.accept = "application/a-gzip";
    return exchange(request);
}

} // namespace quorvel
