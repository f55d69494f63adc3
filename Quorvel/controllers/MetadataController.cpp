#include "Quorvel/controllers/MetadataController.h"

#include "Core/metadata/FolderLock.h"
#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/MetadataError.h"
#include "Core/metadata/MetadataTexts.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Quorvel/controllers/AppContexts.h"
#include "Quorvel/controllers/MetadataControllerOperation.h"
#include "Quorvel/workspace/AppFolder.h"
#include "Quorvel/workspace/WorkspaceIndex.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

std::string failureText(MetadataOperation kind, std::string_view problem) {
    if (kind == MetadataOperation::pull) return fmt::format("Pull failed: {}", problem);
    if (kind == MetadataOperation::push) return fmt::format("Push failed: {}", problem);
    return std::string(problem);
}

// The part of the state that is read from a context's folder.
void readTree(MetadataState& state, const MetadataFolder& folder, const std::vector<ManagedLocale>& managed) {
    state.grid = {};
    state.changes.clear();
    state.missingLocales.clear();
    state.pulledLocales = 0;
    if (folder.rootURL.empty() || !isFolder(folder)) return;
    const MetadataStore store(folder);
    const LocaleTexts local = store.readAll();
    const LocaleTexts pulled = store.readAll(TextSide::pulled);
    state.grid = MetadataSnapshot::of(local);
    state.pulledLocales = pulled.size();
    state.changes = MetadataDiff::compare(pulled, local);
    std::erase_if(state.changes,
                  [&](const PendingChange& change) { return state.disabledLocales.contains(change.locale); });
    for (const ManagedLocale& locale : managed)
        if (locale.enabled && !local.contains(locale.code)) state.missingLocales.push_back(locale.code);
}

} // namespace

FileLock lockAppFolder(const MetadataFolder& appFolder, std::string_view what) {
    try {
        return lockFolder(appFolder, what);
    } catch (const FileError& error) {
        throw OperationRefused(Refusal::folderUnavailable, error.what());
    }
}

MetadataController::Operation::Operation(MetadataController& controller, MetadataOperation kind)
    : controller_(controller) {
    if (controller_.busy_.exchange(true)) throw OperationRefused(Refusal::operationRunning);
    controller_.published_.update([&](MetadataState& state) {
        state.running = kind;
        state.status.clear();
        state.progress.reset();
        state.error.reset();
    });
}

MetadataController::Operation::~Operation() {
    controller_.published_.update([&](MetadataState& state) {
        state.running.reset();
        state.progress.reset();
        if (error_) state.status.clear();
        state.error = error_;
        controller_.busy_ = false; // before anybody is woken, who may begin the next operation then
    });
}

void MetadataController::Operation::status(std::string text) {
    controller_.published_.update([&](MetadataState& state) { state.status = std::move(text); });
}

void MetadataController::Operation::progress(std::size_t done, std::size_t total) {
    controller_.published_.update([&](MetadataState& state) {
        state.progress = MetadataState::Progress{done, total};
    });
}

MetadataController::MetadataController(Parts parts)
    : parts_(std::move(parts)), apps_(parts_.container, parts_.clock) {}

MetadataController::~MetadataController() = default;

void MetadataController::run(MetadataOperation kind, const std::function<void(Operation&)>& work) {
    Operation operation(*this, kind);
    try {
        work(operation);
    } catch (const CancellationError& cancelled) {
        operation.status(cancelled.what());
        throw;
    } catch (const OperationRefused& refusal) {
        operation.endWithError(refusal.what());
        throw;
    } catch (const std::exception& error) {
        operation.endWithError(failureText(kind, error.what()));
        throw;
    }
}

ManagedApp MetadataController::record() const {
    auto app = apps_.find(parts_.appID);
    if (!app)
        throw MetadataError("The app is no longer among the imported ones. Import it again.", {},
                            "UNKNOWN_APP");
    return *std::move(app);
}

