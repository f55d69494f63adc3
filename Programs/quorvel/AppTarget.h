// The app, folder and context that a metadata command works on.
#pragma once

#include "Core/metadata/MetadataStore.h"
#include "Programs/quorvel/Invocation.h"
#include "Quorvel/controllers/AppContexts.h"

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
    /// The folder of --folder, or the app's own, with a tree of the older layout carried over; a dry run
    /// reads that where it is.
    [[nodiscard]] const MetadataFolder& appFolder();
    [[nodiscard]] std::shared_ptr<MetadataController> controller();
    /// App Store Connect with the app's key; throws as `Composition::client`.
    [[nodiscard]] const CommandClient& client();
    /// What the folder says of the app's contexts.
    [[nodiscard]] const AppContexts& contexts();

    /// The locales that the app's user took out of pulls and pushes; none where only a folder is known.
    [[nodiscard]] LocaleSet disabledLocales();

    /// The --context. Throws `MetadataError` for one that is none.
    [[nodiscard]] std::optional<ContextID> givenContext() const;
    /// The context to work on without asking, see `AppContexts::known`; ios/next where nothing tells.
    [[nodiscard]] ContextID localContext();
    /// Like `localContext`, but asks App Store Connect where nothing tells, and saves what it answers. Throws
    /// `OperationRefused` when the app has no version.
    [[nodiscard]] ContextID contextToFill();
    /// The texts of `localContext`. Throws `CommandError` when there is no folder of them.
    [[nodiscard]] MetadataStore localStore();
    [[nodiscard]] MetadataStore storeOf(const ContextID& context);

  private:
    Invocation& invocation_;
    Reach reach_;
    std::optional<ManagedApp> app_;
    std::optional<MetadataFolder> appFolder_;
    std::optional<AppContexts> contexts_;
};

/// The option that names the app's folder, for the tables of commands.
[[nodiscard]] ArgumentSpec folderArgument();

} // namespace quorvel
