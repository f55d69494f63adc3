// Lets one operation at a time work on an app, and tells how it goes.
#pragma once

#include "Core/metadata/FolderLock.h"
#include "Core/metadata/MetadataFolder.h"
#include "Platform/files/FileLock.h"
#include "Platform/json/RawValue.h"
#include "Platform/notify/Published.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace quorvel {

enum class OperationKind {
    pull,
    push,
    addLocale,
    removeLocales,
    revert,
    importTexts,
    tidy,
    resolve, // conflicts
    translate,
    writeNotes,
    pullScreenshots,
    pushScreenshots,
    importScreenshots,
    pullPreviews,
    pushPreviews,
    importPreviews,
    carryOver, // of a tree of the older layout
};

template <>
struct RawValues<OperationKind> {
    using O = OperationKind;
    static constexpr std::pair<O, std::string_view> values[] = {{O::pull, "pull"},
                                                                {O::push, "push"},
                                                                {O::addLocale, "addLocale"},
                                                                {O::removeLocales, "removeLocales"},
                                                                {O::revert, "revert"},
                                                                {O::importTexts, "import"},
                                                                {O::tidy, "tidy"},
                                                                {O::resolve, "resolve"},
                                                                {O::translate, "translate"},
                                                                {O::writeNotes, "writeNotes"},
                                                                {O::pullScreenshots, "pullScreenshots"},
                                                                {O::pushScreenshots, "pushScreenshots"},
                                                                {O::importScreenshots, "importScreenshots"},
                                                                {O::pullPreviews, "pullPreviews"},
                                                                {O::pushPreviews, "pushPreviews"},
                                                                {O::importPreviews, "importPreviews"},
                                                                {O::carryOver, "carryOver"}};
};

/// What a face shows of an app's operation.
struct OperationState {
    struct Progress {
        std::size_t done = 0;
        std::size_t total = 0;
        bool operator==(const Progress&) const = default;
    };
    std::optional<OperationKind> running;
    std::string status; // what is being done, or what was done last
    std::optional<Progress> progress;
    std::optional<std::string> error;       // of the last operation, for a banner
    std::optional<FolderLockWait> waitsFor; // another process works in the folder
};

/// One per open app, shared by its controllers. Every folder lock of the application is acquired here: that
/// of the app's root folder, which covers all its contexts. Thread-safe.
class OperationGate {
  public:
    /// The operation that runs.
    class Operation {
      public:
        void status(std::string text);
        void progress(std::size_t done, std::size_t total);
        /// What the state says once the operation has ended.
        void endWithError(std::string text) { error_ = std::move(text); }
        /// Acquires the lock of an app's folder, which is made when missing; a wait is part of the state.
        /// Throws `OperationRefused` where the folder cannot be used, and `CancellationError`.
        [[nodiscard]] FileLock lock(const MetadataFolder& appFolder);
        /// The same for what may write nothing: without a lock file nobody is there to wait for.
        [[nodiscard]] std::optional<FileLock> lockIfUsed(const MetadataFolder& appFolder);

      private:
        friend class OperationGate;
        explicit Operation(OperationGate& gate, OperationKind kind) : gate_(gate), kind_(kind) {}
        OperationGate& gate_;
        OperationKind kind_;
        std::optional<std::string> error_;
    };

    [[nodiscard]] std::shared_ptr<const OperationState> state() const { return published_.current(); }
    NotificationCenter::Subscription observe(Executor executor, std::function<void()> wake) {
        return published_.observe(std::move(executor), std::move(wake));
    }

    /// Runs `work` as the one operation. An operation that fails leaves its error in the state ("Pull failed:
    /// …", "Push failed: …") and rethrows. Throws `OperationRefused` while another runs.
    void run(OperationKind kind, const std::function<void(Operation&)>& work);

  private:
    void begin(OperationKind kind);
    void end(const std::optional<std::string>& error);

    std::atomic<bool> busy_ = false;
    Published<OperationState> published_;
};

} // namespace quorvel
