// Pulls, compares and pushes the store texts of one app, one operation at a time.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/metadata/MetadataPusher.h"
#include "Core/metadata/MetadataTransfer.h"
#include "Core/metadata/PushSelection.h"
#include "Core/records/Records.h"
#include "Platform/files/Home.h"
#include "Platform/notify/NotificationCenter.h"
#include "Platform/notify/Published.h"
#include "Quorvel/controllers/AutoPullLimiter.h"
#include "Quorvel/controllers/MetadataState.h"
#include "Quorvel/controllers/OperationRefused.h"
#include "Quorvel/controllers/RunReverter.h"

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvel {

/// Every operation blocks, publishes what it does, and is refused with `OperationRefused` while another runs,
/// in this process; one of another process on the same folder is waited for. An operation that fails leaves
/// "Pull failed: …" or "Push failed: …" as the state's error and rethrows.
class MetadataController {
  public:
    struct Parts {
        SharedContainer container;
        std::string appID;                                                // of the app's record
        std::function<std::shared_ptr<const ASCClientProtocol>()> client; // asked once per operation
        Home home;
        Clock clock = systemClock();
        std::shared_ptr<NotificationCenter> notifications;
        std::optional<MetadataFolder> folder; // instead of the app's own
        DryRun dryRun = DryRun::no;           // rehearse: what only prepares and plans writes nothing at all
    };

    explicit MetadataController(Parts parts);
    ~MetadataController();

    [[nodiscard]] std::shared_ptr<const MetadataState> state() const { return published_.current(); }
    NotificationCenter::Subscription observe(Executor executor, std::function<void()> wake) {
        return published_.observe(std::move(executor), std::move(wake));
    }

    /// The app's metadata folder, which need not exist; carries a tree of the older layout over when it meets
    /// one (`carryOverPulledTree`), and tells what became of it in the state and in the log. Throws
    /// `OperationRefused` when it cannot be told or used.
    [[nodiscard]] MetadataFolder folder();
    /// Reads the folder anew: contexts, grid and changes. Asks nobody.
    void refresh();
    /// Chooses among the saved contexts and remembers the choice. Throws `MetadataError` for an unknown one,
    /// `OperationRefused` while an operation runs.
    void selectContext(std::string_view contextID);

    struct PullRequest {
        enum class Contexts { selected, all };
        Contexts contexts = Contexts::selected;
        std::optional<std::string> context; // such as "ios/next"; the selected one when empty
        LocalEdits edits = LocalEdits::keepBeside;
        AutoPullLimiter* limiter = nullptr; // for pulls that the user did not ask for one by one
    };
    struct ContextPull {
        PlatformContext context;
        std::optional<PullResult> result; // nothing: it failed
        std::optional<std::string> error;
        std::exception_ptr failure = nullptr; // what `error` is the text of
    };
    /// Pulls one context, or each; a failure of one of several does not stop the others. Throws what prevents
    /// the pull as a whole, and the error of the only context.
    std::vector<ContextPull> pull(const PullRequest& request);

    /// What a push would work on: the context as App Store Connect has it now, and what `filter` chooses.
    struct PushPreparation {
        PlatformContext context;
        std::vector<PendingChange> changes; // all
        PushSelection selection;
        std::vector<PlatformContext> contexts = {}; // all that the app has
    };
    /// Nothing selected, or nothing pending; `preparation` says what was left out and why.
    struct NothingToPush : OperationRefused {
        NothingToPush(Refusal refusal, PushPreparation found)
            : OperationRefused(refusal), preparation(std::move(found)) {}
        PushPreparation preparation;
    };
    /// Asks App Store Connect for the versions (one request) and compares. Throws `OperationRefused` unless
    /// there is something to push, `MetadataError` when the tree is not one to push from.
    [[nodiscard]] PushPreparation preparePush(const PushFilter& filter,
                                              const std::optional<std::string>& context = {});
    /// The requests that `push` would send after listing the localizations.
    [[nodiscard]] std::vector<PlannedRequest> planPush(const PushPreparation& preparation);

    struct PushResult {
        std::string sessionId;
        std::vector<PushOutcome> outcomes;
        std::string report;
    };
    /// Sends the chosen changes and records each attempt in the history as soon as it is known.
    PushResult push(const PushPreparation& preparation);

    struct AddedLocale {
        std::string locale;
        std::string folder;
        bool existed = false; // its files were left as they are
        QUORVEL_RECORD(AddedLocale, locale, folder, existed)
    };
    /// Makes a locale's folder and empty files; the next push creates it. Asks App Store Connect for the
    /// contexts (one request) when `context` is not among those known. Throws `MetadataError` for what is no
    /// App Store locale or no context of the app, `OperationRefused` for one that takes no changes.
    AddedLocale addLocale(std::string_view locale, const std::optional<std::string>& context = {},
                          DryRun dryRun = DryRun::no);

    using RevertReport = quorvel::RevertReport;
    /// Writes into the local files what App Store Connect held before a push run; a push then sends it.
    /// Pulled copies stay as they are. Throws `MetadataError` for an unknown run.
    RevertReport revert(std::string_view sessionId, DryRun dryRun = DryRun::no);

    /// The context whose folder takes texts of elsewhere: `context`, else the one to work on. Asks App Store
    /// Connect (one request) when none is known, and saves what it answers.
    [[nodiscard]] ContextID contextToFill(const std::optional<std::string>& context,
                                          DryRun dryRun = DryRun::no);

    /// Runs `work` as this app's one operation, with the folder's turn held; for changes of the folder that
    /// are made elsewhere.
    void perform(MetadataOperation operation, const std::function<void()>& work);

  private:
    class Operation;
    struct Target {
        ManagedApp app;
        MetadataFolder folder;
    };
    struct Pulling; // what the steps of a pull share

    void run(MetadataOperation kind, const std::function<void(Operation&)>& work);
    [[nodiscard]] ManagedApp record() const;
    [[nodiscard]] MetadataFolder folderOf(const ManagedApp& app);
    [[nodiscard]] MetadataFolder carryOver(const MetadataFolder& folder);
    void noticeMissingCopies(const MetadataFolder& appFolder, const PlatformContext& context);
    [[nodiscard]] Target targetOfTransfer();
    void show(const Target& target);
    void showResult(const Target& target);
    [[nodiscard]] std::vector<PlatformContext> contextsToPull(const Pulling& pulling,
                                                              const PullRequest& request) const;
    [[nodiscard]] ContextPull pullContext(Pulling& pulling, const PlatformContext& context) const;
    void rememberPull(const Pulling& pulling, const std::vector<ContextPull>& pulls);
    void saveContexts(const MetadataFolder& folder, const std::vector<PlatformContext>& contexts,
                      const std::optional<std::string>& selected) const;
    [[nodiscard]] ContextID contextToFill(const Target& target, const std::optional<std::string>& given,
                                          DryRun dryRun) const;
    void restoreContexts(const MetadataFolder& folder, const PushPreparation& preparation) const;
    void recordOutcomes(const PushPreparation& preparation, const std::string& sessionId,
                        const std::vector<PushOutcome>& outcomes) const;

    Parts parts_;
    AppRecords apps_;
    std::atomic<bool> busy_ = false;
    Published<MetadataState> published_;
    Logger logger_{"MetadataController"};
};

} // namespace quorvel
