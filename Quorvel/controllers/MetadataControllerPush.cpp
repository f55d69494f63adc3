#include "Core/metadata/FolderLock.h"
#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/MetadataError.h"
#include "Platform/crypto/Digest.h"
#include "Platform/text/Text.h"
#include "Quorvel/controllers/AppContexts.h"
#include "Quorvel/controllers/MetadataControllerOperation.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

void refuseReadOnly(std::string_view appStoreState) {
    throw OperationRefused(Refusal::readOnlyContext,
                           appStoreState.empty() ? "" : MetadataError::readOnlyContext(appStoreState).what());
}

namespace {

// The context whose texts are pushed; the answer of App Store Connect decides on all others than live ones.
ContextID contextToPush(const AppContexts& contexts, const MetadataFolder& appFolder,
                        const std::optional<std::string>& given) {
    const auto context = contexts.known(given);
    if (!context) throw OperationRefused(Refusal::noContextSelected);
    const MetadataFolder folder = appFolder.contextFolder(*context);
    if (!isFolder(folder))
        throw OperationRefused(
            Refusal::noContextSelected,
            fmt::format("{} has not been pulled", escapeControls(folder.rootURL.native())));
    if (context->stateClass == AppStoreVersionStateClass::live) {
        const auto saved = contexts.savedContext(*context);
        refuseReadOnly(saved ? saved->appStoreState : "");
    }
    return *context;
}

void requireLocales(const MetadataStore& store, const std::vector<std::string>& locales) {
    const auto onDisk = store.localesOnDisk();
    for (const std::string& locale : locales)
        if (!std::ranges::binary_search(onDisk, locale))
            throw MetadataError(
                fmt::format("There is no locale \"{}\" in {}. There are {}.", escapeControls(locale),
                            escapeControls(store.folder().rootURL.native()), fmt::join(onDisk, ", ")),
                {store.folder().rootURL, locale, {}}, "UNKNOWN_LOCALE");
}

} // namespace

MetadataController::PushPreparation
MetadataController::preparePush(const PushFilter& filter, const std::optional<std::string>& context) {
    PushPreparation preparation;
    run(MetadataOperation::push, [&](Operation& operation) {
        const Target target = targetOfTransfer();
        // Where nothing was pulled no folder is made, not even for the lock.
        (void)contextToPush(AppContexts(target.folder, parts_.clock), target.folder, context);
        // A pull that goes on meanwhile would make edits of the texts that it has yet to replace.
        std::optional<FileLock> lock;
        if (parts_.dryRun == DryRun::no || hasLockFile(target.folder))
            lock = lockAppFolder(target.folder, "a push");
        const AppContexts contexts(target.folder, parts_.clock);
        const ContextID wanted = contextToPush(contexts, target.folder, context);
        const MetadataStore store(target.folder.contextFolder(wanted));
        requireLocales(store, filter.locales);
        operation.status(std::string(discoveringText));
        const auto client = parts_.client();
        const auto versions = client->listAppStoreVersions(target.app.appStoreId);
        preparation.contexts = contextsOf(versions);
        preparation.context = contexts.current(versions, wanted.text(), target.app.displayName);
        if (!preparation.context.takesPushes()) refuseReadOnly(preparation.context.appStoreState);
        MetadataPusher(*client, store).requireChangeable(preparation.context);
        noticeMissingCopies(target.folder, preparation.context);
        preparation.changes = MetadataDiff::compare(store);
        preparation.selection =
            selectForPush(preparation.changes, filter, apps_.disabledLocales(parts_.appID));
        operation.status({});
        if (preparation.changes.empty()) throw NothingToPush(Refusal::noPendingChanges, preparation);
        if (preparation.selection.chosen.empty()) throw NothingToPush(Refusal::nothingSelected, preparation);
    });
    return preparation;
}

std::vector<PlannedRequest> MetadataController::planPush(const PushPreparation& preparation) {
    std::vector<PlannedRequest> requests;
    run(MetadataOperation::push, [&](Operation& operation) {
        const Target target = targetOfTransfer();
        operation.status("Resolving ASC IDs…");
        const auto client = parts_.client();
        const MetadataStore store(target.folder.contextFolder(preparation.context.contextID()));
        requests = MetadataPusher(*client, store, target.app.displayName)
                       .plan(target.app.appStoreId, preparation.context, preparation.selection.chosen);
        operation.status({});
    });
    return requests;
}

MetadataController::PushResult MetadataController::push(const PushPreparation& preparation) {
    PushResult result{makeUUID(), {}, {}};
    run(MetadataOperation::push, [&](Operation& operation) {
        const Target target = targetOfTransfer();
        if (preparation.selection.chosen.empty()) throw NothingToPush(Refusal::nothingSelected, preparation);
        const FileLock lock = lockAppFolder(target.folder, "a push");
        operation.status("Resolving ASC IDs…");
        const auto client = parts_.client();
        const MetadataStore store(target.folder.contextFolder(preparation.context.contextID()));
        result.outcomes = MetadataPusher(*client, store, target.app.displayName)
                              .push(
                                  target.app.appStoreId, preparation.context, preparation.selection.chosen,
                                  [&](std::size_t done, std::size_t total) {
                                      if (done == 0) operation.status("Pushing…");
                                      operation.progress(done, total);
                                  },
                                  [&](const std::vector<PushOutcome>& outcomes) {
                                      recordOutcomes(preparation, result.sessionId, outcomes);
                                  });
        result.report = pushReport(result.outcomes);
        operation.status(result.report);
        published_.update([&](MetadataState& state) { state.lastPush = result.outcomes; });
        if (std::ranges::any_of(result.outcomes, &PushOutcome::success))
            restoreContexts(target.folder, preparation);
        showResult(target);
    });
    return result;
}

// What a lost or damaged file said is known again once App Store Connect was asked.
void MetadataController::restoreContexts(const MetadataFolder& folder,
                                         const PushPreparation& preparation) const {
    if (preparation.contexts.empty() || AppContexts(folder, parts_.clock).saved()) return;
    try {
        saveContexts(folder, preparation.contexts, preparation.context.id());
    } catch (const FileError& error) {
        logger_.warning(error.what());
    }
}

void MetadataController::recordOutcomes(const PushPreparation& preparation, const std::string& sessionId,
                                        const std::vector<PushOutcome>& outcomes) const {
    const PlatformContext& context = preparation.context;
    std::vector<PushHistoryEntry> entries;
    for (const PushOutcome& outcome : outcomes) {
        if (!outcome.wasSent()) continue;
        entries.push_back({.timestamp = parts_.clock(),
                           .locale = outcome.change.locale,
                           .fieldType = std::string(rawValue(outcome.change.field)),
                           .previousValue = outcome.textBefore(),
                           .newValue = std::string(outcome.change.textToSend()),
                           .success = outcome.success,
                           .errorMessage = outcome.errorMessage,
                           .sessionId = sessionId,
                           .versionString = context.versionString,
                           .platform = std::string(rawValue(context.platform)),
                           .stateClass = std::string(rawValue(context.stateClass)),
                           .app = parts_.appID});
    }
    try {
        PushHistory(parts_.container).record(entries);
    } catch (const std::exception& error) {
        logger_.error(fmt::format("Failed to save push history: {}", error.what()));
    }
}

} // namespace quorvel
