#include "Tests/support/Catalogue.h"

#include "Platform/crypto/Digest.h"
#include "Platform/files/Files.h"

#include <algorithm>
#include <regex>
#include <stdexcept>

namespace quorvel::test {

namespace {

constexpr std::string_view fallbackID = "1"; // where a service of examples lists nothing

template <typename List>
std::string firstID(const List& list) {
    return list.empty() ? std::string(fallbackID) : list.front().id;
}

template <typename List, typename Predicate>
std::string idWhere(const List& list, Predicate predicate) {
    const auto found = std::ranges::find_if(list, predicate);
    return found == list.end() ? firstID(list) : found->id;
}

template <typename List>
std::string localeNotIn(const List& list) {
    std::set<std::string> taken;
    for (const auto& each : list) {
        if constexpr (requires { each.attributes.locale.value_or(""); })
            taken.insert(each.attributes.locale.value_or(""));
        else
            taken.insert(each.attributes.locale);
    }
    for (const char* locale : {"ta-IN", "te-IN", "ur-PK", "gu-IN", "kn-IN", "sl-SI"})
        if (!taken.contains(locale)) return locale;
    return "sl-SI";
}

class Walk {
  public:
    Walk(const ASCClientProtocol& client, HTTPClient& http, std::string vendorNumber)
        : client_(client), http_(http), vendorNumber_(std::move(vendorNumber)) {}

    CatalogueReport run() {
        apps();
        versions();
        appInfos();
        screenshots();
        previews();
        builds();
        testFlight();
        reviews();
        commerce();
        reports();
        submission();
        return std::move(report_);
    }

  private:
    // Calls one operation; a failure is noted and an empty result stands for what did not come.
    template <typename Call>
    auto call(const char* name, Call&& operation) -> std::invoke_result_t<Call> {
        using Result = std::invoke_result_t<Call>;
        report_.called.emplace_back(name);
        try {
            return operation();
        } catch (const std::exception& error) {
            report_.failed.push_back(std::string(name) + ": " + error.what());
        }
        if constexpr (!std::is_void_v<Result>) return Result{};
    }

    void apps() {
        const auto all = call("listApps", [&] { return client_.listApps(); });
        app_ = firstID(all);
        lastApp_ = all.empty() ? std::string(fallbackID) : all.back().id;
        for (const auto& each : all)
            for (const auto& version : client_.listAppStoreVersions(each.id))
                if (version.attributes.appStoreState == "PENDING_DEVELOPER_RELEASE") approved_ = version.id;
    }

    void versions() {
        const auto isPrepared = [](const auto& version) {
            return version.attributes.appStoreState == "PREPARE_FOR_SUBMISSION";
        };
        next_ = idWhere(call("listAppStoreVersions",
                             [&] {
                                 return client_.listAppStoreVersions(app_, ASCPlatform::iOS,
                                                                     {"PREPARE_FOR_SUBMISSION"});
                             }),
                        isPrepared);
        const auto made = call("createAppStoreVersion", [&] {
            return client_.createAppStoreVersion(app_, {"TV_OS", "1.0", "MANUAL"});
        });
        (void)call("updateAppStoreVersion",
                   [&] { return client_.updateAppStoreVersion(made.id, {.releaseType = "AFTER_APPROVAL"}); });
        (void)call("createReviewDetail", [&] {
            return client_.createReviewDetail(made.id, {.contactEmail = "review@example.test"});
        });
        const auto localizations =
            call("listVersionLocalizations", [&] { return client_.listVersionLocalizations(made.id); });
        const auto localization = call("createVersionLocalization", [&] {
            return client_.createVersionLocalization(
                made.id, {.locale = localeNotIn(localizations), .keywords = "a,b"});
        });
        localization_ = localization.id;
        (void)call("updateVersionLocalization", [&] {
            return client_.updateVersionLocalization(localization.id, {.description = "Plan the week."});
        });
        const auto removed = client_.createVersionLocalization(
            made.id, {.locale = localeNotIn(client_.listVersionLocalizations(made.id))});
        call("deleteVersionLocalization", [&] { client_.deleteVersionLocalization(removed.id); });
        (void)call("getAppStoreVersion", [&] { return client_.getAppStoreVersion(next_); });
        (void)call("listVersionSummaries", [&] { return client_.listVersionSummaries(app_); });
        (void)call("listLocalizationSummaries", [&] { return client_.listLocalizationSummaries(next_); });
        const auto detail = call("getReviewDetail", [&] { return client_.getReviewDetail(next_); });
        (void)call("updateReviewDetail", [&] {
            return client_.updateReviewDetail(detail.value().id, {.notes = "No account is needed."});
        });
        (void)call("getPhasedRelease", [&] { return client_.getPhasedRelease(next_); });
        const auto phased =
            call("createPhasedRelease", [&] { return client_.createPhasedRelease(next_, {"INACTIVE"}); });
        (void)call("updatePhasedRelease",
                   [&] { return client_.updatePhasedRelease(phased.id, {"INACTIVE"}); });
        call("deletePhasedRelease", [&] { client_.deletePhasedRelease(phased.id); });
    }

