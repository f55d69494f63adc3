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

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
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
    };

    explicit MetadataController(Parts parts);
    ~MetadataController();

    [[nodiscard]] std::shared_ptr<const MetadataState> state() const { return published_.current(); }
    NotificationCenter::Subscription observe(Executor executor, std::function<void()> wake) {
        return published_.observe(std::move(executor), std::move(wake));
    }

    /// The app's metadata folder; carries a tree of the older layout over when it meets one.
    [[nodiscard]] MetadataFolder folder() const;
    /// Reads the folder anew: contexts, grid and changes. Asks nobody.
    void refresh();
    /// Chooses among the known contexts and remembers the choice. Throws `MetadataError` for an unknown one.
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
    };
    /// Pulls one context, or each; a failure of one of several does not stop the others. Throws what prevents
    /// the pull as a whole, and the error of the only context.
    std::vector<ContextPull> pull(const PullRequest& request);

    /// What a push would work on: the context as App Store Connect has it now, and what `filter` chooses.
    struct PushPreparation {
        PlatformContext context;
        std::vector<PendingChange> changes; // all
        PushSelection selection;
    };
    /// Asks App Store Connect for the versions (one request) and compares. Throws `OperationRefused` unless
    /// there is something to push; `detail` of nothingSelected and noPendingChanges is empty.
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

    /// Makes a locale's folder and empty files; the next push creates it.
    void addLocale(std::string_view locale, const std::optional<std::string>& context = {});

    struct RevertReport {
        PlatformContext context;
        std::vector<FieldKey> reverted;  // local files that took their previous text
        std::vector<FieldKey> unchanged; // those that had it already
        std::vector<KeptEdit> kept;      // newer edits, put aside
        std::vector<std::string> warnings;
        QUORVEL_RECORD(RevertReport, context, reverted, unchanged, kept, warnings)
    };
    /// Writes into the local files what App Store Connect held before a push run; a push then sends it.
    RevertReport revert(std::string_view sessionId, Run run = Run::perform);

    /// Runs `work` as this app's one operation, with the folder's turn held; for changes of the folder that
    /// are made elsewhere.
    void perform(MetadataOperation operation, const std::function<void()>& work);

  private:
    class Operation;

    Parts parts_;
    AppRecords apps_;
    Published<MetadataState> published_;
    Logger logger_{"MetadataController"};
};

} // namespace quorvel
