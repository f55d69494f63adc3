// The golden table of operations: what each of them sends. A new operation of ASCClientProtocol needs a row.
#include "Tests/support/Catalogue.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <set>

using namespace quorvel;

namespace {

using Client = ASCClientProtocol;

// Notes what it is sent. A list is answered with none, everything else with a resource of any type.
class RecordingClient : public Client {
  public:
    explicit RecordingClient(bool answersList) : answersList_(answersList) {}
    std::string exchange(const ASCRequest& request) const override {
        sent.push_back(request);
        return answersList_ ? R"({"data":[]})" : R"({"data":{"id":"1","type":"any","attributes":{
            "locale":"ja","screenshotDisplayType":"APP_IPHONE_67","previewType":"IPHONE_67"}}})";
    }
    mutable std::vector<ASCRequest> sent;

  private:
    bool answersList_;
};

// "GET v1/apps?limit=200", with the form of answer that it accepts when that is not JSON.
std::string lineOfRequest(const ASCRequest& request) {
    std::string line = fmt::format("{} {}", request.method, request.path);
    char separator = '?';
    for (const auto& [name, value] : request.query)
        line += fmt::format("{}{}={}", std::exchange(separator, '&'), name, value);
    if (request.accept != "application/json") line += " as " + request.accept;
    return line;
}

struct Row {
    std::string operation;
    void (*call)(const Client&);
    std::string request;
    std::optional<std::string> body = {};
};