    void appInfos() {
        const auto infos = call("listAppInfos", [&] { return client_.listAppInfos(app_); });
        const std::string info = idWhere(infos, [](const auto& each) {
            return each.attributes.appStoreState == "PREPARE_FOR_SUBMISSION";
        });
        const auto localizations =
            call("listAppInfoLocalizations", [&] { return client_.listAppInfoLocalizations(info); });
        const auto made = call("createAppInfoLocalization", [&] {
            return client_.createAppInfoLocalization(
                info, {.locale = localeNotIn(localizations), .name = "Garden"});
        });
        (void)call("updateAppInfoLocalization", [&] {
            return client_.updateAppInfoLocalization(made.id,
                                                     AppInfoLocalizationPatchAttributes{.subtitle = "Plan"});
        });
        (void)call("updateAppInfoLocalization", [&] {
            return client_.updateAppInfoLocalization(made.id,
                                                     AppInfoLocalizationPrivacyPatchAttributes{
                                                         .privacyPolicyUrl = "https://example.test/privacy"});
        });
        call("deleteAppInfoLocalization", [&] { client_.deleteAppInfoLocalization(made.id); });
        call("updateAppInfoCategories",
             [&] { client_.updateAppInfoCategories(info, "PRODUCTIVITY", "UTILITIES"); });
        (void)call("listAppInfoSummaries", [&] { return client_.listAppInfoSummaries(app_); });
        const auto rating =
            call("getAgeRatingDeclaration", [&] { return client_.getAgeRatingDeclaration(info); });
        (void)call("updateAgeRatingDeclaration", [&] {
            return client_.updateAgeRatingDeclaration(rating.value().id,
                                                      JSONValue::object({{"gambling", false}}));
        });
    }

