// The catalogue of App Store Connect operations over one door.
#pragma once

#include "Core/asc/ASCRequest.h"
#include "Core/asc/records/AnalyticsRecords.h"
#include "Core/asc/records/AppRecords.h"
#include "Core/asc/records/BuildRecords.h"
#include "Core/asc/records/CommerceRecords.h"
#include "Core/asc/records/PreviewRecords.h"
#include "Core/asc/records/Reviews.h"
#include "Core/asc/records/ScreenshotRecords.h"
#include "Core/asc/records/States.h"
#include "Core/asc/records/SummaryRecords.h"
#include "Core/asc/records/VersionRecords.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

template <typename A>
using ASCList = std::vector<ASCResource<A>>;

/// How many resources of a list are wanted; pages are followed until then.
struct ASCListBound {
    std::optional<int> maximum; // none: everything
};

/// The filters of a sales report, sent in this order.
struct ASCSalesReportQuery {
    std::string vendorNumber;
    std::string reportType;
    std::string reportSubType;
    std::string frequency;
    std::string version;
    std::string reportDate; // "2026-03-01" for a daily report
};

/// App Store Connect as the rest of the system sees it. Implementations provide `exchange`; every operation
/// is defined once on it (operations/, grouped by resource) and is named as in the catalogue. All throw
/// `ASCError` or `CancellationError`, and may be called from any thread. An operation that returns an
/// optional returns none when App Store Connect has no such resource; it throws when its owner does not
/// exist.
class ASCClientProtocol {
  public:
    virtual ~ASCClientProtocol() = default;

    /// Sends one request, retrying as needed, and returns the body of a successful answer.
    [[nodiscard]] virtual std::string exchange(const ASCRequest& request) const = 0;

    /// `exchange`, decoded. Throws `ASCError::DecodingFailed` for a body of another form.
    template <typename Document>
    [[nodiscard]] Document send(const ASCRequest& request) const;

    // Apps and app infos
    ASCList<ASCAppAttributes> listApps(std::optional<std::string_view> bundleID = {},
                                       ASCListBound bound = {}) const;
    ASCList<AppInfoAttributes> listAppInfos(std::string_view appID) const;
    /// The same with the categories of each.
    std::vector<ASCAppInfoSummary> listAppInfoSummaries(std::string_view appID) const;
    ASCList<AppInfoLocalizationAttributes> listAppInfoLocalizations(std::string_view appInfoID) const;
    ASCResource<AppInfoLocalizationAttributes>
    createAppInfoLocalization(std::string_view appInfoID,
                              const AppInfoLocalizationCreateAttributes& attributes) const;
    ASCResource<AppInfoLocalizationAttributes>
    updateAppInfoLocalization(std::string_view id,
                              const AppInfoLocalizationPatchAttributes& attributes) const;
    ASCResource<AppInfoLocalizationAttributes>
    updateAppInfoLocalization(std::string_view id,
                              const AppInfoLocalizationPrivacyPatchAttributes& attributes) const;
    void deleteAppInfoLocalization(std::string_view id) const;
    void updateAppInfoCategories(std::string_view appInfoID, std::optional<std::string> primaryCategory,
                                 std::optional<std::string> secondaryCategory) const;
    void updateAppInfoCategories(std::string_view appInfoID, const AppInfoCategories& categories) const;
    /// The attributes are an object of those that have a value; Apple adds some with time.
    std::optional<ASCResource<JSONValue>> getAgeRatingDeclaration(std::string_view appInfoID) const;
    /// Attributes that are not given stay; null takes a value away.
    ASCResource<JSONValue> updateAgeRatingDeclaration(std::string_view id, const JSONValue& attributes) const;

