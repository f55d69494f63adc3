#include "Quorvel/controllers/AppAccess.h"

#include "Core/metadata/MetadataError.h"
#include "Core/metadata/TreeInPlace.h"
#include "Quorvel/controllers/OperationRefused.h"
#include "Quorvel/workspace/AppFolder.h"
#include "Quorvel/workspace/WorkspaceIndex.h"

namespace quorvel {

ManagedApp AppAccess::record() const {
    if (auto app = parts_.app()) return *std::move(app);
    throw MetadataError(MetadataError::Kind::unknownApp,
                        "The app is no longer among the imported ones. Import it again.");
}

LocaleSet AppAccess::disabledLocales(const ManagedApp& app) const {
    return app.id.empty() ? LocaleSet() : records().disabledLocales(app.id);
}

std::vector<ManagedLocale> AppAccess::locales(const ManagedApp& app) const {
    return app.id.empty() ? std::vector<ManagedLocale>() : records().locales(app.id);
}

MetadataFolder AppAccess::folder(const ManagedApp& app) const {
    try {
        return parts_.folder ? *parts_.folder : appFolderOf(app, parts_.home, records());
    } catch (const MetadataError& error) {
        throw OperationRefused(app.metadataFolderBookmark ? Refusal::folderNotResolved
                                                          : Refusal::folderUnavailable,
                               error.what());
    }
}

MetadataFolder AppAccess::folderToRead(const ManagedApp& app, OperationGate& gate, DryRun dryRun) const {
    const MetadataFolder found = folder(app);
    if (!holdsOlderLayout(found)) {
        tellOlderLayout(found);
        return found;
    }
    if (dryRun == DryRun::yes) throw MetadataError::olderLayout(found.rootURL);
    try {
        gate.run(OperationKind::carryOver,
                 [&](OperationGate::Operation& operation) { (void)open(operation); });
    } catch (const OperationRefused& refusal) {
        if (refusal.refusal() != Refusal::operationRunning) throw;
    }
    return found;
}

AppAccess::Target AppAccess::open(OperationGate::Operation& operation, DryRun dryRun) const {
    Target target{record(), {}, std::nullopt};
    target.folder = folder(target.app);
    // Its folder is a user's: one that is gone is not made anew.
    if (target.folder.inPlace && !isFolder(target.folder))
        throw MetadataError::lostFolder(target.folder.rootURL);
    if (dryRun == DryRun::yes) {
        target.lock = operation.lockIfUsed(target.folder);
        if (holdsOlderLayout(target.folder)) throw MetadataError::olderLayout(target.folder.rootURL);
        tellOlderLayout(target.folder);
        return target;
    }
    target.lock = operation.lock(target.folder);
    try {
        keepTreeNote(target.folder); // a plan of this folder finds it again
        carryOverPulledTree(target.folder);
    } catch (const FileError& error) {
        throw OperationRefused(Refusal::folderUnavailable, error.what());
    }
    return target;
}

void AppAccess::saveContexts(const ManagedApp& app, const MetadataFolder& folder,
                             const std::vector<PlatformContext>& contexts,
                             const std::optional<std::string>& selected) const {
    ContextsStore(folder, parts_.clock).save(contexts, selected);
    if (parts_.notifications)
        parts_.notifications->post({std::string(metadataContextsPersistedNotification), {{"app", app.id}}});
}

void AppAccess::keepFolder(const ManagedApp& app, const MetadataFolder& folder) const {
    if (!parts_.folder && !app.metadataFolderBookmark) keepAppFolder(app, folder, records());
}

void AppAccess::requireOwnFolder(const ManagedApp& app, const MetadataFolder& folder,
                                 const std::vector<std::string>& versionIDs) const {
    // The app's own folder may hold versions that were all deleted since; one that was named, or that another
    // app uses too, may be another's.
    const AppContexts saved = contexts(folder);
    if (!saved.areOf(versionIDs) && (parts_.folder || otherAppIn(folder, app, parts_.home, records())))
        saved.requireSameApp(versionIDs, app.displayName);
}

} // namespace quorvel
