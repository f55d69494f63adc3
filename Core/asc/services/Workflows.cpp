#include "Core/asc/services/Workflows.h"

#include "Core/asc/ASCError.h"
#include "Core/asc/operations/Shapes.h"
#include "Core/asc/services/CreateOrAdopt.h"

#include <algorithm>

namespace quorvel {

namespace {

/// Patches the localization of `locale` that `list` finds, or creates it.
template <typename List, typename Patch, typename Create>
auto patchOrCreate(const List& list, std::string_view locale, const Patch& patch, const Create& create) {
    const auto find = [&] {
        const auto all = list();
        const auto found =
            std::ranges::find_if(all, [&](const auto& each) { return each.attributes.locale == locale; });
        return found == all.end() ? std::optional<std::string>() : std::optional<std::string>(found->id);
    };
    if (const auto id = find()) return patch(*id);
    return createOrAdopt(create, find, patch);
}

} // namespace

bool mayHaveBeenDone(const ASCError& error) {
    return error.as<ASCError::NetworkFailure>() || error.as<ASCError::InvalidResponse>() ||
           error.as<ASCError::DecodingFailed>() || error.httpStatus().value_or(0) >= 500;
}

std::optional<ASCResource<AppStoreVersionAttributes>> VersionService::find(std::string_view appID,
                                                                           ASCPlatform platform) const {
    auto versions = client_.listAppStoreVersions(appID, platform, {}, {1});
    if (versions.empty()) return std::nullopt;
    return std::move(versions.front());
}

ASCResource<AppStoreVersionAttributes> VersionService::findOrCreate(std::string_view appID,
                                                                    ASCPlatform platform,
                                                                    std::string_view versionString) const {
    if (auto version = find(appID, platform)) return std::move(*version);
    return client_.createAppStoreVersion(appID,
                                         {std::string(rawValue(platform)), std::string(versionString), {}});
}

ASCResource<AppStoreVersionLocalizationAttributes>
LocalizationService::writeVersionLocalization(std::string_view versionID,
                                              const VersionLocalizationCreateAttributes& texts) const {
    const VersionLocalizationPatchAttributes changed{texts.description,     texts.keywords,
                                                     texts.promotionalText, texts.whatsNew,
                                                     texts.supportUrl,      texts.marketingUrl};
    return patchOrCreate(
        [&] { return client_.listVersionLocalizations(versionID); }, texts.locale,
        [&](const std::string& id) { return client_.updateVersionLocalization(id, changed); },
        [&] { return client_.createVersionLocalization(versionID, texts); });
}

ASCResource<AppInfoLocalizationAttributes>
LocalizationService::writeAppInfoLocalization(std::string_view appInfoID,
                                              const AppInfoLocalizationCreateAttributes& texts) const {
    const auto patch = [&](const std::string& id) {
        const AppInfoLocalizationPrivacyPatchAttributes privacy{
            texts.privacyPolicyUrl, texts.privacyChoicesUrl, texts.privacyPolicyText};
        const bool hasNames = texts.name || texts.subtitle;
        const bool hasPrivacy = privacy != AppInfoLocalizationPrivacyPatchAttributes{};
        if (hasPrivacy && hasNames) (void)client_.updateAppInfoLocalization(id, privacy);
        if (hasPrivacy && !hasNames) return client_.updateAppInfoLocalization(id, privacy);
        return client_.updateAppInfoLocalization(
            id, AppInfoLocalizationPatchAttributes{texts.name, texts.subtitle});
    };
    return patchOrCreate([&] { return client_.listAppInfoLocalizations(appInfoID); }, texts.locale, patch,
                         [&] { return client_.createAppInfoLocalization(appInfoID, texts); });
}

ASCResource<BetaBuildLocalizationAttributes>
LocalizationService::writeTestNotes(std::string_view buildID, std::string_view locale,
                                    std::string_view whatsNew) const {
    const std::string notes(whatsNew);
    return patchOrCreate(
        [&] { return client_.listBetaBuildLocalizations(buildID); }, locale,
        [&](const std::string& id) { return client_.updateBetaBuildLocalization(id, {notes}); },
        [&] {
            return client_.createBetaBuildLocalization(buildID, {std::string(locale), notes});
        });
}

ASCResource<ReviewSubmissionAttributes> ReviewSubmissionService::submit(std::string_view appID,
                                                                        ASCPlatform platform,
                                                                        std::string_view versionID) const {
    using State = ReviewSubmissionState;
    const auto submissions = client_.listReviewSubmissions(
        appID, {State::readyForReview, State::waitingForReview, State::inReview, State::unresolvedIssues});
    const auto ofState = [&](State state) {
        return std::ranges::find_if(submissions, [&](const auto& submission) {
            const auto& attributes = submission.attributes;
            return attributes.platform == rawValue(platform) && attributes.state == rawValue(state);
        });
    };
    for (const State busy : {State::waitingForReview, State::inReview})
        if (ofState(busy) != submissions.end())
            throw ASCError(ASCError::APIErrors{
                {{std::nullopt, "STATE_ERROR", "A submission of this platform is with App Review already",
                  "Its state is " + std::string(rawValue(busy)) +
                      ". Wait for the result, or remove it from review on App Store Connect."}}});
    if (const auto unresolved = ofState(State::unresolvedIssues); unresolved != submissions.end())
        return client_.submitReviewSubmission(unresolved->id);
    const auto open = ofState(State::readyForReview);
    const std::string id =
        open != submissions.end() ? open->id : client_.createReviewSubmission(appID, platform).id;
    try {
        (void)client_.addReviewSubmissionItem(id, versionID);
    } catch (const ASCError& error) {
        // A submission that was found open may hold the version already, from a run whose answer was lost.
        if (open == submissions.end() || error.httpStatus() != 409) throw;
        try {
            return client_.submitReviewSubmission(id);
        } catch (const ASCError&) {
            throw error;
        }
    }
    return client_.submitReviewSubmission(id);
}

void TestFlightService::release(const Release& release) const {
    const LocalizationService localizations(client_);
    for (const auto& [locale, notes] : release.notes)
        (void)localizations.writeTestNotes(release.buildID, locale, notes);
    for (const std::string& group : release.groupIDs)
        client_.addBuildToBetaGroup(group, release.buildID);
    if (release.betaReview == Release::BetaReview::request)
        (void)client_.submitForBetaReview(release.buildID);
}

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