// clang-format gives up its columns in a table of this length.
// clang-format off
const Row rows[] = {
    // Apps and app infos
    {"listApps", [](const Client& c) { c.listApps(); }, "GET v1/apps?limit=200"},
    {"listApps", [](const Client& c) { c.listApps("com.example.garden", {1}); },
     "GET v1/apps?filter[bundleId]=com.example.garden&limit=1"},
    {"listAppInfos", [](const Client& c) { c.listAppInfos("7"); }, "GET v1/apps/7/appInfos"},
    {"listAppInfoSummaries", [](const Client& c) { c.listAppInfoSummaries("7"); },
     "GET v1/apps/7/appInfos?include=primaryCategory,primarySubcategoryOne,primarySubcategoryTwo,"
     "secondaryCategory,secondarySubcategoryOne,secondarySubcategoryTwo"},
    {"listAppInfoLocalizations", [](const Client& c) { c.listAppInfoLocalizations("7"); },
     "GET v1/appInfos/7/appInfoLocalizations?limit=200"},
    {"createAppInfoLocalization",
     [](const Client& c) {
         c.createAppInfoLocalization("7", {.locale = "ja", .name = "庭", .privacyPolicyUrl = "https://a/b"});
     },
     "POST v1/appInfoLocalizations",
     R"({"data":{"type":"appInfoLocalizations","attributes":{"locale":"ja","name":"庭","privacyPolicyUrl":"https://a/b"},"relationships":{"appInfo":{"data":{"type":"appInfos","id":"7"}}}}})"},
    {"deleteAppInfoLocalization", [](const Client& c) { c.deleteAppInfoLocalization("7"); },
     "DELETE v1/appInfoLocalizations/7"},
    {"updateAppInfoLocalization",
     [](const Client& c) {
         c.updateAppInfoLocalization("7", AppInfoLocalizationPatchAttributes{.subtitle = "Plan"});
     },
     "PATCH v1/appInfoLocalizations/7",
     R"({"data":{"type":"appInfoLocalizations","id":"7","attributes":{"subtitle":"Plan"}}})"},
    {"updateAppInfoLocalization",
     [](const Client& c) {
         c.updateAppInfoLocalization(
             "7", AppInfoLocalizationPrivacyPatchAttributes{.privacyChoicesUrl = "https://a/b"});
     },
     "PATCH v1/appInfoLocalizations/7",
     R"({"data":{"type":"appInfoLocalizations","id":"7","attributes":{"privacyChoicesUrl":"https://a/b"}}})"},
    {"updateAppInfoCategories",
     [](const Client& c) { c.updateAppInfoCategories("7", "PRODUCTIVITY", "UTILITIES"); },
     "PATCH v1/appInfos/7",
     R"({"data":{"type":"appInfos","id":"7","relationships":{"primaryCategory":{"data":{"type":"appCategories","id":"PRODUCTIVITY"}},"secondaryCategory":{"data":{"type":"appCategories","id":"UTILITIES"}}}}})"},
    {"updateAppInfoCategories", [](const Client& c) { c.updateAppInfoCategories("7", {}, "UTILITIES"); },
     "PATCH v1/appInfos/7",
     R"({"data":{"type":"appInfos","id":"7","relationships":{"secondaryCategory":{"data":{"type":"appCategories","id":"UTILITIES"}}}}})"},
    {"updateAppInfoCategories",
     [](const Client& c) {
         c.updateAppInfoCategories("7", {.primaryCategory = "GAMES", .primarySubcategoryTwo = "GAMES_WORD"});
     },
     "PATCH v1/appInfos/7",
     R"({"data":{"type":"appInfos","id":"7","relationships":{"primaryCategory":{"data":{"type":"appCategories","id":"GAMES"}},"primarySubcategoryTwo":{"data":{"type":"appCategories","id":"GAMES_WORD"}}}}})"},
    {"getAgeRatingDeclaration", [](const Client& c) { c.getAgeRatingDeclaration("7"); },
     "GET v1/appInfos/7/ageRatingDeclaration"},
    {"updateAgeRatingDeclaration",
     [](const Client& c) {
         c.updateAgeRatingDeclaration("7",
                                      JSONValue::object({{"gambling", false}, {"kidsAgeBand", nullptr}}));
     },
     "PATCH v1/ageRatingDeclarations/7",
     R"({"data":{"type":"ageRatingDeclarations","id":"7","attributes":{"gambling":false,"kidsAgeBand":null}}})"},

    // Versions
    {"listAppStoreVersions", [](const Client& c) { c.listAppStoreVersions("7"); },
     "GET v1/apps/7/appStoreVersions?limit=200"},
    {"listAppStoreVersions",
     [](const Client& c) {
         c.listAppStoreVersions("7", ASCPlatform::macOS, {"READY_FOR_SALE", "REJECTED"}, {1});
     },
     "GET v1/apps/7/appStoreVersions?filter[platform]=MAC_OS&filter[appStoreState]=READY_FOR_SALE,REJECTED&"
     "limit=1"},
    {"getAppStoreVersion", [](const Client& c) { c.getAppStoreVersion("7"); }, "GET v1/appStoreVersions/7"},
    {"createAppStoreVersion",
     [](const Client& c) {
         c.createAppStoreVersion("7", {"TV_OS", "1.0", "MANUAL"});
     },
     "POST v1/appStoreVersions",
     R"({"data":{"type":"appStoreVersions","attributes":{"platform":"TV_OS","versionString":"1.0","releaseType":"MANUAL"},"relationships":{"app":{"data":{"type":"apps","id":"7"}}}}})"},
    {"updateAppStoreVersion",
     [](const Client& c) { c.updateAppStoreVersion("7", {.releaseType = "AFTER_APPROVAL"}); },
     "PATCH v1/appStoreVersions/7",
     R"({"data":{"type":"appStoreVersions","id":"7","attributes":{"releaseType":"AFTER_APPROVAL"}}})"},
    {"updateAppStoreVersion",
     [](const Client& c) {
         c.updateAppStoreVersion(
             "7", JSONValue::object({{"releaseType", "MANUAL"}, {"earliestReleaseDate", nullptr}}));
     },
     "PATCH v1/appStoreVersions/7",
     R"({"data":{"type":"appStoreVersions","id":"7","attributes":{"releaseType":"MANUAL","earliestReleaseDate":null}}})"},
    {"listVersionLocalizations", [](const Client& c) { c.listVersionLocalizations("7"); },
     "GET v1/appStoreVersions/7/appStoreVersionLocalizations?limit=200"},
    {"createVersionLocalization",
     [](const Client& c) { c.createVersionLocalization("7", {.locale = "ja", .keywords = "a,b"}); },
     "POST v1/appStoreVersionLocalizations",
     R"({"data":{"type":"appStoreVersionLocalizations","attributes":{"locale":"ja","keywords":"a,b"},"relationships":{"appStoreVersion":{"data":{"type":"appStoreVersions","id":"7"}}}}})"},
    {"updateVersionLocalization",
     [](const Client& c) { c.updateVersionLocalization("7", {.whatsNew = "Fixes / more"}); },
     "PATCH v1/appStoreVersionLocalizations/7",
     R"({"data":{"type":"appStoreVersionLocalizations","id":"7","attributes":{"whatsNew":"Fixes / more"}}})"},
    {"updateVersionLocalization",
     [](const Client& c) { c.updateVersionLocalization("7", {.promotionalText = ""}); },
     "PATCH v1/appStoreVersionLocalizations/7",
     R"({"data":{"type":"appStoreVersionLocalizations","id":"7","attributes":{"promotionalText":""}}})"},
    {"listVersionSummaries", [](const Client& c) { c.listVersionSummaries("7"); },
     "GET v1/apps/7/appStoreVersions?include=build,appStoreReviewDetail&limit=200"},
    {"deleteVersionLocalization", [](const Client& c) { c.deleteVersionLocalization("7"); },
     "DELETE v1/appStoreVersionLocalizations/7"},
    {"listLocalizationSummaries", [](const Client& c) { c.listLocalizationSummaries("7"); },
     "GET v1/appStoreVersions/7/appStoreVersionLocalizations?include=appScreenshotSets&limit=200&limit[appScreenshotSets]=50"},
    {"getReviewDetail", [](const Client& c) { c.getReviewDetail("7"); },
     "GET v1/appStoreVersions/7/appStoreReviewDetail"},
    {"createReviewDetail",
     [](const Client& c) { c.createReviewDetail("7", {.contactEmail = "a@b.example"}); },
     "POST v1/appStoreReviewDetails",
     R"({"data":{"type":"appStoreReviewDetails","attributes":{"contactEmail":"a@b.example"},"relationships":{"appStoreVersion":{"data":{"type":"appStoreVersions","id":"7"}}}}})"},
    {"updateReviewDetail",
     [](const Client& c) { c.updateReviewDetail("7", {.demoAccountRequired = false, .notes = ""}); },
     "PATCH v1/appStoreReviewDetails/7",
     R"({"data":{"type":"appStoreReviewDetails","id":"7","attributes":{"demoAccountRequired":false,"notes":""}}})"},
    {"attachBuild", [](const Client& c) { c.attachBuild("7", "8"); },
     "PATCH v1/appStoreVersions/7/relationships/build", R"({"data":{"type":"builds","id":"8"}})"},
    {"requestVersionRelease", [](const Client& c) { c.requestVersionRelease("7"); },
     "POST v1/appStoreVersionReleaseRequests",
     R"({"data":{"type":"appStoreVersionReleaseRequests","relationships":{"appStoreVersion":{"data":{"type":"appStoreVersions","id":"7"}}}}})"},
    {"getPhasedRelease", [](const Client& c) { c.getPhasedRelease("7"); },
     "GET v1/appStoreVersions/7/appStoreVersionPhasedRelease"},
    {"createPhasedRelease", [](const Client& c) { c.createPhasedRelease("7", {"INACTIVE"}); },
     "POST v1/appStoreVersionPhasedReleases",
     R"({"data":{"type":"appStoreVersionPhasedReleases","attributes":{"phasedReleaseState":"INACTIVE"},"relationships":{"appStoreVersion":{"data":{"type":"appStoreVersions","id":"7"}}}}})"},
    {"updatePhasedRelease", [](const Client& c) { c.updatePhasedRelease("7", {"PAUSED"}); },
     "PATCH v1/appStoreVersionPhasedReleases/7",
     R"({"data":{"type":"appStoreVersionPhasedReleases","id":"7","attributes":{"phasedReleaseState":"PAUSED"}}})"},
    {"deletePhasedRelease", [](const Client& c) { c.deletePhasedRelease("7"); },
     "DELETE v1/appStoreVersionPhasedReleases/7"},

    // Screenshots
    {"listScreenshotSets", [](const Client& c) { c.listScreenshotSets("7"); },
     "GET v1/appStoreVersionLocalizations/7/appScreenshotSets?limit=200"},
    {"listScreenshots", [](const Client& c) { c.listScreenshots("7"); },
     "GET v1/appScreenshotSets/7/appScreenshots?limit=200"},
    {"createScreenshotSet", [](const Client& c) { c.createScreenshotSet("7", "APP_IPHONE_67"); },
     "POST v1/appScreenshotSets",
     R"({"data":{"type":"appScreenshotSets","attributes":{"screenshotDisplayType":"APP_IPHONE_67"},"relationships":{"appStoreVersionLocalization":{"data":{"type":"appStoreVersionLocalizations","id":"7"}}}}})"},
    {"reserveScreenshot",
     [](const Client& c) {
         c.reserveScreenshot("7", {70001, "one.png"});
     },
     "POST v1/appScreenshots",
     R"({"data":{"type":"appScreenshots","attributes":{"fileSize":70001,"fileName":"one.png"},"relationships":{"appScreenshotSet":{"data":{"type":"appScreenshotSets","id":"7"}}}}})"},
    {"commitScreenshot", [](const Client& c) { c.commitScreenshot("7", "0cc1"); },
     "PATCH v1/appScreenshots/7",
     R"({"data":{"type":"appScreenshots","id":"7","attributes":{"uploaded":true,"sourceFileChecksum":"0cc1"}}})"},
    {"deleteScreenshot", [](const Client& c) { c.deleteScreenshot("7"); }, "DELETE v1/appScreenshots/7"},
    {"reorderScreenshots",
     [](const Client& c) {
         c.reorderScreenshots("7", {"b", "a"});
     },
     "PATCH v1/appScreenshotSets/7/relationships/appScreenshots",
     R"({"data":[{"type":"appScreenshots","id":"b"},{"type":"appScreenshots","id":"a"}]})"},

    // Previews
    {"listPreviewSets", [](const Client& c) { c.listPreviewSets("7"); },
     "GET v1/appStoreVersionLocalizations/7/appPreviewSets?limit=200"},
    {"listPreviews", [](const Client& c) { c.listPreviews("7"); },
     "GET v1/appPreviewSets/7/appPreviews?limit=200"},
    {"createPreviewSet", [](const Client& c) { c.createPreviewSet("7", "IPHONE_67"); },
     "POST v1/appPreviewSets",
     R"({"data":{"type":"appPreviewSets","attributes":{"previewType":"IPHONE_67"},"relationships":{"appStoreVersionLocalization":{"data":{"type":"appStoreVersionLocalizations","id":"7"}}}}})"},
    {"reservePreview",
     [](const Client& c) {
         c.reservePreview("7", {70001, "one.mp4", {}, "video/mp4"});
     },
     "POST v1/appPreviews",
     R"({"data":{"type":"appPreviews","attributes":{"fileSize":70001,"fileName":"one.mp4","mimeType":"video/mp4"},"relationships":{"appPreviewSet":{"data":{"type":"appPreviewSets","id":"7"}}}}})"},
    {"commitPreview",
     [](const Client& c) {
         c.commitPreview("7", {true, "0cc1", {}});
     },
     "PATCH v1/appPreviews/7",
     R"({"data":{"type":"appPreviews","id":"7","attributes":{"uploaded":true,"sourceFileChecksum":"0cc1"}}})"},
    {"commitPreview", [](const Client& c) { c.commitPreview("7", {.previewFrameTimeCode = "00:00:07:15"}); },
     "PATCH v1/appPreviews/7",
     R"({"data":{"type":"appPreviews","id":"7","attributes":{"previewFrameTimeCode":"00:00:07:15"}}})"},
    {"deletePreview", [](const Client& c) { c.deletePreview("7"); }, "DELETE v1/appPreviews/7"},

    // Builds and TestFlight
    {"listBuilds", [](const Client& c) { c.listBuilds("7"); },
     "GET v1/builds?filter[app]=7&sort=-uploadedDate&include=preReleaseVersion&limit=50"},
    {"listBuilds", [](const Client& c) { c.listBuilds("7", "2.4.3", {1000}); },
     "GET v1/builds?filter[app]=7&filter[preReleaseVersion.version]=2.4.3&sort=-uploadedDate&"
     "include=preReleaseVersion&limit=200"},
    {"getBuild", [](const Client& c) { c.getBuild("7"); }, "GET v1/builds/7"},
    {"setExportCompliance", [](const Client& c) { c.setExportCompliance("7", {false}); }, "PATCH v1/builds/7",
     R"({"data":{"type":"builds","id":"7","attributes":{"usesNonExemptEncryption":false}}})"},
    {"listBetaGroups", [](const Client& c) { c.listBetaGroups("7"); }, "GET v1/apps/7/betaGroups?limit=200"},
    {"addBuildToBetaGroup", [](const Client& c) { c.addBuildToBetaGroup("7", "8"); },
     "POST v1/betaGroups/7/relationships/builds", R"({"data":[{"type":"builds","id":"8"}]})"},
    {"listBetaBuildLocalizations", [](const Client& c) { c.listBetaBuildLocalizations("7"); },
     "GET v1/builds/7/betaBuildLocalizations"},
    {"createBetaBuildLocalization",
     [](const Client& c) {
         c.createBetaBuildLocalization("7", {"ja", "Try it."});
     },
     "POST v1/betaBuildLocalizations",
     R"({"data":{"type":"betaBuildLocalizations","attributes":{"locale":"ja","whatsNew":"Try it."},"relationships":{"build":{"data":{"type":"builds","id":"7"}}}}})"},
    {"updateBetaBuildLocalization",
     [](const Client& c) { c.updateBetaBuildLocalization("7", {"Try it twice."}); },
     "PATCH v1/betaBuildLocalizations/7",
     R"({"data":{"type":"betaBuildLocalizations","id":"7","attributes":{"whatsNew":"Try it twice."}}})"},
    {"submitForBetaReview", [](const Client& c) { c.submitForBetaReview("7"); },
     "POST v1/betaAppReviewSubmissions",
     R"({"data":{"type":"betaAppReviewSubmissions","relationships":{"build":{"data":{"type":"builds","id":"7"}}}}})"},
    {"getBetaReviewSubmission", [](const Client& c) { (void)c.getBetaReviewSubmission("7"); },
     "GET v1/builds/7/betaAppReviewSubmission"},
    {"getBuildBetaDetail", [](const Client& c) { (void)c.getBuildBetaDetail("7"); },
     "GET v1/builds/7/buildBetaDetail"},
    {"updateBuildBetaDetail", [](const Client& c) { c.updateBuildBetaDetail("7", {true}); },
     "PATCH v1/buildBetaDetails/7",
     R"({"data":{"type":"buildBetaDetails","id":"7","attributes":{"autoNotifyEnabled":true}}})"},
    {"createBetaGroup",
     [](const Client& c) {
         c.createBetaGroup("7", {"Friends", true});
     },
     "POST v1/betaGroups",
     R"({"data":{"type":"betaGroups","attributes":{"name":"Friends","isInternalGroup":true},"relationships":{"app":{"data":{"type":"apps","id":"7"}}}}})"},
    {"listBuildsOfBetaGroup", [](const Client& c) { c.listBuildsOfBetaGroup("7"); },
     "GET v1/builds?filter[betaGroups]=7&sort=-uploadedDate&include=preReleaseVersion&limit=200"},
    {"removeBuildFromBetaGroup", [](const Client& c) { c.removeBuildFromBetaGroup("7", "8"); },
     "DELETE v1/betaGroups/7/relationships/builds", R"({"data":[{"type":"builds","id":"8"}]})"},
    {"listBetaTesters", [](const Client& c) { c.listBetaTesters("7"); },
     "GET v1/betaGroups/7/betaTesters?limit=200"},
    {"createBetaTester",
     [](const Client& c) {
         c.createBetaTester("7", {"Yuki", {}, "yuki@example.com"});
     },
     "POST v1/betaTesters",
     R"({"data":{"type":"betaTesters","attributes":{"firstName":"Yuki","email":"yuki@example.com"},"relationships":{"betaGroups":{"data":[{"type":"betaGroups","id":"7"}]}}}})"},

    // Submission to App Review
    {"listReviewSubmissions", [](const Client& c) { c.listReviewSubmissions("7", {}); },
     "GET v1/reviewSubmissions?filter[app]=7&limit=200"},
    {"listReviewSubmissions",
     [](const Client& c) {
         c.listReviewSubmissions(
             "7", {ReviewSubmissionState::readyForReview, ReviewSubmissionState::unresolvedIssues});
     },
     "GET v1/reviewSubmissions?filter[app]=7&filter[state]=READY_FOR_REVIEW,UNRESOLVED_ISSUES&limit=200"},
    {"listReviewSubmissionItems", [](const Client& c) { c.listReviewSubmissionItems("7"); },
     "GET v1/reviewSubmissions/7/items?include=appStoreVersion,appCustomProductPageVersion,"
     "appStoreVersionExperiment,appStoreVersionExperimentV2,appEvent&limit=200"},
    {"createReviewSubmission", [](const Client& c) { c.createReviewSubmission("7", ASCPlatform::iOS); },
     "POST v1/reviewSubmissions",
     R"({"data":{"type":"reviewSubmissions","attributes":{"platform":"IOS"},"relationships":{"app":{"data":{"type":"apps","id":"7"}}}}})"},
    {"addReviewSubmissionItem", [](const Client& c) { c.addReviewSubmissionItem("7", "8"); },
     "POST v1/reviewSubmissionItems",
     R"({"data":{"type":"reviewSubmissionItems","relationships":{"appStoreVersion":{"data":{"type":"appStoreVersions","id":"8"}},"reviewSubmission":{"data":{"type":"reviewSubmissions","id":"7"}}}}})"},
    {"submitReviewSubmission", [](const Client& c) { c.submitReviewSubmission("7"); },
     "PATCH v1/reviewSubmissions/7",
     R"({"data":{"type":"reviewSubmissions","id":"7","attributes":{"submitted":true}}})"},
    {"cancelReviewSubmission", [](const Client& c) { c.cancelReviewSubmission("7"); },
     "PATCH v1/reviewSubmissions/7",
     R"({"data":{"type":"reviewSubmissions","id":"7","attributes":{"canceled":true}}})"},
    {"deleteReviewSubmissionItem", [](const Client& c) { c.deleteReviewSubmissionItem("7"); },
     "DELETE v1/reviewSubmissionItems/7"},

    // Customer reviews
    {"listCustomerReviews", [](const Client& c) { c.listCustomerReviews("7", Client::Responses::leaveOut); },
     "GET v1/apps/7/customerReviews?sort=-createdDate&limit=200"},
    {"listCustomerReviews",
     [](const Client& c) { c.listCustomerReviews("7", Client::Responses::include, "USA", {20}); },
     "GET v1/apps/7/customerReviews?sort=-createdDate&include=response&filter[territory]=USA&limit=20"},
    {"createReviewResponse", [](const Client& c) { c.createReviewResponse("7", "Thank you!"); },
     "POST v1/customerReviewResponses",
     R"({"data":{"type":"customerReviewResponses","attributes":{"responseBody":"Thank you!"},"relationships":{"review":{"data":{"type":"customerReviews","id":"7"}}}}})"},

    // In-app purchases and events
    {"listInAppPurchases", [](const Client& c) { c.listInAppPurchases("7"); },
     "GET v1/apps/7/inAppPurchasesV2?limit=200"},
    {"listAppEvents", [](const Client& c) { c.listAppEvents("7"); }, "GET v1/apps/7/appEvents?limit=50"},

    // Reports
    {"listAnalyticsReportRequests", [](const Client& c) { c.listAnalyticsReportRequests("7"); },
     "GET v1/apps/7/analyticsReportRequests"},
    {"createAnalyticsReportRequest",
     [](const Client& c) { c.createAnalyticsReportRequest("7", {"ONGOING"}); },
     "POST v1/analyticsReportRequests",
     R"({"data":{"type":"analyticsReportRequests","attributes":{"accessType":"ONGOING"},"relationships":{"app":{"data":{"type":"apps","id":"7"}}}}})"},
    {"listAnalyticsReports", [](const Client& c) { c.listAnalyticsReports("7", "COMMERCE"); },
     "GET v1/analyticsReportRequests/7/reports?filter[category]=COMMERCE&limit=200"},
    {"listAnalyticsReportInstances",
     [](const Client& c) { c.listAnalyticsReportInstances("7", "DAILY", "2026-03-01"); },
     "GET v1/analyticsReports/7/instances?filter[granularity]=DAILY&filter[processingDate]=2026-03-01&"
     "limit=200"},
    {"listAnalyticsReportSegments", [](const Client& c) { c.listAnalyticsReportSegments("7"); },
     "GET v1/analyticsReportInstances/7/segments?limit=200"},
    {"downloadSalesReport",
     [](const Client& c) {
         (void)c.downloadSalesReport({"85012345", "SALES", "SUMMARY", "DAILY", "1_0", "2026-03-01"});
     },
     "GET v1/salesReports?filter[vendorNumber]=85012345&filter[reportType]=SALES&"
     "filter[reportSubType]=SUMMARY&filter[frequency]=DAILY&filter[version]=1_0&"
     "filter[reportDate]=2026-03-01 as application/a-gzip"},
};
// clang-format on

} // namespace

TEST(operations, eachSendsTheOneRequestOfItsRow) {
    for (const Row& row : rows) {
        const RecordingClient client(row.operation.starts_with("list"));
        EXPECT_NO_THROW(row.call(client)) << row.operation;
        ASSERT_EQ(client.sent.size(), 1u) << row.operation;
        EXPECT_EQ(lineOfRequest(client.sent[0]), row.request) << row.operation;
        EXPECT_EQ(client.sent[0].body, row.body) << row.operation;
    }
}

TEST(operations, allHaveARow) {
    std::set<std::string> named;
    for (const Row& row : rows)
        named.insert(row.operation);
    EXPECT_EQ(named, test::operationNames(QUORVEL_SOURCE_DIR));
}
