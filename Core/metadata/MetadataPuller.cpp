#include "Core/metadata/MetadataPuller.h"

#include "Core/metadata/PullWriter.h"
#include "Core/metadata/RemoteLocalizations.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>

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

IncomingTexts listTexts(const ASCClientProtocol& client, FieldHome home, std::string_view parentID) {
    return {home, textsOf(listLocalizations(client, home, parentID))};
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

MetadataPuller::MetadataPuller(const ASCClientProtocol& client, Clock clock)
    : client_(client), clock_(std::move(clock)) {}

AppDiscovery MetadataPuller::discover(std::string_view appID) const {
    AppDiscovery discovery;
    ASCList<AppStoreVersionAttributes> versions;
    runTogether({[&] { versions = client_.listAppStoreVersions(appID); },
                 [&] { discovery.appInfos = client_.listAppInfos(appID); }});
    discovery.contexts = contextsOf(versions);
    for (auto& version : versions)
        discovery.versionIDs.push_back(std::move(version.id));
    return discovery;
}

struct MetadataPuller::Incoming {
    std::optional<AppInfo> info;
    std::vector<IncomingTexts> texts;
};

MetadataPuller::Incoming MetadataPuller::list(AppInfoTexts& appInfoTexts,
                                              const PlatformContext& context) const {
    Incoming incoming{chooseAppInfo(appInfoTexts.appInfos(), context.stateClass), {}};
    incoming.texts.resize(incoming.info ? 2 : 1);
    std::vector<std::function<void()>> lists = {
        [&] { incoming.texts[0] = listTexts(client_, FieldHome::versionLocalization, context.versionId); }};
    if (incoming.info)
        lists.emplace_back([&] {
            incoming.texts[1] = {FieldHome::appInfoLocalization, appInfoTexts.of(incoming.info->id)};
        });
    runTogether(lists);
    return incoming;
}

PullResult MetadataPuller::pull(AppInfoTexts& appInfoTexts, const PlatformContext& context,
                                const MetadataFolder& contextFolder, const PullOptions& options) const {
    const Incoming incoming = list(appInfoTexts, context);
    return write(context, incoming.info, incoming.texts, contextFolder, options, clock_(), logger_);
}

LocaleTexts MetadataPuller::look(AppInfoTexts& appInfoTexts, const PlatformContext& context) const {
    LocaleTexts all;
    for (const IncomingTexts& resource : list(appInfoTexts, context).texts)
        for (const auto& [locale, texts] : resource.locales)
            for (const FieldType field : localeFields)
                if (texts[field]) all[locale][field] = texts[field];
    return all;
}

} // namespace quorvel
