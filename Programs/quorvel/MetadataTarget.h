// The app, folder and context that a metadata command works on.
#pragma once

#include "Core/metadata/ContextsStore.h"
#include "Core/metadata/MetadataStore.h"
#include "Programs/quorvel/AppLocator.h"
#include "Programs/quorvel/Invocation.h"

#include <optional>
#include <string>

namespace quorvel {

/// Answers from --app, --folder and --context, from the folder, and asks App Store Connect only for what
/// those do not say.
class MetadataTarget {
  public:
    explicit MetadataTarget(Invocation& invocation) : invocation_(invocation) {}

    /// The app of --app. Throws `CommandError`.
    [[nodiscard]] const AppListEntry& app();
    /// The folder of --folder, or the app's default one.
    [[nodiscard]] const MetadataFolder& appFolder();
    /// The contexts that were saved in the folder.
    [[nodiscard]] const std::optional<PersistedContexts>& savedContexts();
    /// The context to work on without asking: of --context, the one selected last, the only one on disk, or
    /// ios/next. Throws `UsageError` for a --context that is none.
    [[nodiscard]] ContextID localContext();
    /// Like `localContext`, but asks App Store Connect where nothing was saved and --context is left out, and
    /// saves what it answers.
    [[nodiscard]] ContextID knownContext();
    /// The texts of `localContext`. Throws `CommandError` when there is no folder of them.
    [[nodiscard]] MetadataStore localStore();
    [[nodiscard]] MetadataStore storeOf(const ContextID& context);

    /// The context as App Store Connect has it now. Throws `MetadataError` when there is none, and
    /// `CommandError` when the folder belongs to another app or holds the texts of an earlier version.
    [[nodiscard]] PlatformContext currentContext();
    /// Throws `CommandError` when the folder holds the contexts of another app. Asks App Store Connect only
    /// when there are any.
    void requireSameApp();

  private:
    [[nodiscard]] std::optional<ContextID> givenContext() const;
    [[nodiscard]] const ASCList<AppStoreVersionAttributes>& versions();
    void requireSameVersion(const PlatformContext& context);

    Invocation& invocation_;
    std::optional<AppListEntry> app_;
    std::optional<MetadataFolder> appFolder_;
    std::optional<std::optional<PersistedContexts>> savedContexts_;
    std::optional<ASCList<AppStoreVersionAttributes>> versions_;
};

/// The option that names the app's folder, for the tables of commands.
[[nodiscard]] ArgumentSpec folderArgument();

} // namespace quorvel
