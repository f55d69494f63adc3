#include "Programs/quorvel/MetadataTarget.h"

#include "Platform/files/Files.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

constexpr AppStoreVersionStateClass slots[] = {AppStoreVersionStateClass::editable,
                                               AppStoreVersionStateClass::live};

std::string idsOf(const std::vector<PlatformContext>& contexts) {
    std::vector<std::string> ids;
    for (const PlatformContext& context : contexts)
        ids.push_back(context.id());
    return fmt::format("{}", fmt::join(ids, ", "));
}

std::vector<ContextID> contextsOnDisk(const MetadataFolder& appFolder) {
    std::vector<ContextID> contexts;
    for (const auto& [platform, raw] : RawValues<ASCPlatform>::values)
        for (const AppStoreVersionStateClass slot : slots)
            if (std::filesystem::is_directory(appFolder.contextFolder({platform, slot}).rootURL))
                contexts.push_back({platform, slot});
    return contexts;
}

// A short name that has its folder already needs no look at the account.
bool looksLikeShortName(std::string_view app) {
    return isSafeName(app) && app.find('.') == std::string_view::npos &&
           !std::ranges::all_of(app, [](char digit) { return digit >= '0' && digit <= '9'; });
}

} // namespace

ArgumentSpec folderArgument() {
    return {"--folder", "DIR", "The app's metadata folder (~/Documents/Brevant/<short name>)"};
}

const AppListEntry& MetadataTarget::app() {
    if (!app_) app_ = locateApp(invocation_.composition.client(), invocation_.global.app.value_or(""));
    return *app_;
}

const MetadataFolder& MetadataTarget::appFolder() {
    if (appFolder_) return *appFolder_;
    const Home& home = invocation_.composition.home();
    if (const auto folder = invocation_.arguments.value("--folder")) {
        appFolder_ = MetadataFolder{(invocation_.surroundings.workingFolder / *folder).lexically_normal()};
        return *appFolder_;
    }
    if (!app_ && invocation_.global.app && looksLikeShortName(*invocation_.global.app)) {
        const MetadataFolder folder = defaultAppFolder(home, *invocation_.global.app);
        if (std::filesystem::is_directory(folder.rootURL)) return appFolder_.emplace(folder);
    }
    return appFolder_.emplace(defaultAppFolder(home, app().slug));
}

const std::optional<PersistedContexts>& MetadataTarget::savedContexts() {
    if (!savedContexts_) savedContexts_ = ContextsStore(appFolder(), invocation_.composition.clock()).load();
    return *savedContexts_;
}

std::optional<ContextID> MetadataTarget::givenContext() const {
    if (!invocation_.global.context) return std::nullopt;
    const auto context = parseContextID(*invocation_.global.context);
    if (!context)
        throw UsageError(fmt::format("{} is no context", quotedWord(*invocation_.global.context)),
                         "A context is ios, macos, tvos or visionos, a slash, and next or live, such as "
                         "ios/next.");
    return context;
}

ContextID MetadataTarget::localContext() {
    if (const auto given = givenContext()) return *given;
    if (const auto& saved = savedContexts(); saved && saved->selectedContextId)
        if (const auto selected = parseContextID(*saved->selectedContextId)) return *selected;
    const auto onDisk = contextsOnDisk(appFolder());
    return onDisk.empty() ? ContextID{} : onDisk.front();
}

ContextID MetadataTarget::knownContext() {
    const bool isKnown = givenContext() || savedContexts() || !contextsOnDisk(appFolder()).empty();
    if (isKnown || !invocation_.global.app) return localContext();
    const PlatformContext context = currentContext();
    if (!invocation_.global.dryRun)
        ContextsStore(appFolder(), invocation_.composition.clock())
            .save(contextsOf(versions()), context.id());
    return context.contextID();
}

MetadataStore MetadataTarget::storeOf(const ContextID& context) {
    return MetadataStore(appFolder().contextFolder(context));
}

MetadataStore MetadataTarget::localStore() {
    const MetadataFolder folder = appFolder().contextFolder(localContext());
    if (!std::filesystem::is_directory(folder.rootURL))
        throw CommandError(ExitStatus::notFound,
                           fmt::format("{} has not been pulled", folder.rootURL.string()),
                           "Pull first, or check --folder, --app and --context.");
    return MetadataStore(folder);
}

PlatformContext MetadataTarget::currentContext() {
    const auto given = givenContext();
    const auto contexts = contextsOf(versions());
    if (contexts.empty()) throw MetadataError::noVersions();
    requireSameApp();
    std::optional<std::string> wanted;
    if (given || savedContexts() || !contextsOnDisk(appFolder()).empty()) wanted = localContext().text();
    const auto chosen = chooseContext(contexts, wanted);
    if (wanted && chosen->id() != *wanted) throw MetadataError::unknownContext(*wanted, idsOf(contexts));
    requireSameVersion(*chosen);
    return *chosen;
}

const ASCList<AppStoreVersionAttributes>& MetadataTarget::versions() {
    if (!versions_) versions_ = invocation_.composition.client().listAppStoreVersions(app().id);
    return *versions_;
}

void MetadataTarget::requireSameApp() {
    const auto& saved = savedContexts();
    if (!saved || saved->contexts.empty()) return;
    const bool known = std::ranges::any_of(saved->contexts, [&](const PlatformContext& context) {
        return std::ranges::any_of(versions(),
                                   [&](const auto& version) { return version.id == context.versionId; });
    });
    if (!known)
        throw CommandError(ExitStatus::failed,
                           fmt::format("{} holds the texts of another app than {}",
                                       appFolder().rootURL.string(), app().name),
                           "Name this app's own folder with --folder, or a new one.");
}

void MetadataTarget::requireSameVersion(const PlatformContext& context) {
    if (!savedContexts()) return;
    for (const PlatformContext& saved : savedContexts()->contexts)
        if (saved.contextID() == context.contextID() && saved.versionId != context.versionId)
            throw CommandError(ExitStatus::refusedByState,
                               fmt::format("{} is now {}, the last pull was of {}", context.id(),
                                           context.versionString, saved.versionString),
                               "Pull (--leave-edits keeps your edits in place), then push.");
}

} // namespace quorvel