MetadataFolder MetadataController::carryOver(const MetadataFolder& folder) {
    CarriedTree tree;
    try {
        tree = carryOverPulledTree(folder, parts_.dryRun);
    } catch (const FileError& error) {
        throw OperationRefused(Refusal::folderUnavailable, error.what());
    }
    OlderLayoutReport told = state()->olderLayout;
    told.moved.clear(); // the folder is asked for again and again, and what moved is no longer there
    if (tree.report != told)
        published_.update([&](MetadataState& state) { state.olderLayout = std::move(tree.report); });
    return std::move(tree.folder);
}

MetadataFolder MetadataController::folderOf(const ManagedApp& app) {
    MetadataFolder folder;
    try {
        folder = parts_.folder ? *parts_.folder : appFolderOf(app, parts_.home, apps_);
    } catch (const MetadataError& error) {
        throw OperationRefused(app.metadataFolderBookmark ? Refusal::folderNotResolved
                                                          : Refusal::folderUnavailable,
                               error.what());
    }
    return carryOver(folder);
}

void MetadataController::noticeMissingCopies(const MetadataFolder& appFolder,
                                             const PlatformContext& context) {
    std::optional<std::string> text;
    if (lacksItsCopies(MetadataStore(appFolder.contextFolder(context.contextID()))))
        text = notPulledText(context.id());
    if (text) logger_.warningOnce(*text);
    if (text == state()->notice) return; // nobody is woken for nothing
    published_.update([&](MetadataState& state) { state.notice = text; });
}

MetadataController::Target MetadataController::targetOfTransfer() {
    ManagedApp app = record();
    if (isBlank(app.appStoreId)) throw OperationRefused(Refusal::noAppStoreID);
    MetadataFolder folder = folderOf(app);
    return {std::move(app), std::move(folder)};
}

MetadataFolder MetadataController::folder() {
    return folderOf(record());
}

void MetadataController::show(const Target& target) {
    // Read inside of the update: a slow reading must not replace what a pull showed meanwhile.
    published_.update([&](MetadataState& state) {
        const AppContexts contexts(target.folder, parts_.clock);
        const auto selected = contexts.known(std::nullopt);
        state.contexts = contexts.saved() ? contexts.saved()->contexts : std::vector<PlatformContext>();
        state.selectedContextId = selected ? std::optional(selected->text()) : std::nullopt;
        state.disabledLocales = apps_.disabledLocales(parts_.appID);
        readTree(state, selected ? target.folder.contextFolder(*selected) : MetadataFolder(),
                 apps_.locales(target.app.id));
    });
    if (const auto selected = state()->selectedContext()) noticeMissingCopies(target.folder, *selected);
}

void MetadataController::showResult(const Target& target) {
    try {
        show(target);
    } catch (const std::exception& error) {
        // What was done is done, and its report must reach the caller.
        logger_.warning(fmt::format("The state was not read anew: {}", error.what()));
    }
}

void MetadataController::refresh() {
    const ManagedApp app = record();
    show({app, folderOf(app)});
}

void MetadataController::selectContext(std::string_view contextID) {
    if (busy_.exchange(true)) throw OperationRefused(Refusal::operationRunning);
    const std::unique_ptr<std::atomic<bool>, void (*)(std::atomic<bool>*)> claim(
        &busy_, [](std::atomic<bool>* busy) { *busy = false; });
    const ManagedApp app = record();
    const MetadataFolder folder = folderOf(app);
    const FileLock lock = lockAppFolder(folder, "a choice of context");
    const AppContexts contexts(folder, parts_.clock);
    const auto saved = contexts.saved().value_or(PersistedContexts{});
    (void)AppContexts::choose(saved.contexts, std::string(contextID), std::nullopt);
    // The moment stays that of the last pull, which it stands for.
    ContextsStore(folder, [&] { return saved.lastUpdated; }).save(saved.contexts, std::string(contextID));
    show({app, folder});
}

void MetadataController::saveContexts(const MetadataFolder& folder,
                                      const std::vector<PlatformContext>& contexts,
                                      const std::optional<std::string>& selected) const {
    ContextsStore(folder, parts_.clock).save(contexts, selected);
    if (parts_.notifications)
        parts_.notifications->post(
            {std::string(metadataContextsPersistedNotification), {{"app", parts_.appID}}});
}

} // namespace quorvel
