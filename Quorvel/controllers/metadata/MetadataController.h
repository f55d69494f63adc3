// Pulls, compares and pushes the store texts of one app.
#pragma once

#include "Core/metadata/MetadataTransfer.h"
#include "Core/metadata/TextComparison.h"
#include "Core/metadata/check/CheckFinding.h"
#include "Core/metadata/merge/ConflictSettling.h"
#include "Core/metadata/merge/RemoteComparison.h"
#include "Platform/notify/Published.h"
#include "Quorvel/controllers/AppAccess.h"
#include "Quorvel/controllers/AutoPullLimiter.h"
#include "Quorvel/controllers/OperationGate.h"
#include "Quorvel/controllers/OperationRefused.h"
#include "Quorvel/controllers/metadata/LocaleRemoval.h"
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

    /// What somebody changed on either side since the last pull. Asks App Store Connect what a pull asks and
    /// writes nothing; before the first pull too. Throws as `pull`.
    struct RemoteLook {
        PlatformContext context;
        MetadataFolder folder; // of the context
        RemoteComparison texts;
    };
    [[nodiscard]] RemoteLook compareRemote(const std::optional<std::string>& context = {}) const;

    /// What App Store Connect or a push would refuse of a context's texts and pictures, as far as the filter
    /// asks for it: pictures are of no field. Asks nobody. Throws as `compare`.
    struct Check {
        ContextID context;
        MetadataFolder folder; // of the context
        std::optional<PlatformContext> version;
        std::vector<CheckFinding> findings; // with whole paths
        std::vector<std::string> locales;   // that have a folder
        std::size_t texts = 0;
        std::size_t pictures = 0;
    };
    [[nodiscard]] Check check(const std::optional<std::string>& context = {},
                              const PushFilter& filter = {}) const;

    /// Which texts and screenshots the locales of a context have here and on App Store Connect, as far as
    /// the last pull tells; nothing where there is no folder of it.
    [[nodiscard]] std::optional<LocaleOverview>
    overviewOfLocales(const std::optional<std::string>& context = {}) const;

    /// A context that was pulled and may take changes; its texts are not read.
    struct Editable {
        ContextID context;
        MetadataFolder folder; // of the context
    };
    /// Throws as `compare`, and `OperationRefused` for a live context: what is made there cannot be
    /// pushed.
    [[nodiscard]] Editable editable(const std::optional<std::string>& context,
                                    DryRun dryRun = DryRun::no) const;

    struct PullRequest {
        enum class Contexts { selected, all };
        Contexts contexts = Contexts::selected;
        std::optional<std::string> context = {}; // such as "ios/next"; the selected one when empty
        LocalEdits edits = LocalEdits::merge;
        DryRun dryRun = DryRun::no;         // yes: what a pull would do, of a folder that need not be there
        AutoPullLimiter* limiter = nullptr; // for pulls that the user did not ask for one by one
    };
    struct ContextPull {
        PlatformContext context;
        std::optional<PullResult> result;     // nothing: it failed
        std::exception_ptr failure = nullptr; // why
    };
    /// Pulls one context, or each; a failure of one of several does not stop the others. Throws what
    /// prevents the pull as a whole, and the error of the only context.
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
    /// contexts (one request) when `context` is not among those known. Throws `MetadataError` for what is
    /// no App Store locale or no context of the app, `OperationRefused` for one that takes no changes.
    AddedLocale addLocale(std::string_view locale, const std::optional<std::string>& context = {},
                          DryRun dryRun = DryRun::no);

    /// What removing locales would lose. Asks App Store Connect unless they are removed here alone.
    /// Throws `OperationRefused` for a version that takes no changes, or a folder that is not there.
    [[nodiscard]] LocaleRemovalPlan planRemoval(const std::vector<std::string>& locales, RemovalPlace place,
                                                const std::optional<std::string>& context = {},
                                                DryRun dryRun = DryRun::no);
    /// Removes each locale of the plan, first on App Store Connect and then here, where its folder is
    /// moved into a backup. What App Store Connect held is in the history before it is deleted. A failure
    /// stops only its own locale, which stays here then; a removal that was cut off goes on where it was
    /// when it is repeated. Throws `OperationRefused` for a plan that no longer fits.
    LocaleRemovalReport removeLocales(const LocaleRemovalPlan& plan);

    /// Writes into the local files what App Store Connect held before a push run; a push then sends it.
    /// Pulled copies stay as they are, except of fields whose outcome is not known. Throws
    /// `MetadataError` for an unknown run.
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

    /// The conflicts of a pulled context that are open, with the local texts.
    struct OpenConflicts {
        ContextID context;
        MetadataFolder folder; // of the context
        FinalLineBreak finalLineBreak = FinalLineBreak::keep;
        std::vector<TextConflict> conflicts;
    };
    [[nodiscard]] OpenConflicts conflicts(const std::optional<std::string>& context = {}) const;
    /// Settles conflicts as this app's one operation; `work` is called with what settles them. Throws
    /// `MetadataError` after an interrupted pull, and what `work` throws.
    void settle(const std::optional<std::string>& context,
                const std::function<void(const ConflictSettling&, const TextConflicts&)>& work);

    /// Runs `work` over the folder of a pulled context as this app's one operation, then shows what
    /// became of the texts.
    void change(OperationKind kind, const std::optional<std::string>& context,
                const std::function<void(OperationGate::Operation&, const MetadataStore&)>& work);

  private:
    using Operation = OperationGate::Operation;
    using Target = AppAccess::Target;
    struct Pulling;      // what the steps of a pull share
    struct RemovalBasis; // a plan with what App Store Connect holds

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
    [[nodiscard]] RemovalBasis removalOf(const std::vector<std::string>& locales, RemovalPlace place,
                                         const std::optional<std::string>& context,
                                         const Target& target) const;
    TextComparison requireCurrent(const PushPlan& plan, const Target& target, const MetadataStore& store,
                                  const ReadTexts* remote = nullptr) const;
    void takeCopies(const Target& target, const PushPlan& plan, const MetadataStore& store,
                    const ReadTexts& remote, const TextComparison& compared) const;
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
