#include "Programs/quorvel/AppTarget.h"

#include "Core/metadata/MetadataError.h"
#include "Platform/log/Log.h"
#include "Programs/quorvel/AppLookup.h"
#include "Programs/quorvel/Errors.h"
#include "Quorvel/workspace/AppFolder.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

constexpr AppStoreVersionStateClass slots[] = {AppStoreVersionStateClass::editable,
                                               AppStoreVersionStateClass::live};

std::vector<ContextID> contextsOnDisk(const MetadataFolder& appFolder) {
    std::vector<ContextID> contexts;
    for (const auto& [platform, raw] : RawValues<ASCPlatform>::values)
        for (const AppStoreVersionStateClass slot : slots)
            if (std::filesystem::is_directory(appFolder.contextFolder({platform, slot}).rootURL))
                contexts.push_back({platform, slot});
    return contexts;
}

// What comes of it is told by whoever touches the folder first.
void carryOver(const MetadataFolder& appFolder) {
    for (const std::string& line : carryOverPulledTree(appFolder).lines())
        Logger("AppTarget").warningOnce(line);
}

} // namespace

ArgumentSpec folderArgument() {
    return {"--folder", "DIR", "Use this metadata folder instead of the app's own, this time only"};
}

AppTarget::AppTarget(Invocation& invocation, Reach reach) : invocation_(invocation), reach_(reach) {
    const auto folder = invocation.arguments.value("--folder");
    if (!folder) return;
    appFolder_ = MetadataFolder{(invocation.surroundings.workingFolder / *folder).lexically_normal()};
    invocation.composition.useFolder(*appFolder_);
    carryOver(*appFolder_);
}

const ManagedApp& AppTarget::app() {
    if (!app_)
        app_ =
            reach_ == Reach::account ? recordedOrImportedApp(invocation_) : requireRecordedApp(invocation_);
    return *app_;
}

const MetadataFolder& AppTarget::appFolder() {
    if (!appFolder_) {
        appFolder_ = appFolderOf(app(), invocation_.composition.home(), invocation_.composition.apps());
        carryOver(*appFolder_);
    }
    return *appFolder_;
}

std::shared_ptr<MetadataController> AppTarget::controller() {
    return invocation_.composition.sessions().session(app().id)->metadata;
}

const std::optional<PersistedContexts>& AppTarget::savedContexts() {
    if (!savedContexts_) savedContexts_ = ContextsStore(appFolder(), invocation_.composition.clock()).load();
    return *savedContexts_;
}

LocaleSet AppTarget::disabledLocales() {
    std::optional<ManagedApp> record = app_;
    if (!record && invocation_.global.app) record = findRecordedApp(invocation_, *invocation_.global.app);
    if (!record)
        if (const auto apps = appsInView(invocation_); apps.size() == 1) record = apps.front();
    LocaleSet disabled;
    if (record)
        for (const ManagedLocale& locale : invocation_.composition.apps().locales(record->id))
            if (!locale.enabled) disabled.insert(locale.code);
    return disabled;
}

std::optional<ContextID> AppTarget::givenContext() const {
    if (!invocation_.global.context) return std::nullopt;
    const auto context = parseContextID(*invocation_.global.context);
    if (!context)
        throw UsageError(fmt::format("{} is no context", quotedWord(*invocation_.global.context)),
                         "A context is ios, macos, tvos or visionos, a slash, and next or live, such as "
                         "ios/next.");
    return context;
}

ContextID AppTarget::localContext() {
    if (const auto given = givenContext()) return *given;
    if (const auto& saved = savedContexts(); saved && saved->selectedContextId)
        if (const auto selected = parseContextID(*saved->selectedContextId)) return *selected;
    const auto onDisk = contextsOnDisk(appFolder());
    return onDisk.empty() ? ContextID{} : onDisk.front();
}

ContextID AppTarget::knownContext() {
    if (givenContext() || savedContexts() || !contextsOnDisk(appFolder()).empty()) return localContext();
    const auto client = invocation_.composition.client(ownerOf(app()));
    const auto contexts = contextsOf(client->listAppStoreVersions(app().appStoreId));
    const auto chosen = chooseContext(contexts, std::nullopt);
    if (!chosen) throw MetadataError::noVersions();
    if (!invocation_.global.dryRun)
        ContextsStore(appFolder(), invocation_.composition.clock()).save(contexts, chosen->id());
    return chosen->contextID();
}

MetadataStore AppTarget::storeOf(const ContextID& context) {
    return MetadataStore(appFolder().contextFolder(context));
}

MetadataStore AppTarget::localStore() {
    const MetadataFolder folder = appFolder().contextFolder(localContext());
    if (!std::filesystem::is_directory(folder.rootURL))
        throw CommandError(ExitStatus::notFound,
                           fmt::format("{} has not been pulled", folder.rootURL.string()),
                           "Pull first, or check --folder, --app and --context.");
    return MetadataStore(folder);
}

} // namespace quorvel
