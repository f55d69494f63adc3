#include "Core/metadata/MetadataPuller.h"

#include "Core/metadata/PageTexts.h"
#include "Core/metadata/PullWriter.h"
#include "Core/metadata/RemoteLocalizations.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>

namespace quorvel {

namespace {

using AppInfo = ASCResource<AppInfoAttributes>;

void runTogether(const std::vector<std::function<void()>>& jobs) {
    parallelForEach(jobs, jobs.size(), [](const std::function<void()>& job) { job(); });
}

// How well an app info in this state belongs to a version of this slot.
int fitness(const AppInfo& info, AppStoreVersionStateClass stateClass) {
    const std::string state = info.attributes.appStoreState.value_or("");
    if (state.starts_with("REPLACED_WITH_NEW")) return 0;
    if (stateClassOf(state) != stateClass) return 1;
    return stateClass == AppStoreVersionStateClass::editable && isEditableState(state) ? 3 : 2;
}

std::vector<IncomingTexts> listTexts(const ASCClientProtocol& client, FieldHome home,
                                     std::string_view parentID) {
    return {{home, textsOf(listLocalizations(client, home, parentID))}};
}

IncomingTexts ofPage(FieldHome home, FieldTexts texts) {
    IncomingTexts incoming{home, {}};
    incoming.locales.emplace(pageLocale, std::move(texts));
    return incoming;
}

// What an app info holds of its own, and with its localizations and its age rating.
std::vector<IncomingTexts> textsOfAppInfo(AppInfoTexts& all, const ASCAppInfoSummary& info) {
    AppInfoTexts::Texts texts = all.of(info.appInfo.id);
    std::vector<IncomingTexts> incoming = {{FieldHome::appInfoLocalization, std::move(texts.locales)},
                                           ofPage(FieldHome::appInfo, categoryTexts(info.categories))};
    if (texts.ageRating) incoming.push_back({FieldHome::ageRating, *std::move(texts.ageRating)});
    return incoming;
}

std::vector<IncomingTexts> textsOfVersion(const ASCClientProtocol& client, const AppDiscovery& discovery,
                                          const std::string& versionID) {
    const auto known = discovery.versions.find(versionID);
    return {ofPage(FieldHome::version, versionTexts(known == discovery.versions.end()
                                                        ? client.getAppStoreVersion(versionID).attributes
                                                        : known->second))};
}

std::vector<IncomingTexts> textsOfReview(const ASCClientProtocol& client, const std::string& versionID) {
    const auto detail = ifAllowed([&] { return client.getReviewDetail(versionID); });
    if (!detail) return {};
    if (!*detail) return {{FieldHome::reviewDetail, {}}};
    return {ofPage(FieldHome::reviewDetail, reviewTexts(*detail))};
}

bool brings(const std::vector<IncomingTexts>& incoming, FieldHome home) {
    return std::ranges::find(incoming, home, &IncomingTexts::home) != incoming.end();
}

PullResult write(const PlatformContext& context, const std::optional<AppInfo>& info,
                 const std::vector<IncomingTexts>& incoming, const MetadataFolder& folder,
                 const PullOptions& options, Date moment, const Logger& logger) {
    const MetadataStore store(folder);
    PullResult result = writePulledTexts(store, incoming, options, moment);
    if (options.dryRun == DryRun::no) store.notePulledVersion(context.versionId, moment);
    logger.info(fmt::format("Pulled {}: {} locales, {} fields changed, {} edits backed up", context.id(),
                            result.summary.locales.size(), result.updated.size(), result.kept.size()));
    result.summary.versionString = context.versionString;
    result.summary.appStoreState = context.appStoreState;
    if (!brings(incoming, FieldHome::reviewDetail))
        result.summary.warnings.emplace_back(
            "The API key may not see what App Review is told, so that was not pulled.");
    if (info && !brings(incoming, FieldHome::ageRating))
        result.summary.warnings.emplace_back(
            "The API key may not see the age rating, so that was not pulled.");
    if (info)
        result.summary.appInfoState = info->attributes.appStoreState;
    else
        result.summary.warnings.insert(result.summary.warnings.begin(),
                                       "No editable AppInfo found — name and subtitle were not pulled.");
    return result;
}

} // namespace

std::optional<AppInfo> chooseAppInfo(const ASCList<AppInfoAttributes>& appInfos,
                                     AppStoreVersionStateClass stateClass) {
    const auto best = std::ranges::max_element(
        appInfos, {}, [&](const AppInfo& info) { return fitness(info, stateClass); });
    return best == appInfos.end() ? std::nullopt : std::optional(*best);
}

std::optional<ASCAppInfoSummary> chooseAppInfo(const std::vector<ASCAppInfoSummary>& appInfos,
                                               AppStoreVersionStateClass stateClass) {
    ASCList<AppInfoAttributes> resources;
    for (const ASCAppInfoSummary& summary : appInfos)
        resources.push_back(summary.appInfo);
    const auto chosen = chooseAppInfo(resources, stateClass);
    if (!chosen) return std::nullopt;
    return *std::ranges::find(appInfos, chosen->id,
                              [](const ASCAppInfoSummary& summary) { return summary.appInfo.id; });
}

MetadataPuller::MetadataPuller(const ASCClientProtocol& client, Clock clock)
    : client_(client), clock_(std::move(clock)) {}

AppDiscovery MetadataPuller::discover(std::string_view appID) const {
    AppDiscovery discovery;
    ASCList<AppStoreVersionAttributes> versions;
    runTogether({[&] { versions = client_.listAppStoreVersions(appID); },
                 [&] { discovery.appInfos = client_.listAppInfoSummaries(appID); }});
    discovery.contexts = contextsOf(versions);
    for (auto& version : versions) {
        discovery.versions.emplace(version.id, std::move(version.attributes));
        discovery.versionIDs.push_back(std::move(version.id));
    }
    return discovery;
}

struct MetadataPuller::Incoming {
    std::optional<AppInfo> info;
    std::vector<IncomingTexts> texts;
};

MetadataPuller::Incoming MetadataPuller::list(AppInfoTexts& appInfoTexts,
                                              const PlatformContext& context) const {
    const AppDiscovery& discovery = appInfoTexts.discovery();
    const auto info = chooseAppInfo(discovery.appInfos, context.stateClass);
    std::array<std::vector<IncomingTexts>, 4> parts;
    std::vector<std::function<void()>> requests = {
        [&] { parts[0] = listTexts(client_, FieldHome::versionLocalization, context.versionId); },
        [&] { parts[1] = textsOfReview(client_, context.versionId); },
        [&] { parts[2] = textsOfVersion(client_, discovery, context.versionId); }};
    if (info) requests.emplace_back([&] { parts[3] = textsOfAppInfo(appInfoTexts, *info); });
    runTogether(requests);
    Incoming incoming{info ? std::optional(info->appInfo) : std::nullopt, {}};
    for (auto& part : parts)
        std::ranges::move(part, std::back_inserter(incoming.texts));
    return incoming;
}

PullResult MetadataPuller::pull(AppInfoTexts& appInfoTexts, const PlatformContext& context,
                                const MetadataFolder& contextFolder, const PullOptions& options) const {
    const Incoming incoming = list(appInfoTexts, context);
    return write(context, incoming.info, incoming.texts, contextFolder, options, clock_(), logger_);
}

ReadTexts MetadataPuller::look(AppInfoTexts& appInfoTexts, const PlatformContext& context) const {
    ReadTexts all;
    for (const IncomingTexts& resource : list(appInfoTexts, context).texts) {
        for (const FieldType field : pageFields) // of one that does not exist
            if (homeOf(field) == resource.home) all.page[field] = "";
        for (const auto& [locale, texts] : resource.locales)
            (locale == pageLocale ? all.page : all.texts[locale]).take(texts);
    }
    return all;
}

} // namespace quorvel
