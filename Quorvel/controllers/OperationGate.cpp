#include "Quorvel/controllers/OperationGate.h"

#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/task/Task.h"
#include "Quorvel/controllers/OperationRefused.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

std::string failureText(OperationKind kind, std::string_view problem) {
    if (kind == OperationKind::pull) return fmt::format("Pull failed: {}", problem);
    if (kind == OperationKind::push) return fmt::format("Push failed: {}", problem);
    return std::string(problem);
}

// What another process is told that waits for the lock.
std::string_view describe(OperationKind kind) {
    switch (kind) {
    case OperationKind::pull:
        return "a pull";
    case OperationKind::push:
        return "a push";
    case OperationKind::addLocale:
        return "the addition of a locale";
    case OperationKind::removeLocales:
        return "the removal of a locale";
    case OperationKind::revert:
        return "a revert";
    case OperationKind::importTexts:
        return "an import";
    case OperationKind::tidy:
        return "a tidy-up";
    case OperationKind::resolve:
        return "the settling of conflicts";
    case OperationKind::translate:
        return "a translation";
    case OperationKind::writeNotes:
        return "release notes";
    case OperationKind::pullScreenshots:
        return "a pull of screenshots";
    case OperationKind::pushScreenshots:
        return "a push of screenshots";
    case OperationKind::importScreenshots:
        return "an import of screenshots";
    case OperationKind::pullPreviews:
        return "a pull of previews";
    case OperationKind::pushPreviews:
        return "a push of previews";
    case OperationKind::importPreviews:
        return "an import of previews";
    case OperationKind::carryOver:
        return "a change of its layout";
    }
    return "a change";
}

} // namespace

void OperationGate::Operation::status(std::string text) {
    gate_.published_.update([&](OperationState& state) { state.status = std::move(text); });
}

void OperationGate::Operation::progress(std::size_t done, std::size_t total) {
    gate_.published_.update([&](OperationState& state) {
        state.progress = OperationState::Progress{done, total};
    });
}

FileLock OperationGate::Operation::lock(const MetadataFolder& appFolder) {
    bool waited = false;
    try {
        FileLock lock = lockFolder(appFolder, describe(kind_), [&](const FolderLockWait& wait) {
            waited = true;
            Logger("OperationGate").warning(waitingText(wait));
            gate_.published_.update([&](OperationState& state) { state.waitsFor = wait; });
        });
        if (waited) gate_.published_.update([](OperationState& state) { state.waitsFor.reset(); });
        return lock;
    } catch (const FileError& error) {
        throw OperationRefused(Refusal::folderUnavailable, error.what());
    }
}

std::optional<FileLock> OperationGate::Operation::lockIfUsed(const MetadataFolder& appFolder) {
    if (!hasLockFile(appFolder)) return std::nullopt;
    return lock(appFolder);
}

void OperationGate::begin(OperationKind kind) {
    if (busy_.exchange(true)) throw OperationRefused(Refusal::operationRunning);
    published_.update([&](OperationState& state) { state = {.running = kind}; });
}

void OperationGate::end(const std::optional<std::string>& error) {
    published_.update([&](OperationState& state) {
        state.running.reset();
        state.progress.reset();
        state.waitsFor.reset();
        if (error) state.status.clear();
        state.error = error;
        busy_ = false; // before observers are woken, who may begin the next operation then
    });
}

void OperationGate::run(OperationKind kind, const std::function<void(Operation&)>& work) {
    begin(kind);
    Operation operation(*this, kind);
    try {
        work(operation);
    } catch (const CancellationError& cancelled) {
        operation.status(cancelled.what());
        end(operation.error_);
        throw;
    } catch (const OperationRefused& refusal) {
        end(refusal.what());
        throw;
    } catch (const std::exception& error) {
        end(failureText(kind, error.what()));
        throw;
    } catch (...) {
        end(failureText(kind, "An unknown error occurred."));
        throw;
    }
    end(operation.error_);
}

} // namespace quorvel