    // Versions
    ASCList<AppStoreVersionAttributes> listAppStoreVersions(std::string_view appID,
                                                            std::optional<ASCPlatform> platform = {},
                                                            const std::vector<std::string>& states = {},
                                                            ASCListBound bound = {}) const;
    /// The same with the build and the review details of each.
    std::vector<ASCVersionSummary> listVersionSummaries(std::string_view appID) const;
    ASCResource<AppStoreVersionAttributes> getAppStoreVersion(std::string_view id) const;
    ASCResource<AppStoreVersionAttributes>
    createAppStoreVersion(std::string_view appID, const AppStoreVersionCreateAttributes& attributes) const;
    ASCResource<AppStoreVersionAttributes>
    updateAppStoreVersion(std::string_view id, const AppStoreVersionPatchAttributes& attributes) const;
    /// The same with attributes by their names, for those that null takes a value away from.
    ASCResource<AppStoreVersionAttributes> updateAppStoreVersion(std::string_view id,
                                                                 const JSONValue& attributes) const;
    ASCList<AppStoreVersionLocalizationAttributes> listVersionLocalizations(std::string_view versionID) const;
    /// The same with the display types of each one's screenshot sets.
    std::vector<ASCLocalizationSummary> listLocalizationSummaries(std::string_view versionID) const;
    ASCResource<AppStoreVersionLocalizationAttributes>
    createVersionLocalization(std::string_view versionID,
                              const VersionLocalizationCreateAttributes& attributes) const;
    ASCResource<AppStoreVersionLocalizationAttributes>
    updateVersionLocalization(std::string_view id,
                              const VersionLocalizationPatchAttributes& attributes) const;
    void deleteVersionLocalization(std::string_view id) const;
    std::optional<ASCResource<AppStoreReviewDetailAttributes>>
    getReviewDetail(std::string_view versionID) const;
    ASCResource<AppStoreReviewDetailAttributes>
    createReviewDetail(std::string_view versionID, const AppStoreReviewDetailAttributes& attributes) const;
    ASCResource<AppStoreReviewDetailAttributes>
    updateReviewDetail(std::string_view id, const AppStoreReviewDetailAttributes& attributes) const;
    void attachBuild(std::string_view versionID, std::string_view buildID) const;
    void requestVersionRelease(std::string_view versionID) const;
    std::optional<ASCResource<AppStoreVersionPhasedReleaseAttributes>>
    getPhasedRelease(std::string_view versionID) const;
    ASCResource<AppStoreVersionPhasedReleaseAttributes>
    createPhasedRelease(std::string_view versionID, const PhasedReleaseCreateAttributes& attributes) const;
    ASCResource<AppStoreVersionPhasedReleaseAttributes>
    updatePhasedRelease(std::string_view id, const PhasedReleasePatchAttributes& attributes) const;
    void deletePhasedRelease(std::string_view id) const;

    // Screenshots
    ASCList<AppScreenshotSetAttributes> listScreenshotSets(std::string_view versionLocalizationID) const;
    ASCList<AppScreenshotAttributes> listScreenshots(std::string_view setID) const;
    ASCResource<AppScreenshotSetAttributes> createScreenshotSet(std::string_view versionLocalizationID,
                                                                std::string_view displayType) const;
    ASCResource<AppScreenshotAttributes>
    reserveScreenshot(std::string_view setID, const AppScreenshotCreateAttributes& attributes) const;
    ASCResource<AppScreenshotAttributes> commitScreenshot(std::string_view id,
                                                          std::string_view sourceFileChecksum) const;
    void deleteScreenshot(std::string_view id) const;
    void reorderScreenshots(std::string_view setID, const std::vector<std::string>& screenshotIDs) const;

    // Previews
    ASCList<AppPreviewSetAttributes> listPreviewSets(std::string_view versionLocalizationID) const;
    ASCList<AppPreviewAttributes> listPreviews(std::string_view setID) const;
    ASCResource<AppPreviewSetAttributes> createPreviewSet(std::string_view versionLocalizationID,
                                                          std::string_view previewType) const;
    ASCResource<AppPreviewAttributes> reservePreview(std::string_view setID,
                                                     const AppPreviewCreateAttributes& attributes) const;
    /// Also changes the poster frame of a preview alone.
    ASCResource<AppPreviewAttributes> commitPreview(std::string_view id,
                                                    const AppPreviewPatchAttributes& attributes) const;
    void deletePreview(std::string_view id) const;

