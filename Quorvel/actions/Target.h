// Which app, folder and context a request is about.
#pragma once

#include "Platform/json/JSON.h"
#include "Quorvel/actions/Action.h"
#include "Quorvel/application/AppDirectory.h"
#include "Quorvel/sessions/AppSession.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

// The members that many requests share.
inline constexpr JSONMember appMember{
    "app", "The app: bundle id, App Store id, short name or name; the only recorded one when left out."};
inline constexpr JSONMember workspaceMember{"workspace",
                                            "The workspace, by name, instead of the active one."};
inline constexpr JSONMember contextMember{
    "context",
    "The version to work on, such as ios/next: ios, macos, tvos or visionos, a slash, next or live."};
inline constexpr JSONMember folderMember{
    "folder", "Use this metadata folder instead of the app's own, this time only."};
inline constexpr JSONMember dryRunMember{"dryRun", "Show what would be done and change nothing."};

/// A request about an app and nothing more.
struct AppRequest {
    std::optional<std::string> app;
    std::optional<std::string> workspace;
    QUORVEL_RECORD(AppRequest, app, workspace)
    static constexpr JSONMember members[] = {appMember, workspaceMember};
};

/// A request about a context of an app's folder.
struct FolderRequest {
    std::optional<std::string> app;
    std::optional<std::string> workspace;
    std::optional<std::string> context;
    std::optional<std::string> folder;
    QUORVEL_RECORD(FolderRequest, app, workspace, context, folder)
    static constexpr JSONMember members[] = {appMember, workspaceMember, contextMember, folderMember};
};

/// The same for what may change the folder.
struct FolderChangeRequest {
    std::optional<std::string> app;
    std::optional<std::string> workspace;
    std::optional<std::string> context;
    std::optional<std::string> folder;
    bool dryRun = false;
    QUORVEL_RECORD(FolderChangeRequest, app, workspace, context, folder, dryRun)
    static constexpr JSONMember members[] = {appMember, workspaceMember, contextMember, folderMember,
                                             dryRunMember};
};

/// What a request says of its app.
struct RequestedTarget {
    AppChoice choice;
    std::optional<std::string> folder;
    std::optional<std::string> context = {};
};

template <typename Request>
[[nodiscard]] RequestedTarget targetOf(const Request& request) {
    RequestedTarget target;
    if constexpr (requires { request.app; }) target.choice.app = request.app;
    if constexpr (requires { request.workspace; }) target.choice.workspace = request.workspace;
    if constexpr (requires { request.folder; }) target.folder = request.folder;
    if constexpr (requires { target.context = request.context; }) target.context = request.context;
    return target;
}

template <typename Request>
[[nodiscard]] DryRun dryRunOf(const Request& request) {
    return request.dryRun ? DryRun::yes : DryRun::no;
}

/// An app with the session that works on it.
struct OpenedApp {
    ManagedApp app;
    std::shared_ptr<AppSession> session;
    std::optional<ImportedAppReport> imported; // it was not recorded before
};

/// The reference of an app; nothing for a blank one.
[[nodiscard]] std::optional<AppReference> knownReferenceOf(const ManagedApp& app);

/// Opens the recorded app that is meant. Throws `ApplicationError`.
[[nodiscard]] OpenedApp openRecorded(Application& application, const RequestedTarget& target);
/// The same for a request that is only about local files: over a named folder, or the tree of a repository,
/// also where no app is recorded, or nobody says which of several. The app is a blank one then, with the
/// bundle id that the repository names.
[[nodiscard]] OpenedApp openLocal(Application& application, const RequestedTarget& target);
/// Opens the app, importing it where it is only on the account.
[[nodiscard]] OpenedApp openOrImport(Application& application, const RequestedTarget& target);
/// Opens the app, also where it is only on the account; records nothing.
[[nodiscard]] OpenedApp openUnchanged(Application& application, const RequestedTarget& target);
/// Opens the app of a plan, importing it where it is not recorded.
[[nodiscard]] OpenedApp openPlanned(Application& application, const AppReference& app,
                                    const std::optional<std::string>& workspace, const std::string& folder);

/// The App Store Connect client of an app that may not be recorded; records nothing.
struct ReachedApp {
    AppReference app;
    std::shared_ptr<const ASCClientProtocol> client;
};
[[nodiscard]] ReachedApp reach(Application& application, const RequestedTarget& target);
/// The same for the app of a plan, which is not looked for again.
[[nodiscard]] ReachedApp reachPlanned(Application& application, const AppReference& app,
                                      const std::optional<std::string>& workspace);

/// The platform of this name: ios, macos, tvos or visionos. Throws `ApplicationError`.
[[nodiscard]] ASCPlatform requirePlatform(const std::string& name);

/// While it lives the state of an app's operations is told as progress.
class ToldOperations {
  public:
    ToldOperations(const AppSession& session, const ActionProgress& progress);

  private:
    NotificationCenter::Subscription subscription_;
};

} // namespace quorvel
