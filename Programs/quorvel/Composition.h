// The real adapters that commands work with, each made when it is first asked for.
#pragma once

#include "Core/asc/ASCClient.h"
#include "Core/asc/Endpoints.h"
#include "Core/asc/KeychainStore.h"
#include "Core/records/Records.h"
#include "Platform/defaults/UserDefaults.h"
#include "Platform/files/Home.h"
#include "Platform/http/URLSession.h"
#include "Platform/notify/NotificationCenter.h"
#include "Programs/quorvel/CommandClient.h"
#include "Programs/quorvel/Credentials.h"
#include "Programs/quorvel/GlobalOptions.h"
#include "Programs/quorvel/Output.h"
#include "Programs/quorvel/Surroundings.h"
#include "Quorvel/controllers/AutoPullLimiter.h"
#include "Quorvel/sessions/AppSession.h"
#include "Quorvel/settings/ActiveWorkspace.h"
#include "Quorvel/workspace/WorkspaceIndex.h"

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace quorvel {

/// `credentials` and `client` may be called from several threads at once.
class Composition {
  public:
    Composition(const GlobalOptions& global, const Surroundings& surroundings, Output& output);

    [[nodiscard]] const Home& home() const { return home_; }
    [[nodiscard]] Clock clock() const { return systemClock(); }
    [[nodiscard]] KeychainStore keychain() const { return KeychainStore::inHome(home_); }
    /// Throws `EndpointsError`.
    [[nodiscard]] const Endpoints& endpoints();
    [[nodiscard]] std::shared_ptr<UserDefaults> userDefaults();
    [[nodiscard]] std::shared_ptr<NotificationCenter> notifications();
    [[nodiscard]] std::shared_ptr<URLSession> session();
    /// Throws what `resolveCredentials` throws.
    [[nodiscard]] Credentials credentials(const KeyOwner& owner = {});
    /// App Store Connect with the key of `credentials(owner)`, one client per key; throws as that, and
    /// `EndpointsError`.
    [[nodiscard]] std::shared_ptr<const CommandClient> client(const KeyOwner& owner = {});

    /// Whether anything was ever recorded in this home; makes nothing. Throws `FileError` when that cannot
    /// be told.
    [[nodiscard]] bool hasRecords() const;
    /// Opens the records, and warns when they had to be made anew. Throws `StoreError`, and `FileError` as
    /// `hasRecords`.
    [[nodiscard]] SharedContainer container();
    [[nodiscard]] AppRecords apps() { return {container(), clock()}; }
    [[nodiscard]] WorkspaceRecords workspaces() { return {container(), clock()}; }
    [[nodiscard]] PushHistory history() { return PushHistory(container()); }
    [[nodiscard]] ActiveWorkspace activeWorkspace() { return ActiveWorkspace(userDefaults()); }
    /// The summaries of all apps, which follow the pulls of this run.
    [[nodiscard]] WorkspaceIndex& index();
    [[nodiscard]] AutoPullLimiter& limiter() { return limiter_; }
    /// The controllers of open apps, which use `--folder` of this command.
    [[nodiscard]] AppSessionStore& sessions() { return sessions_; }
    /// The metadata folder that this command uses instead of its app's own.
    void useFolder(MetadataFolder folder) { folder_ = std::move(folder); }

    /// What is known of this machine's clock from earlier runs.
    [[nodiscard]] std::chrono::milliseconds clockCorrection();
    void rememberClockCorrection(std::chrono::milliseconds correction);
    /// Keeps what this run's requests taught of the clock; whether that is news.
    bool rememberWhatWasLearnt();
    /// What the last answer said of the quota, of the key that was used first.
    [[nodiscard]] std::optional<ASCRateLimit> rateLimit() const;

  private:
    struct Connection;

    [[nodiscard]] Credentials resolve(const KeyOwner& owner);
    [[nodiscard]] std::shared_ptr<Connection> connect(const Credentials& credentials);
    [[nodiscard]] std::shared_ptr<AppSession> openSession(std::string_view appID);

    const GlobalOptions& global_;
    const Surroundings& surroundings_;
    Output& output_;
    Home home_;
    std::mutex mutex_; // guards the credentials and the connections
    std::optional<Endpoints> endpoints_;
    std::shared_ptr<UserDefaults> userDefaults_;
    std::shared_ptr<NotificationCenter> notifications_;
    std::shared_ptr<URLSession> session_;
    std::map<KeyOwner, Credentials> credentials_;
    std::vector<std::pair<Credentials, std::shared_ptr<Connection>>> connections_;
    SharedContainer container_;
    std::optional<MetadataFolder> folder_;
    std::unique_ptr<WorkspaceIndex> index_;
    AutoPullLimiter limiter_;
    AppSessionStore sessions_;
};

} // namespace quorvel
