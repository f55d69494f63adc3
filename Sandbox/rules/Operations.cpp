#include "Sandbox/resources/Schema.h"
#include "Sandbox/rules/Operation.h"
#include "Sandbox/rules/Rules.h"

namespace quorvel::sandbox {
namespace {

using Need = Filter::Need;

constexpr Filter appFilters[] = {{"name"},
                                 {"bundleId"},
                                 {"sku"},
                                 {"id"},
                                 {"appStoreVersions"},
                                 {"appStoreVersions.appStoreState", choices::appStoreStates},
                                 {"appStoreVersions.appVersionState", choices::appVersionStates},
                                 {"appStoreVersions.platform", choices::platforms},
                                 {"reviewSubmissions.state", choices::submissionStates},
                                 {"reviewSubmissions.platform", choices::platforms}};
constexpr Filter versionFilters[] = {{"platform", choices::platforms},
                                     {"versionString"},
                                     {"appStoreState", choices::appStoreStates},
                                     {"appVersionState", choices::appVersionStates},
                                     {"id"}};
constexpr Filter localeFilter[] = {{"locale"}};
constexpr Filter previewSetFilters[] = {{"previewType", choices::previewTypes}};
constexpr Filter setFilters[] = {{"screenshotDisplayType", choices::displayTypes}};
constexpr Filter buildFilters[] = {{"version"},
                                   {"expired", "true|false"},
                                   {"processingState", choices::processingStates},
                                   {"betaAppReviewSubmission.betaReviewState", choices::betaReviewStates},
                                   {"usesNonExemptEncryption", "true|false"},
                                   {"preReleaseVersion.version"},
                                   {"preReleaseVersion.platform", choices::platforms},
                                   {"buildAudienceType", choices::audiences},
                                   {"preReleaseVersion"},
                                   {"app"},
                                   {"betaGroups"},
                                   {"appStoreVersion"},
                                   {"id"}};
constexpr Filter submissionFilters[] = {
    {"app", {}, Need::required}, {"state", choices::submissionStates}, {"platform", choices::platforms}};
constexpr Filter reviewFilters[] = {{"territory", "alpha-3"}, {"rating", "1|2|3|4|5"}};
constexpr Filter eventFilters[] = {{"eventState", choices::eventStates}, {"id"}};
constexpr Filter purchaseFilters[] = {{"productId"},
                                      {"name"},
                                      {"state", choices::purchaseStates},
                                      {"inAppPurchaseType", choices::purchaseTypes}};
constexpr Filter requestFilters[] = {{"accessType", choices::accessTypes}};
constexpr Filter reportFilters[] = {{"name"}, {"category", choices::reportCategories}};
constexpr Filter instanceFilters[] = {{"granularity", choices::granularities}, {"processingDate"}};

constexpr std::string_view buildIncludes =
    "preReleaseVersion|betaGroups|betaBuildLocalizations|betaAppReviewSubmission|app|appStoreVersion";

constexpr ReadOperation reads[] = {
    {.pattern = "/v1/apps",
     .owner = "",
     .type = "apps",
     .filters = appFilters,
     .sorts = "name|bundleId|sku",
     .includes = "appStoreVersions|appInfos|builds|betaGroups|preReleaseVersions|inAppPurchasesV2|appEvents|"
                 "reviewSubmissions"},
    {.pattern = "/v1/apps/{id}/appStoreVersions",
     .owner = "apps",
     .type = "appStoreVersions",
     .filters = versionFilters,
     .includes = "app|appStoreVersionLocalizations|build|appStoreVersionPhasedRelease|appStoreReviewDetail",
     .order = DefaultOrder::newestFirst},
    {.pattern = "/v1/appStoreVersions/{id}",
     .owner = "appStoreVersions",
     .type = "appStoreVersions",
     .result = Result::one,
     .includes = "app|appStoreVersionLocalizations|build|appStoreVersionPhasedRelease|appStoreReviewDetail"},
    {.pattern = "/v1/apps/{id}/appInfos",
     .owner = "apps",
     .type = "appInfos",
     .includes = "app|appInfoLocalizations|primaryCategory|primarySubcategoryOne|primarySubcategoryTwo|"
                 "secondaryCategory|secondarySubcategoryOne|secondarySubcategoryTwo"},
    {.pattern = "/v1/appInfos/{id}/appInfoLocalizations",
     .owner = "appInfos",
     .type = "appInfoLocalizations",
     .filters = localeFilter,
     .includes = "appInfo"},
    {.pattern = "/v1/appInfos/{id}/ageRatingDeclaration",
     .owner = "appInfos",
     .type = "ageRatingDeclarations",
     .result = Result::oneOrNone,
     .derive = deriveAgeRating},
    {.pattern = "/v1/appStoreVersions/{id}/appStoreVersionLocalizations",
     .owner = "appStoreVersions",
     .type = "appStoreVersionLocalizations",
     .filters = localeFilter,
     .includes = "appStoreVersion|appScreenshotSets"},
    {.pattern = "/v1/appStoreVersions/{id}/appStoreReviewDetail",
     .owner = "appStoreVersions",
     .type = "appStoreReviewDetails",
     .result = Result::oneOrNone,
     .includes = "appStoreVersion"},
    {.pattern = "/v1/appStoreVersions/{id}/appStoreVersionPhasedRelease",
     .owner = "appStoreVersions",
     .type = "appStoreVersionPhasedReleases",
     .result = Result::oneOrNone},
    {.pattern = "/v1/appStoreVersionLocalizations/{id}/appScreenshotSets",
     .owner = "appStoreVersionLocalizations",
     .type = "appScreenshotSets",
     .filters = setFilters,
     .includes = "appStoreVersionLocalization|appScreenshots"},
    {.pattern = "/v1/appScreenshotSets/{id}/appScreenshots",
     .owner = "appScreenshotSets",
     .type = "appScreenshots",
     .includes = "appScreenshotSet"},
    {.pattern = "/v1/appStoreVersionLocalizations/{id}/appPreviewSets",
     .owner = "appStoreVersionLocalizations",
     .type = "appPreviewSets",
     .filters = previewSetFilters,
     .includes = "appStoreVersionLocalization|appPreviews"},
    {.pattern = "/v1/appPreviewSets/{id}/appPreviews",
     .owner = "appPreviewSets",
     .type = "appPreviews",
     .includes = "appPreviewSet"},
    {.pattern = "/v1/builds",
     .owner = "",
     .type = "builds",
     .filters = buildFilters,
     .sorts = "version|uploadedDate|preReleaseVersion",
     .includes = buildIncludes,
     .exists = "usesNonExemptEncryption",
     .order = DefaultOrder::newestFirst},
    {.pattern = "/v1/builds/{id}",
     .owner = "builds",
     .type = "builds",
     .result = Result::one,
     .includes = buildIncludes},
    {.pattern = "/v1/builds/{id}/betaBuildLocalizations",
     .owner = "builds",
     .type = "betaBuildLocalizations"},
    {.pattern = "/v1/builds/{id}/betaAppReviewSubmission",
     .owner = "builds",
     .type = "betaAppReviewSubmissions",
     .result = Result::oneOrNone},
    {.pattern = "/v1/builds/{id}/buildBetaDetail",
     .owner = "builds",
     .type = "buildBetaDetails",
     .result = Result::oneOrNone,
     .includes = "build",
     .derive = deriveBetaDetail},
    {.pattern = "/v1/apps/{id}/betaGroups", .owner = "apps", .type = "betaGroups"},
    {.pattern = "/v1/betaGroups/{id}/betaTesters", .owner = "betaGroups", .type = "betaTesters"},
    {.pattern = "/v1/reviewSubmissions",
     .owner = "",
     .type = "reviewSubmissions",
     .filters = submissionFilters,
     .includes = "app|items|appStoreVersionForReview",
     .order = DefaultOrder::newestFirst},
    {.pattern = "/v1/reviewSubmissions/{id}/items",
     .owner = "reviewSubmissions",
     .type = "reviewSubmissionItems",
     .includes = "appStoreVersion|appCustomProductPageVersion|appStoreVersionExperiment|"
                 "appStoreVersionExperimentV2|appEvent"},
    {.pattern = "/v1/apps/{id}/customerReviews",
     .owner = "apps",
     .type = "customerReviews",
     .filters = reviewFilters,
     .sorts = "rating|createdDate",
     .includes = "response",
     .exists = "publishedResponse"},
    {.pattern = "/v1/customerReviews/{id}",
     .owner = "customerReviews",
     .type = "customerReviews",
     .result = Result::one,
     .includes = "response"},
    {.pattern = "/v1/apps/{id}/appEvents", .owner = "apps", .type = "appEvents", .filters = eventFilters},
    {.pattern = "/v1/apps/{id}/inAppPurchasesV2",
     .owner = "apps",
     .type = "inAppPurchases",
     .filters = purchaseFilters,
     .sorts = "name|inAppPurchaseType"},
    {.pattern = "/v1/apps/{id}/analyticsReportRequests",
     .owner = "apps",
     .type = "analyticsReportRequests",
     .filters = requestFilters,
     .includes = "reports"},
    {.pattern = "/v1/analyticsReportRequests/{id}/reports",
     .owner = "analyticsReportRequests",
     .type = "analyticsReports",
     .filters = reportFilters},
    {.pattern = "/v1/analyticsReports/{id}/instances",
     .owner = "analyticsReports",
     .type = "analyticsReportInstances",
     .filters = instanceFilters},
    {.pattern = "/v1/analyticsReportInstances/{id}/segments",
     .owner = "analyticsReportInstances",
     .type = "analyticsReportSegments"},
};

} // namespace

std::span<const ReadOperation> readOperations() {
    return reads;
}
std::span<const WriteOperation> writeOperations() {
    static const std::vector<WriteOperation> all = [] {
        std::vector<WriteOperation> joined;
        for (const auto part : {versionOperations(), localizationOperations(), pageOperations(),
                                screenshotOperations(), previewOperations(), submissionOperations(),
                                buildOperations(), testerOperations(), customerOperations()})
            joined.insert(joined.end(), part.begin(), part.end());
        return joined;
    }();
    return all;
}

} // namespace quorvel::sandbox