    void screenshots() {
        (void)call("listScreenshotSets", [&] { return client_.listScreenshotSets(localization_); });
        const auto set = call("createScreenshotSet",
                              [&] { return client_.createScreenshotSet(localization_, "APP_APPLE_TV"); });
        const std::string bytes(70'001, 'x');
        const auto shot = call("reserveScreenshot", [&] {
            return client_.reserveScreenshot(set.id, {static_cast<std::int64_t>(bytes.size()), "one.png"});
        });
        for (const auto& part : shot.attributes.uploadOperations.value_or(std::vector<ASCUploadOperation>{}))
            upload(part, bytes);
        (void)call("commitScreenshot", [&] { return client_.commitScreenshot(shot.id, md5Hex(bytes)); });
        (void)call("listScreenshots", [&] { return client_.listScreenshots(set.id); });
        call("reorderScreenshots", [&] { client_.reorderScreenshots(set.id, {shot.id}); });
        call("deleteScreenshot", [&] { client_.deleteScreenshot(shot.id); });
    }

    void previews() {
        (void)call("listPreviewSets", [&] { return client_.listPreviewSets(localization_); });
        const auto set =
            call("createPreviewSet", [&] { return client_.createPreviewSet(localization_, "APPLE_TV"); });
        const std::string bytes(70'001, 'x');
        const auto preview = call("reservePreview", [&] {
            return client_.reservePreview(
                set.id, {static_cast<std::int64_t>(bytes.size()), "one.mp4", "00:00:07:15", "video/mp4"});
        });
        for (const auto& part :
             preview.attributes.uploadOperations.value_or(std::vector<ASCUploadOperation>{}))
            upload(part, bytes);
        (void)call("commitPreview", [&] {
            return client_.commitPreview(preview.id, {true, md5Hex(bytes), {}});
        });
        (void)call("listPreviews", [&] { return client_.listPreviews(set.id); });
        call("deletePreview", [&] { client_.deletePreview(preview.id); });
    }

    void upload(const ASCUploadOperation& part, const std::string& bytes) {
        HTTPRequest request{.method = part.method, .url = part.url};
        for (const auto& header : part.requestHeaders.value_or(std::vector<ASCUploadHeader>{}))
            request.headers.push_back({header.name, header.value});
        request.body = bytes.substr(std::min<std::size_t>(part.offset, bytes.size()), part.length);
        if (!problemOfURL(part.url) && part.url.starts_with("http:")) (void)http_.send(request);
    }

    void builds() {
        const auto all = call("listBuilds", [&] { return client_.listBuilds(app_); });
        const auto valid = std::ranges::find_if(all, [](const ASCBuildSummary& each) {
            return each.build.attributes.processingState == "VALID" && each.build.attributes.expired != true;
        });
        build_ = valid == all.end() ? std::string(fallbackID) : valid->build.id;
        (void)call("getBuild", [&] { return client_.getBuild(build_); });
        call("setExportCompliance", [&] { client_.setExportCompliance(build_, {false}); });
        call("attachBuild", [&] { client_.attachBuild(next_, build_); });
    }

    void testFlight() {
        (void)call("listBetaGroups", [&] { return client_.listBetaGroups(app_); });
        const std::string group = call("createBetaGroup", [&] {
                                      return client_.createBetaGroup(app_, {"Catalogue readers", false});
                                  }).id;
        call("addBuildToBetaGroup", [&] { client_.addBuildToBetaGroup(group, build_); });
        (void)call("listBuildsOfBetaGroup", [&] { return client_.listBuildsOfBetaGroup(group); });
        (void)call("createBetaTester", [&] {
            return client_.createBetaTester(group, {"Yuki", "Tanaka", "yuki.tanaka@example.com"});
        });
        (void)call("listBetaTesters", [&] { return client_.listBetaTesters(group); });
        const auto notes =
            call("listBetaBuildLocalizations", [&] { return client_.listBetaBuildLocalizations(build_); });
        const auto made = call("createBetaBuildLocalization", [&] {
            return client_.createBetaBuildLocalization(build_, {localeNotIn(notes), "Try the new plan."});
        });
        (void)call("updateBetaBuildLocalization",
                   [&] { return client_.updateBetaBuildLocalization(made.id, {"Try it twice."}); });
        (void)call("submitForBetaReview", [&] { return client_.submitForBetaReview(build_); });
        (void)call("getBetaReviewSubmission", [&] { return client_.getBetaReviewSubmission(build_); });
        const auto detail = call("getBuildBetaDetail", [&] { return client_.getBuildBetaDetail(build_); });
        (void)call("updateBuildBetaDetail",
                   [&] { return client_.updateBuildBetaDetail(detail ? detail->id : fallbackID, {true}); });
        call("removeBuildFromBetaGroup", [&] { client_.removeBuildFromBetaGroup(group, build_); });
    }

    void reviews() {
        const auto all = call("listCustomerReviews", [&] {
            return client_.listCustomerReviews(app_, ASCClientProtocol::Responses::include, "USA", {20});
        });
        const auto open = std::ranges::find(all, false, &ASCCustomerReview::hasResponse);
        const std::string review = open == all.end() ? std::string(fallbackID) : open->review.id;
        (void)call("createReviewResponse",
                   [&] { return client_.createReviewResponse(review, "Thank you!"); });
    }

    void commerce() {
        (void)call("listInAppPurchases", [&] { return client_.listInAppPurchases(app_); });
        (void)call("listAppEvents", [&] { return client_.listAppEvents(app_); });
    }

    void reports() {
        const auto requests =
            call("listAnalyticsReportRequests", [&] { return client_.listAnalyticsReportRequests(app_); });
        (void)call("createAnalyticsReportRequest",
                   [&] { return client_.createAnalyticsReportRequest(lastApp_, {"ONE_TIME_SNAPSHOT"}); });
        const auto all = call("listAnalyticsReports", [&] {
            return client_.listAnalyticsReports(firstID(requests), "APP_STORE_ENGAGEMENT");
        });
        const auto instances = call("listAnalyticsReportInstances", [&] {
            return client_.listAnalyticsReportInstances(firstID(all), "DAILY");
        });
        (void)call("listAnalyticsReportSegments",
                   [&] { return client_.listAnalyticsReportSegments(firstID(instances)); });
        (void)call("downloadSalesReport", [&] {
            const Date day = systemClock()() - std::chrono::hours(3 * 24);
            return client_.downloadSalesReport(
                {vendorNumber_, "SALES", "SUMMARY", "DAILY", "1_0", formatISO8601(day).substr(0, 10)});
        });
    }

    // App Review takes no update without release notes.
    void writeReleaseNotes() {
        for (const auto& each : client_.listVersionLocalizations(next_))
            (void)client_.updateVersionLocalization(each.id, {.whatsNew = "A calmer week view."});
    }

    void submission() {
        writeReleaseNotes();
        (void)call("listReviewSubmissions", [&] {
            return client_.listReviewSubmissions(
                app_, {ReviewSubmissionState::readyForReview, ReviewSubmissionState::unresolvedIssues});
        });
        const auto made = call("createReviewSubmission",
                               [&] { return client_.createReviewSubmission(app_, ASCPlatform::iOS); });
        (void)call("addReviewSubmissionItem",
                   [&] { return client_.addReviewSubmissionItem(made.id, next_); });
        const auto items =
            call("listReviewSubmissionItems", [&] { return client_.listReviewSubmissionItems(made.id); });
        call("deleteReviewSubmissionItem",
             [&] { client_.deleteReviewSubmissionItem(items.empty() ? fallbackID : items.front().item.id); });
        (void)client_.addReviewSubmissionItem(made.id, next_);
        (void)call("submitReviewSubmission", [&] { return client_.submitReviewSubmission(made.id); });
        (void)call("cancelReviewSubmission", [&] { return client_.cancelReviewSubmission(made.id); });
        call("requestVersionRelease", [&] { client_.requestVersionRelease(approved_); });
    }

    const ASCClientProtocol& client_;
    HTTPClient& http_;
    std::string vendorNumber_;
    CatalogueReport report_;
    std::string app_, lastApp_, next_, localization_, build_;
    std::string approved_{fallbackID};
};

} // namespace

std::set<std::string> operationNames(const std::filesystem::path& sourceFolder) {
    const std::string header = readFile(sourceFolder / "Core/asc/ASCClientProtocol.h").value();
    const std::size_t begin = header.find("// Apps and app infos");
    const std::size_t end = header.find("protected:");
    if (begin == std::string::npos || end < begin || end == std::string::npos)
        throw std::runtime_error("ASCClientProtocol.h does not begin and end its operations as expected");
    // Between the two, only the operations themselves stand before an opening parenthesis.
    const std::regex name(R"((\w+)\()");
    const auto first = header.cbegin() + static_cast<std::ptrdiff_t>(begin);
    const auto last = header.cbegin() + static_cast<std::ptrdiff_t>(end);
    std::set<std::string> names;
    for (std::sregex_iterator match(first, last, name); match != std::sregex_iterator(); ++match)
        names.insert((*match)[1]);
    return names;
}

CatalogueReport callEveryOperation(const ASCClientProtocol& client, HTTPClient& http,
                                   const std::string& vendorNumber) {
    return Walk(client, http, vendorNumber).run();
}

} // namespace quorvel::test
