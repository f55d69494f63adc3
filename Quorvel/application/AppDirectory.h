// Finds the workspace and the app that a request means, among the records and on App Store Connect.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/records/AppImporter.h"
#include "Core/records/Models.h"
#include "Quorvel/application/Application.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

using AccountApp = ASCResource<ASCAppAttributes>;

/// What a user named.
struct AppChoice {
    std::optional<std::string> app;       // bundle id, App Store id, short name, id or name
    std::optional<std::string> workspace; // name or id
};

/// What an import into the records did.
struct ImportedAppReport {
    ManagedApp app;
    std::optional<std::string> workspaceName;
    bool wasRecorded = false; // it was brought up to date
    bool wasMoved = false;    // into another workspace
    bool madeWorkspace = false;
    bool isActiveWorkspace = false;           // which requests work in by themselves
    std::optional<std::string> avoidedFolder; // of its name, but with another app's texts
    std::string folder;                       // where its texts go instead
    QUORVEL_RECORD(ImportedAppReport, app, workspaceName, wasRecorded, wasMoved, madeWorkspace,
                   isActiveWorkspace, avoidedFolder, folder)
};

/// An app that may not be recorded.
struct LocatedApp {
    ManagedApp app; // without an id where it is not recorded
    KeyOwner owner;
    std::optional<AccountApp> onAccount; // where it is not recorded
    [[nodiscard]] bool isRecorded() const { return !onAccount; }
};

/// Answers for one request; throws `ApplicationError` that names what there is, and what the records and the
/// client throw.
class AppDirectory {
  public:
    AppDirectory(Application& application, AppChoice choice)
        : application_(application), choice_(std::move(choice)) {}

    /// The workspace that was named, else the active one, else the only one there is; nothing when none is
    /// meant.
    [[nodiscard]] std::optional<ManagedWorkspace> workspace() const;
    [[nodiscard]] ManagedWorkspace requireWorkspace(std::string_view wanted) const;

    /// The recorded apps of the workspace, or all where none is meant.
    [[nodiscard]] std::vector<ManagedApp> appsInView() const;
    /// The recorded app of this name; asks nobody.
    [[nodiscard]] std::optional<ManagedApp> find(std::string_view wanted) const;
    [[nodiscard]] ManagedApp require(std::string_view wanted) const;
    /// The app that was named, else the usual one; nothing where only the records can tell.
    [[nodiscard]] std::optional<std::string> wanted() const;
    /// The recorded app that is wanted, or the only one in view; nothing where that tells no app.
    [[nodiscard]] std::optional<ManagedApp> findMeant() const;
    /// The recorded app that is wanted, or the only one in view.
    [[nodiscard]] ManagedApp requireApp() const;
    /// The same, also where it is only on the account; records nothing.
    [[nodiscard]] LocatedApp locate() const;

    /// The apps of the account that the workspace's key reaches.
    [[nodiscard]] std::vector<AccountApp> accountApps() const;
    /// Takes an app into the workspace, which is made when there is none.
    ImportedAppReport import(const AccountApp& app) const;

    /// Whose key is used when no recorded app is concerned.
    [[nodiscard]] KeyOwner keyOwner() const;

  private:
    struct Destination {
        ManagedWorkspace workspace;
        bool made = false;
    };
    [[nodiscard]] std::optional<ManagedApp> meantApp() const;
    [[nodiscard]] AccountApp locateOnAccount() const;
    [[nodiscard]] Destination workspaceForImport() const;
    void requireInWorkspace(const ManagedApp& app) const;

    Application& application_;
    AppChoice choice_;
};

[[nodiscard]] KeyOwner ownerOf(const ManagedApp& app);

/// The short names that the apps of an account have or would be given, in their order.
[[nodiscard]] std::vector<std::string> slugsOf(const std::vector<AccountApp>& apps);
/// The app with this bundle id, App Store id, short name or name among `apps`. Throws `ApplicationError` that
/// names those there are.
[[nodiscard]] AccountApp locateAmong(const std::vector<AccountApp>& apps, std::string_view wanted);

} // namespace quorvel