    // Builds and TestFlight
    std::vector<ASCBuildSummary> listBuilds(std::string_view appID,
                                            std::optional<std::string_view> marketingVersion = {},
                                            ASCListBound bound = {50}) const;
    ASCResource<ASCBuildAttributes> getBuild(std::string_view id) const;
    void setExportCompliance(std::string_view buildID, const BuildPatchAttributes& attributes) const;
    ASCList<BetaGroupAttributes> listBetaGroups(std::string_view appID) const;
    void addBuildToBetaGroup(std::string_view groupID, std::string_view buildID) const;
    ASCList<BetaBuildLocalizationAttributes> listBetaBuildLocalizations(std::string_view buildID) const;
    ASCResource<BetaBuildLocalizationAttributes>
    createBetaBuildLocalization(std::string_view buildID,
                                const BetaBuildLocalizationCreateAttributes& attributes) const;
    ASCResource<BetaBuildLocalizationAttributes>
    updateBetaBuildLocalization(std::string_view id,
                                const BetaBuildLocalizationPatchAttributes& attributes) const;
    ASCResource<BetaAppReviewSubmissionAttributes> submitForBetaReview(std::string_view buildID) const;
    std::optional<ASCResource<BetaAppReviewSubmissionAttributes>>
    getBetaReviewSubmission(std::string_view buildID) const;
    std::optional<ASCResource<BuildBetaDetailAttributes>> getBuildBetaDetail(std::string_view buildID) const;
    ASCResource<BuildBetaDetailAttributes>
    updateBuildBetaDetail(std::string_view id, const BuildBetaDetailPatchAttributes& attributes) const;
    ASCResource<BetaGroupAttributes> createBetaGroup(std::string_view appID,
                                                     const BetaGroupCreateAttributes& attributes) const;
    std::vector<ASCBuildSummary> listBuildsOfBetaGroup(std::string_view groupID) const;
    void removeBuildFromBetaGroup(std::string_view groupID, std::string_view buildID) const;
    ASCList<BetaTesterAttributes> listBetaTesters(std::string_view groupID) const;
    /// An e-mail address that the account knows already joins the group.
    ASCResource<BetaTesterAttributes> createBetaTester(std::string_view groupID,
                                                       const BetaTesterCreateAttributes& attributes) const;

    // Submission to App Review
    ASCList<ReviewSubmissionAttributes>
    listReviewSubmissions(std::string_view appID, const std::vector<ReviewSubmissionState>& states) const;
    std::vector<ASCReviewSubmissionItem> listReviewSubmissionItems(std::string_view submissionID) const;
    ASCResource<ReviewSubmissionAttributes> createReviewSubmission(std::string_view appID,
                                                                   ASCPlatform platform) const;
    ASCResource<ReviewSubmissionItemAttributes> addReviewSubmissionItem(std::string_view submissionID,
                                                                        std::string_view versionID) const;
    ASCResource<ReviewSubmissionAttributes> submitReviewSubmission(std::string_view submissionID) const;
    ASCResource<ReviewSubmissionAttributes> cancelReviewSubmission(std::string_view submissionID) const;
    void deleteReviewSubmissionItem(std::string_view itemID) const;

    // Customer reviews
    enum class Responses { leaveOut, include };
    std::vector<ASCCustomerReview> listCustomerReviews(std::string_view appID, Responses responses,
                                                       std::optional<std::string_view> territory = {},
                                                       ASCListBound bound = {}) const;
    ASCResource<CustomerReviewResponseAttributes> createReviewResponse(std::string_view reviewID,
                                                                       std::string_view responseBody) const;

    // In-app purchases and events
    ASCList<InAppPurchaseAttributes> listInAppPurchases(std::string_view appID) const;
    ASCList<AppEventAttributes> listAppEvents(std::string_view appID, ASCListBound bound = {50}) const;

    // Reports
    ASCList<AnalyticsReportRequestAttributes> listAnalyticsReportRequests(std::string_view appID) const;
    ASCResource<AnalyticsReportRequestAttributes>
    createAnalyticsReportRequest(std::string_view appID,
                                 const AnalyticsReportRequestCreateAttributes& attributes) const;
    ASCList<AnalyticsReportAttributes>
    listAnalyticsReports(std::string_view requestID, std::optional<std::string_view> category = {}) const;
    ASCList<AnalyticsReportInstanceAttributes>
    listAnalyticsReportInstances(std::string_view reportID, std::optional<std::string_view> granularity = {},
                                 std::optional<std::string_view> processingDate = {}) const;
    ASCList<AnalyticsReportSegmentAttributes> listAnalyticsReportSegments(std::string_view instanceID) const;
    /// The gzip-compressed report.
    [[nodiscard]] std::string downloadSalesReport(const ASCSalesReportQuery& query) const;

  protected:
    ASCClientProtocol() = default;
    ASCClientProtocol(const ASCClientProtocol&) = default;
    ASCClientProtocol& operator=(const ASCClientProtocol&) = default;
};

/// Throws `ASCError::DecodingFailed` with a text that says what came instead of the JSON expected.
[[noreturn]] void throwDecodingFailed(const JSONError& error, std::string_view body);

template <typename Document>
Document ASCClientProtocol::send(const ASCRequest& request) const {
    const std::string body = exchange(request);
    try {
        return decodeJSON<Document>(body);
    } catch (const JSONError& error) {
        throwDecodingFailed(error, body);
    }
}

} // namespace quorvel
