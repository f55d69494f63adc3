#include "Quorvel/actions/Target.h"

#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/application/RequestDefaults.h"
#include "Quorvel/repository/RepositoryFile.h"
#include "Quorvel/workspace/AppFolder.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

// The folder that was named, else the tree of the repository that holds the app's texts.
std::optional<MetadataFolder> folderOf(Application& application, const ManagedApp& app,
                                       const RequestedTarget& target) {
    if (target.folder) return treeAt(application.absolutePath(*target.folder), target.context);
    const RepositoryFile* file = repositoryFor(application, app);
    return file ? treeOf(*file) : std::nullopt;
}

OpenedApp opened(Application& application, ManagedApp app, const RequestedTarget& target) {
    auto session = application.session(app.id, folderOf(application, app, target));
    return {std::move(app), std::move(session), std::nullopt};
}

} // namespace

std::optional<AppReference> knownReferenceOf(const ManagedApp& app) {
    return app.appStoreId.empty() ? std::nullopt : std::optional(referenceOf(app));
}

OpenedApp openRecorded(Application& application, const RequestedTarget& target) {
    return opened(application, AppDirectory(application, target.choice).requireApp(), target);
}

OpenedApp openLocal(Application& application, const RequestedTarget& target) {
    const AppDirectory directory(application, target.choice);
    if (auto app = directory.findMeant()) return opened(application, *std::move(app), target);
    ManagedApp app;
    if (const RepositoryFile* file = application.repository(); file && directory.wanted() == file->app)
        app.bundleId = file->app;
    const auto folder = folderOf(application, app, target);
    if (!folder) return openRecorded(application, target);
    auto session = application.sessionOfUnrecorded(app, directory.keyOwner(), *folder);
    return {std::move(app), std::move(session), std::nullopt};
}

OpenedApp openOrImport(Application& application, const RequestedTarget& target) {
    const AppDirectory directory(application, target.choice);
    const LocatedApp located = directory.locate();
    if (located.isRecorded()) return opened(application, located.app, target);
    ImportedAppReport imported = directory.import(*located.onAccount);
    OpenedApp result = opened(application, imported.app, target);
    result.imported = std::move(imported);
    return result;
}

OpenedApp openUnchanged(Application& application, const RequestedTarget& target) {
    const LocatedApp located = AppDirectory(application, target.choice).locate();
    if (located.isRecorded()) return opened(application, located.app, target);
    const auto folder = folderOf(application, located.app, target)
                            .value_or(defaultAppFolder(application.home(), located.app.slug));
    return {located.app, application.sessionOfUnrecorded(located.app, located.owner, folder), std::nullopt};
}

OpenedApp openPlanned(Application& application, const AppReference& app,
                      const std::optional<std::string>& workspace, const std::string& folder) {
    RequestedTarget target{{app.id ? app.id : app.appStoreId, workspace}, std::nullopt};
    OpenedApp result = openOrImport(application, target);
    if (const auto own = application.folderOf(result.app); own && own->rootURL == folder) return result;
    target.folder = folder; // it was named for once
    result.session = opened(application, result.app, target).session;
    return result;
}

ReachedApp reach(Application& application, const RequestedTarget& target) {
    const LocatedApp located = AppDirectory(application, target.choice).locate();
    return {referenceOf(located.app), application.client(located.owner)};
}

ReachedApp reachPlanned(Application& application, const AppReference& app,
                        const std::optional<std::string>& workspace) {
    const AppDirectory directory(application, {app.id, workspace});
    if (app.id) return {app, application.client(ownerOf(directory.requireApp()))};
    return {app, application.client(directory.keyOwner())};
}

ToldOperations::ToldOperations(const AppSession& session, const ActionProgress& progress)
    : subscription_(session.gate->observe(inlineExecutor(), [gate = session.gate, step = progress.step] {
          const auto state = gate->state();
          if (!state->running) return;
          if (state->waitsFor)
              step({waitingText(*state->waitsFor), {}, 0});
          else if (!state->status.empty())
              step({state->status, state->progress ? std::optional(state->progress->done) : std::nullopt,
                    state->progress ? state->progress->total : 0});
      })) {}

ASCPlatform requirePlatform(const std::string& name) {
    for (const ASCPlatform platform : allPlatforms)
        if (platformFolderName(platform) == name) return platform;
    throw ApplicationError(FailureKind::badRequest, fmt::format("{} is no platform", quotedWord(name)),
                           "A platform is ios, macos, tvos or visionos.");
}

} // namespace quorvel
