#include "Core/metadata/FolderLock.h"
#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataError.h"
#include "Core/metadata/MetadataTexts.h"
#include "Platform/text/Text.h"
#include "Quorvel/controllers/AppContexts.h"
#include "Quorvel/controllers/MetadataControllerOperation.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

// For others who wait.
std::string_view describe(MetadataOperation kind) {
    switch (kind) {
    case MetadataOperation::importTexts:
        return "an import";
    case MetadataOperation::tidy:
        return "a tidy-up";
    case MetadataOperation::translate:
        return "a translation";
    default:
        return "a change";
    }
}

void requireAppStoreLocale(std::string_view locale) {
    if (isAppStoreLocale(locale)) return;
    const auto nearest = nearestAppStoreLocale(locale);
    throw MetadataError(fmt::format("\"{}\" is no App Store locale.{}", escapeControls(locale),
                                    nearest ? fmt::format(" Did you mean {}?", *nearest) : ""),
                        {{}, std::string(locale), {}}, "INVALID_LOCALE");
}

} // namespace

ContextID MetadataController::contextToFill(const Target& target, const std::optional<std::string>& given,
                                            DryRun dryRun) const {
    const AppContexts folder(target.folder, parts_.clock);
    const auto known = folder.known(given);
    if (known && (!given || folder.savedContext(*known))) return *known;
    if (isBlank(target.app.appStoreId)) throw OperationRefused(Refusal::noAppStoreID);
    const auto contexts = contextsOf(parts_.client()->listAppStoreVersions(target.app.appStoreId));
    if (contexts.empty()) throw OperationRefused(Refusal::noVersions);
    const PlatformContext chosen = AppContexts::choose(contexts, given, std::nullopt);
    if (dryRun == DryRun::no) {
        const auto selected = folder.saved() ? folder.saved()->selectedContextId : std::nullopt;
        saveContexts(target.folder, contexts, selected ? selected : chosen.id());
    }
    return chosen.contextID();
}

MetadataController::AddedLocale MetadataController::addLocale(std::string_view locale,
                                                              const std::optional<std::string>& context,
                                                              DryRun dryRun) {
    AddedLocale added;
    this->run(MetadataOperation::addLocale, [&](Operation& operation) {
        requireAppStoreLocale(locale);
        const ManagedApp app = record();
        const Target target{app, folderOf(app)};
        std::optional<FileLock> lock;
        if (dryRun == DryRun::no) lock = lockAppFolder(target.folder, "the addition of a locale");
        const ContextID wanted = contextToFill(target, context, dryRun);
        if (wanted.stateClass == AppStoreVersionStateClass::live) {
            const auto saved = AppContexts(target.folder, parts_.clock).savedContext(wanted);
            refuseReadOnly(saved ? saved->appStoreState : "");
        }
        const MetadataStore store(target.folder.contextFolder(wanted));
        const auto folder = store.folder().localeFolder(locale);
        // Where it will be, also if this run reads the older layout.
        const MetadataFolder place = MetadataFolder{target.folder.rootURL}.contextFolder(wanted);
        added = {std::string(locale), place.localeFolder(locale).native(), isFolder({folder})};
        if (dryRun == DryRun::yes) return;
        try {
            store.createLocaleLocally(locale);
        } catch (const FileError& error) {
            logger_.error(fmt::format("Add locale failed: {}", error.what()));
            throw MetadataError(localeFolderFailedText(error.what()), {folder, std::string(locale), {}});
        }
        apps_.addMissingLocales(app.id, std::vector{std::string(locale)});
        operation.status(fmt::format("Added {}", locale));
        showResult(target);
    });
    return added;
}

ContextID MetadataController::contextToFill(const std::optional<std::string>& context, DryRun dryRun) {
    ContextID found;
    this->run(MetadataOperation::importTexts, [&](Operation&) {
        const ManagedApp app = record();
        const Target target{app, folderOf(app)};
        std::optional<FileLock> lock;
        if (dryRun == DryRun::no)
            lock = lockAppFolder(target.folder, describe(MetadataOperation::importTexts));
        found = contextToFill(target, context, dryRun);
    });
    return found;
}

void MetadataController::perform(MetadataOperation operation, const std::function<void()>& work) {
    run(operation, [&](Operation&) {
        const ManagedApp app = record();
        const Target target{app, folderOf(app)};
        const FileLock lock = lockAppFolder(target.folder, describe(operation));
        work();
        showResult(target);
    });
}

MetadataController::RevertReport MetadataController::revert(std::string_view sessionId, DryRun dryRun) {
    RevertReport report;
    this->run(MetadataOperation::revert, [&](Operation& operation) {
        const auto entries = PushHistory(parts_.container).entriesOfRun(parts_.appID, sessionId);
        if (entries.empty())
            throw MetadataError(
                fmt::format("There is no push \"{}\" in this app's history.", escapeControls(sessionId)), {},
                "UNKNOWN_RUN");
        const PlatformContext ofRun = contextOfRun(entries);
        const ManagedApp app = record();
        const Target target{app, folderOf(app)};
        const MetadataStore store(target.folder.contextFolder(ofRun.contextID()));
        if (!isFolder(store.folder())) throw MetadataError::notAFolder(store.folder().rootURL);
        std::optional<FileLock> lock;
        if (dryRun == DryRun::no) lock = lockAppFolder(target.folder, "a revert");
        report = revertEntries(entries, store, apps_.disabledLocales(parts_.appID), parts_.clock(), dryRun);
        const auto now = AppContexts(target.folder, parts_.clock).savedContext(ofRun.contextID());
        report.context = now.value_or(ofRun);
        if (now && now->versionString != ofRun.versionString)
            report.warnings.insert(report.warnings.begin(),
                                   fmt::format("The push was of version {}; {} is now {}.",
                                               ofRun.versionString, ofRun.id(), now->versionString));
        if (dryRun == DryRun::yes) return;
        operation.status(fmt::format("Reverted {} fields", report.reverted.size()));
        showResult(target);
    });
    return report;
}

} // namespace quorvel
