// The app, folder and context that a metadata command works on.
#pragma once

#include "Core/metadata/ContextsStore.h"
#include "Core/metadata/MetadataStore.h"
#include "Programs/quorvel/Invocation.h"

#include <memory>
#include <optional>
#include <string>

namespace quorvel {

/// Answers from --app, --folder and --context, from the records and the folder, and asks App Store Connect
/// only for what those do not say.
class AppTarget {
  public:
    /// Whether an app that is not recorded may be looked for on the account and imported.
    enum class Reach { records, account };

    AppTarget(Invocation& invocation, Reach reach);

    /// The record of the app. Throws `UsageError`, `CommandError`.
    [[nodiscard]] const ManagedApp& app();
    /// The folder of --folder, or the app's own.
    [[nodiscard]] const MetadataFolder& appFolder();
    [[nodiscard]] std::shared_ptr<MetadataController> controller();
    /// The contexts that were saved in the folder.
    [[nodiscard]] const std::optional<PersistedContexts>& savedContexts();

    /// The locales that the app's user took out of pulls and pushes; none where only a folder is known.
    [[nodiscard]] LocaleSet disabledLocales();

    /// The --context. Throws `UsageError` for one that is none.
    [[nodiscard]] std::optional<ContextID> givenContext() const;
    /// The context to work on without asking: of --context, the one selected last, the only one on disk, or
    /// ios/next.
    [[nodiscard]] ContextID localContext();
    /// Like `localContext`, but asks App Store Connect where nothing was saved and --context is left out, and
    /// saves what it answers. Throws `MetadataError` when the app has no version.
    [[nodiscard]] ContextID knownContext();
    /// The texts of `localContext`. Throws `CommandError` when there is no folder of them.
    [[nodiscard]] MetadataStore localStore();
    [[nodiscard]] MetadataStore storeOf(const ContextID& context);

  private:
    Invocation& invocation_;
    Reach reach_;
    std::optional<ManagedApp> app_;
    std::optional<MetadataFolder> appFolder_;
    std::optional<std::optional<PersistedContexts>> savedContexts_;
};

/// The option that names the app's folder, for the tables of commands.
[[nodiscard]] ArgumentSpec folderArgument();

} // namespace quorvel
