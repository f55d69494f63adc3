// Pulls, compares and pushes the store texts of one app.
#pragma once

#include "Core/metadata/MetadataTransfer.h"
#include "Core/metadata/TextComparison.h"
#include "Platform/notify/Published.h"
#include "Quorvel/controllers/AppAccess.h"
#include "Quorvel/controllers/AutoPullLimiter.h"
#include "Quorvel/controllers/OperationGate.h"
#include "Quorvel/controllers/OperationRefused.h"
#include "Quorvel/controllers/metadata/MetadataState.h"
#include "Quorvel/controllers/metadata/PushPlan.h"
#include "Quorvel/controllers/metadata/RunReverter.h"

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Every operation blocks and goes through the app's gate; it throws `OperationRefused` while another runs in
/// this process, and waits for one of another process in the same folder. Thread-safe.
class MetadataController {
  public:
    MetadataController(AppAccess access, std::shared_ptr<OperationGate> gate);

    [[nodiscard]] const std::shared_ptr<OperationGate>& gate() const { return gate_; }
    [[nodiscard]] std::shared_ptr<const MetadataState> state() const { return published_.current(); }
    NotificationCenter::Subscription observe(Executor executor, std::function<void()> wake) {
        return published_.observe(std::move(executor), std::move(wake));
    }

    /// The app's metadata folder, which need not exist; a tree of the older layout is carried over first.
    [[nodiscard]] MetadataFolder folder() const;
    /// What the folder says of the app's contexts.
    [[nodiscard]] AppContexts contexts() const { return access_.contexts(folder()); }
    /// Reads the folder anew: contexts, comparison. Asks nobody.
    void refresh();

    /// The comparison of a context that was pulled, without asking App Store Connect. Throws
    /// `OperationRefused` when there is no folder of it, `MetadataError` for an older layout in a dry run.
    struct Comparison {
        ContextID context;
        MetadataFolder folder; // of the context
        std::optional<PlatformContext>
            version;                  // as App Store Connect had it when the versions were listed last
        std::optional<Date> pulledAt; // nothing when it was not pulled
        TextComparison texts;
    };
    [[nodiscard]] Comparison compare(const std::optional<std::string>& context = {},
                                     const PushFilter& filter = {}, DryRun dryRun = DryRun::no) const;

    /// A context that was pulled and may take changes; its texts are not read.
    struct Editable {
        ContextID context;
        MetadataFolder folder; // of the context
    };
    /// Throws as `compare`, and `OperationRefused` for a live context: what is made there cannot be pushed.
    [[nodiscard]] Editable editable(const std::optional<std::string>& context,
                                    DryRun dryRun = DryRun::no) const;

    struct PullRequest {
        enum class Contexts { selected, all };
        Contexts contexts = Contexts::selected;
        std::optional<std::string> context = {}; // such as "ios/next"; the selected one when empty
        LocalEdits edits = LocalEdits::keepBeside;
        AutoPullLimiter* limiter = nullptr; // for pulls that the user did not ask for one by one
    };
    struct ContextPull {
        PlatformContext context;
        std::optional<PullResult> result;     // nothing: it failed
        std::exception_ptr failure = nullptr; // why
    };
    /// Pulls one context, or each; a failure of one of several does not stop the others. Throws what prevents
    /// the pull as a whole, and the error of the only context.
    std::vector<ContextPull> pull(const PullRequest& request);

    enum class Requests { leaveOut, include };
    /// What a push of `context` would do; asks App Store Connect for the versions (one request), and with
    /// `Requests::include` for the localizations. Throws `OperationRefused` for a context that takes no
    /// changes, `MetadataError` when the tree is not one to push from.
    [[nodiscard]] PushPlan planPush(const PushFilter& filter, const std::optional<std::string>& context = {},
                                    DryRun dryRun = DryRun::no, Requests requests = Requests::leaveOut);
    /// Sends the changes of the plan and records each in the history before it is sent and as soon as its
    /// outcome is known. Throws `OperationRefused` when the plan holds none.
    PushReport push(const PushPlan& plan);

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

    /// Writes into the local files what App Store Connect held before a push run; a push then sends it.
    /// Pulled copies stay as they are, except of fields whose outcome is not known. Throws `MetadataError`
    /// for an unknown run.
    RevertReport revert(std::string_view run, DryRun dryRun = DryRun::no);

    struct Import {
        ContextID context;
        MetadataFolder folder; // of the context
        ImportReport report;
    };
    /// Takes the texts of another tool's tree into `context`, else the one to work on. A tree with a folder
    /// per platform goes into the next version of each, or into `context` alone. Asks App Store Connect (one
    /// request) when a context is not known. Throws what `findLayout` and `importTree` throw, and
    /// `MetadataError` for a context that the tree has no folder of.
    std::vector<Import> importTexts(const std::filesystem::path& tree,
                                    const std::optional<std::string>& context, DryRun dryRun);
    /// See `tidyTree`.
    TidyReport tidy(const std::optional<std::string>& context, DryRun dryRun);

    /// Runs `work` over the folder of a pulled context as this app's one operation, then shows what became of
    /// the texts.
    void change(OperationKind kind, const std::optional<std::string>& context,
                const std::function<void(OperationGate::Operation&, const MetadataStore&)>& work);

  private:
    using Operation = OperationGate::Operation;
    using Target = AppAccess::Target;
    struct Pulling; // what the steps of a pull share

    [[nodiscard]] Target openForTransfer(Operation& operation, DryRun dryRun = DryRun::no) const;
    void show(const ManagedApp& app, const MetadataFolder& folder);
    void showResult(const Target& target);
    [[nodiscard]] std::vector<PlatformContext> contextsToPull(const Pulling& pulling,
                                                              const PullRequest& request) const;
    [[nodiscard]] ContextPull pullContext(Pulling& pulling, const PlatformContext& context) const;
    void rememberPull(const Pulling& pulling, const std::vector<ContextPull>& pulls);
    [[nodiscard]] ContextID contextToFill(const Target& target, const std::optional<std::string>& given,
                                          DryRun dryRun) const;
    [[nodiscard]] MetadataStore pulledStore(const MetadataFolder& folder,
                                            const std::optional<std::string>& context) const;
    void requireCurrent(const PushPlan& plan, const Target& target, const MetadataStore& store) const;
    void saveLostContexts(const Target& target, const PushPlan& plan) const;

    AppAccess access_;
    std::shared_ptr<OperationGate> gate_;
    Published<MetadataState> published_;
    Logger logger_{"MetadataController"};
};

/// What is shown while the versions are listed.
inline constexpr std::string_view discoveringText = "Discovering versions on App Store Connect…";

/// Throws `OperationRefused` for a context that takes no changes; its state is named where it is known.
[[noreturn]] void refuseReadOnly(std::string_view appStoreState);

/// The locale that the app's translations start from.
[[nodiscard]] std::string sourceLocaleOf(const ManagedApp& app);

/// The reference of an app's record; without an id for one that is not recorded.
[[nodiscard]] AppReference referenceOf(const ManagedApp& app);

} // namespace quorvel
