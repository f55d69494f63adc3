// Copies the texts and the other fields of an app's store page from App Store Connect into a metadata tree.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/metadata/AppInfoTexts.h"
#include "Core/metadata/DryRun.h"
#include "Core/metadata/FinalLineBreak.h"
#include "Core/metadata/MetadataStore.h"
#include "Core/metadata/PullDecision.h"
#include "Platform/time/Date.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvel {

struct PullSummary {
    std::optional<std::string> versionString;
    std::optional<std::string> appStoreState;
    std::optional<std::string> appInfoState; // of the app info that name and subtitle came from
    std::vector<std::string> locales;        // sorted
    std::int64_t writtenFields = 0; // local field files that hold what came, those included that did already
    std::vector<std::string> warnings;
    QUORVEL_RECORD(PullSummary, versionString, appStoreState, appInfoState, locales, writtenFields, warnings)
    bool operator==(const PullSummary&) const = default;
};

/// A local text that was backed up before it was replaced.
struct KeptEdit {
    std::string locale;
    FieldType field = FieldType::name;
    std::string path; // under the tree's root
    QUORVEL_RECORD(KeptEdit, locale, field, path)
    bool operator==(const KeptEdit&) const = default;
};

struct PullResult {
    PullSummary summary;
    std::vector<FieldKey> updated;   // local files that a new text was written to
    std::vector<KeptEdit> kept;      // edits backed up
    std::vector<FieldKey> leftEdits; // edits left in place
    std::vector<FieldKey> merged;    // edits that took App Store Connect's changes in
    std::vector<FieldKey> conflicts; // that are open now
    QUORVEL_RECORD(PullResult, summary, updated, kept, leftEdits, merged, conflicts)
};

/// What a pull writes and spares.
struct PullOptions {
    // Implicit, as most pulls say only what becomes of local edits.
    PullOptions(LocalEdits localEdits = LocalEdits::merge, LocaleSet disabled = {},
                FinalLineBreak lineBreak = FinalLineBreak::keep)
        : edits(localEdits), disabledLocales(std::move(disabled)), finalLineBreak(lineBreak) {}

    LocalEdits edits;
    LocaleSet disabledLocales; // nothing of them is written or removed
    FinalLineBreak finalLineBreak;
    DryRun dryRun = DryRun::no; // yes: only what would be done is told
};

/// The app info whose texts belong to versions of this slot: for `editable` the one that takes changes, for
/// `live` the one on sale; the only one when there is one. Nothing when there is none.
[[nodiscard]] std::optional<ASCResource<AppInfoAttributes>>
chooseAppInfo(const ASCList<AppInfoAttributes>& appInfos, AppStoreVersionStateClass stateClass);
/// The same with its categories.
[[nodiscard]] std::optional<ASCAppInfoSummary> chooseAppInfo(const std::vector<ASCAppInfoSummary>& appInfos,
                                                             AppStoreVersionStateClass stateClass);

/// Blocking; throws `ASCError`, `CancellationError`, `MetadataError`, `FileError`. Nothing is written before
/// everything was fetched.
class MetadataPuller {
  public:
    MetadataPuller(const ASCClientProtocol& client, Clock clock);

    /// Lists the app's versions and app infos, both at once.
    [[nodiscard]] AppDiscovery discover(std::string_view appID) const;

    /// Pulls one context into its folder; fetches everything at once. What the key may not see is left out
    /// and told. The caller holds the lock of the app's folder. Contexts that are pulled together share
    /// `appInfoTexts`.
    [[nodiscard]] PullResult pull(AppInfoTexts& appInfoTexts, const PlatformContext& context,
                                  const MetadataFolder& contextFolder, const PullOptions& options = {}) const;

    /// The texts that `pull` would bring, with the same requests; what the key may not see is absent, and the
    /// fields of a resource that does not exist are empty.
    [[nodiscard]] ReadTexts look(AppInfoTexts& appInfoTexts, const PlatformContext& context) const;

  private:
    struct Incoming;
    [[nodiscard]] Incoming list(AppInfoTexts& appInfoTexts, const PlatformContext& context) const;

    const ASCClientProtocol& client_;
    Clock clock_;
    Logger logger_{"MetadataPuller"};
};

} // namespace quorvel
