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
    "preReleaseVersion|betaBuildLocalizations|betaAppReviewSubmission|app|appStoreVersion";

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
    {.pattern = "/v1/apps/{id}/betaGroups", .owner = "apps", .type = "betaGroups"},
    {.pattern = "/v1/reviewSubmissions",
     .owner = "",
     .type = "reviewSubmissions",
     .filters = submissionFilters,
     .includes = "app|items|appStoreVersionForReview",
     .order = DefaultOrder::newestFirst},
    {.pattern = "/v1/apps/{id}/customerReviews",
     .owner = "apps",
     .type = "customerReviews",
     .filters = reviewFilters,
     .sorts = "rating|createdDate",
     .includes = "response",
     .exists = "publishedResponse"},
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

using enum RelationRule::Need;
constexpr RelationRule toApp[] = {{"app", "apps"}};
constexpr RelationRule toAppAndBuild[] = {{"app", "apps"}, {"build", "builds", optional}};
constexpr RelationRule toOptionalBuild[] = {{"build", "builds", optional}};
constexpr RelationRule toVersion[] = {{"appStoreVersion", "appStoreVersions"}};
constexpr RelationRule toAppInfo[] = {{"appInfo", "appInfos"}};
constexpr RelationRule toVersionLocalization[] = {
    {"appStoreVersionLocalization", "appStoreVersionLocalizations"}};
constexpr RelationRule toSet[] = {{"appScreenshotSet", "appScreenshotSets"}};
constexpr RelationRule toBuild[] = {{"build", "builds"}};
constexpr RelationRule toReview[] = {{"review", "customerReviews"}};
constexpr RelationRule toSubmission[] = {{"reviewSubmission", "reviewSubmissions"},
                                         {"appStoreVersion", "appStoreVersions", optional}};
constexpr RelationRule toCategories[] = {{"primaryCategory", "appCategories", foreign},
                                         {"primarySubcategoryOne", "appCategories", foreign},
                                         {"primarySubcategoryTwo", "appCategories", foreign},
                                         {"secondaryCategory", "appCategories", foreign},
                                         {"secondarySubcategoryOne", "appCategories", foreign},
                                         {"secondarySubcategoryTwo", "appCategories", foreign}};

constexpr WriteOperation writes[] = {
    {"POST", "/v1/appStoreVersions", Form::create, "appStoreVersions", toAppAndBuild, createVersion},
    {"PATCH", "/v1/appStoreVersions/{id}", Form::update, "appStoreVersions", toOptionalBuild, updateVersion},
    {"PATCH",
     "/v1/appStoreVersions/{id}/relationships/build",
     Form::linkOne,
     "builds",
     {},
     attachBuild,
     "appStoreVersions"},
    {"POST", "/v1/appStoreVersionLocalizations", Form::create, "appStoreVersionLocalizations", toVersion,
     createVersionLocalization},
    {"PATCH",
     "/v1/appStoreVersionLocalizations/{id}",
     Form::update,
     "appStoreVersionLocalizations",
     {},
     updateVersionLocalization},
    {"POST", "/v1/appInfoLocalizations", Form::create, "appInfoLocalizations", toAppInfo,
     createAppInfoLocalization},
    {"PATCH",
     "/v1/appInfoLocalizations/{id}",
     Form::update,
     "appInfoLocalizations",
     {},
     updateAppInfoLocalization},
    {"PATCH", "/v1/appInfos/{id}", Form::update, "appInfos", toCategories, updateAppInfo},
    {"PATCH", "/v1/builds/{id}", Form::update, "builds", {}, updateBuild},
    {"POST", "/v1/appScreenshotSets", Form::create, "appScreenshotSets", toVersionLocalization,
     createScreenshotSet},
    {"POST", "/v1/appScreenshots", Form::create, "appScreenshots", toSet, reserveScreenshot},
    {"PATCH", "/v1/appScreenshots/{id}", Form::update, "appScreenshots", {}, commitScreenshot},
    {"DELETE", "/v1/appScreenshots/{id}", Form::remove, "appScreenshots", {}, deleteScreenshot},
    {"PATCH",
     "/v1/appScreenshotSets/{id}/relationships/appScreenshots",
     Form::linkMany,
     "appScreenshots",
     {},
     reorderScreenshots,
     "appScreenshotSets"},
    {"POST", "/v1/reviewSubmissions", Form::create, "reviewSubmissions", toApp, createSubmission},
    {"POST", "/v1/reviewSubmissionItems", Form::create, "reviewSubmissionItems", toSubmission,
     addSubmissionItem},
    {"PATCH", "/v1/reviewSubmissions/{id}", Form::update, "reviewSubmissions", {}, updateSubmission},
    {"POST", "/v1/appStoreVersionReleaseRequests", Form::create, "appStoreVersionReleaseRequests", toVersion,
     requestRelease},
    {"POST", "/v1/appStoreVersionPhasedReleases", Form::create, "appStoreVersionPhasedReleases", toVersion,
     createPhasedRelease},
    {"PATCH",
     "/v1/appStoreVersionPhasedReleases/{id}",
     Form::update,
     "appStoreVersionPhasedReleases",
     {},
     updatePhasedRelease},
    {"DELETE",
     "/v1/appStoreVersionPhasedReleases/{id}",
     Form::remove,
     "appStoreVersionPhasedReleases",
     {},
     deletePhasedRelease},
    {"POST", "/v1/customerReviewResponses", Form::create, "customerReviewResponses", toReview,
     createReviewResponse},
    {"POST", "/v1/analyticsReportRequests", Form::create, "analyticsReportRequests", toApp,
     createAnalyticsRequest},
    {"POST",
     "/v1/betaGroups/{id}/relationships/builds",
     Form::linkMany,
     "builds",
     {},
     addBuildsToGroup,
     "betaGroups"},
    {"POST", "/v1/betaBuildLocalizations", Form::create, "betaBuildLocalizations", toBuild,
     createBetaBuildLocalization},
    {"PATCH",
     "/v1/betaBuildLocalizations/{id}",
     Form::update,
     "betaBuildLocalizations",
     {},
     updateBetaBuildLocalization},
    {"POST", "/v1/betaAppReviewSubmissions", Form::create, "betaAppReviewSubmissions", toBuild,
     submitForBetaReview},
};

} // namespace

std::span<const ReadOperation> readOperations() {
    return reads;
}
std::span<const WriteOperation> writeOperations() {
    return writes;
}

} // namespace quorvel::sandbox
