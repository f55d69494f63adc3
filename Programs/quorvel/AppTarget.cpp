#include "Programs/quorvel/AppTarget.h"

#include "Programs/quorvel/AppLookup.h"
#include "Programs/quorvel/Errors.h"
#include "Quorvel/workspace/AppFolder.h"

#include <fmt/format.h>

namespace quorvel {

ArgumentSpec folderArgument() {
    return {"--folder", "DIR", "Use this metadata folder instead of the app's own, this time only"};
}

AppTarget::AppTarget(Invocation& invocation, Reach reach) : invocation_(invocation), reach_(reach) {
    const auto folder = invocation.arguments.value("--folder");
    if (!folder) return;
    const MetadataFolder given{(invocation.surroundings.workingFolder / *folder).lexically_normal()};
    invocation.composition.useFolder(given);
    appFolder_ = carryOverPulledTree(given, dryRunOf(invocation.global)).folder;
}

const ManagedApp& AppTarget::app() {
    if (!app_)
        app_ =
            reach_ == Reach::account ? recordedOrImportedApp(invocation_) : requireRecordedApp(invocation_);
    return *app_;
}

const MetadataFolder& AppTarget::appFolder() {
    if (!appFolder_) appFolder_ = controller()->folder();
    return *appFolder_;
}

std::shared_ptr<MetadataController> AppTarget::controller() {
    return invocation_.composition.sessions().session(app().id)->metadata;
}

const CommandClient& AppTarget::client() {
    return *invocation_.composition.client(ownerOf(app()));
}

const AppContexts& AppTarget::contexts() {
    if (!contexts_) contexts_.emplace(appFolder(), invocation_.composition.clock());
    return *contexts_;
}

LocaleSet AppTarget::disabledLocales() {
    std::optional<ManagedApp> record = app_;
    if (!record && invocation_.global.app) record = findRecordedApp(invocation_, *invocation_.global.app);
    if (!record)
        if (const auto apps = appsInView(invocation_); apps.size() == 1) record = apps.front();
    return record ? invocation_.composition.apps().disabledLocales(record->id) : LocaleSet();
}

std::optional<ContextID> AppTarget::givenContext() const {
    if (!invocation_.global.context) return std::nullopt;
    return requireContextID(*invocation_.global.context);
}

ContextID AppTarget::localContext() {
    return contexts().known(invocation_.global.context).value_or(ContextID{});
}

ContextID AppTarget::contextToFill() {
    if (const auto known = contexts().known(invocation_.global.context)) return *known;
    return controller()->contextToFill({}, dryRunOf(invocation_.global));
}

MetadataStore AppTarget::storeOf(const ContextID& context) {
    return MetadataStore(appFolder().contextFolder(context));
}

MetadataStore AppTarget::localStore() {
    const MetadataFolder folder = appFolder().contextFolder(localContext());
    if (!isFolder(folder))
        throw CommandError(ExitStatus::notFound,
                           fmt::format("{} has not been pulled", folder.rootURL.string()),
                           "Pull first, or check --folder, --app and --context.");
    return MetadataStore(folder);
}

} // namespace quorvel
