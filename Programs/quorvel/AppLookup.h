// Finds the app that a command means, among the records and on App Store Connect.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/records/Models.h"
#include "Programs/quorvel/Invocation.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// The recorded apps of the current workspace, or all where none is meant.
[[nodiscard]] std::vector<ManagedApp> appsInView(Invocation& invocation);

/// The recorded app with this bundle id, App Store id, short name, id or name; asks nobody. Throws
/// `UsageError` for the name of several, and `CommandError` when it is not in the workspace of --workspace.
[[nodiscard]] std::optional<ManagedApp> findRecordedApp(Invocation& invocation, std::string_view wanted);
/// Like `findRecordedApp`; throws `CommandError` when there is none.
[[nodiscard]] ManagedApp requireRecordedApp(Invocation& invocation, std::string_view wanted);
/// The recorded app of --app, or the only one in view. Throws `UsageError`, `CommandError`.
[[nodiscard]] ManagedApp requireRecordedApp(Invocation& invocation);

using AccountApp = ASCResource<ASCAppAttributes>;

/// The short names that the apps of an account have or would be given, in their order.
[[nodiscard]] std::vector<std::string> slugsOf(const std::vector<AccountApp>& apps);
/// The app with this bundle id, App Store id, short name or name among `apps`. Throws `CommandError` that
/// names those there are, and `UsageError` when `wanted` is empty.
[[nodiscard]] AccountApp locateAmong(const std::vector<AccountApp>& apps, std::string_view wanted);

/// Takes an app into the current workspace, which is made when there is none, and says so.
ManagedApp importAccountApp(Invocation& invocation, const AccountApp& app);
/// The recorded app of --app or the only one in view; one that is only on the account is imported.
[[nodiscard]] ManagedApp recordedOrImportedApp(Invocation& invocation);

/// What is needed to ask App Store Connect about an app.
struct AppReference {
    std::string appStoreID;
    std::string name;
    KeyOwner owner;
};
/// The app of --app, recorded or on the account, or the only one in view; records nothing.
[[nodiscard]] AppReference referencedApp(Invocation& invocation);

[[nodiscard]] KeyOwner ownerOf(const ManagedApp& app);

} // namespace quorvel
