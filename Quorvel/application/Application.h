// What the program needs of one home, below every face.
#pragma once

#include "Core/ai/ASOClaudeStack.h"
#include "Core/asc/ASCClient.h"
#include "Core/asc/Endpoints.h"
#include "Core/asc/KeychainStore.h"
#include "Core/build/BuildPipeline.h"
#include "Core/records/Records.h"
#include "Core/revenue/FXRateStore.h"
#include "Platform/defaults/UserDefaults.h"
#include "Platform/files/Home.h"
#include "Platform/http/HTTPClient.h"
#include "Platform/notify/NotificationCenter.h"
#include "Platform/task/Patience.h"
#include "Platform/task/Task.h"
#include "Quorvel/application/Credentials.h"
#include "Quorvel/controllers/AutoPullLimiter.h"
#include "Quorvel/sessions/AppSession.h"
#include "Quorvel/settings/ActiveWorkspace.h"
#include "Quorvel/workspace/WorkspaceIndex.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

struct RepositoryFile;
struct StoreClients;

/// Whether the quorvel.toml at or above the working folder says what requests mean that name no app.
enum class RepositorySearch { none, fromWorkingFolder };

/// What a face hands in of its user's choices.
struct ApplicationOptions {
    Home home;
    std::filesystem::path workingFolder;                // relative paths of requests start here
    std::optional<std::filesystem::path> endpointsFile; // addresses other than the usual ones
    std::vector<CredentialSource> credentials = {};     // keys that were given; the first wins
    Clock clock = systemClock();
    URLSession::Options connections = {};
    std::chrono::seconds patience = std::chrono::minutes(15); // with services that ask to wait, in all
    std::filesystem::path xcrun = defaultXcrun;               // starts the developer tools
    std::filesystem::path temporaryFolder = "/tmp";
    RepositorySearch repositorySearch = RepositorySearch::none;
    std::optional<std::string> usualApp = {};     // of requests that name none
    std::optional<std::string> usualContext = {}; // of requests that name none
    std::function<void(double seconds)> sleep = [](double seconds) { sleepFor(seconds); }; // between polls
    /// Called with what a user must be told whatever he asked for; from any thread.
    std::function<void(const std::string&)> tell = [](const std::string&) {};
};

/// The records, keys, clients, sessions and settings of one home. Each is made when it is first asked for and
/// then kept. Thread-safe. Clients are rebuilt after credentials changed.
class Application {
  public:
    explicit Application(ApplicationOptions options);
    ~Application();

    [[nodiscard]] const Home& home() const { return options_.home; }
    [[nodiscard]] const Clock& clock() const { return options_.clock; }
    [[nodiscard]] const ApplicationOptions& options() const { return options_; }
    /// `path` from the working folder, without "." and "..".
    [[nodiscard]] std::filesystem::path absolutePath(const std::filesystem::path& path) const;

    /// The quorvel.toml in force; null where there is none, or none is looked for. Throws
    /// `RepositoryFileError`, `FileError`.
    [[nodiscard]] const RepositoryFile* repository();

    /// Throws `EndpointsError`.
    [[nodiscard]] const Endpoints& endpoints();
    [[nodiscard]] const std::shared_ptr<UserDefaults>& userDefaults() const { return userDefaults_; }
    [[nodiscard]] const std::shared_ptr<NotificationCenter>& notifications() const { return notifications_; }
    /// For requests to other hosts than App Store Connect's.
    [[nodiscard]] std::shared_ptr<HTTPClient> http();
    /// For the hosts that App Store Connect names: over https only, where it is asked that way itself. Throws
    /// `EndpointsError`.
    [[nodiscard]] std::shared_ptr<HTTPClient> transfers();

    /// For a program that runs for long, before each of its jobs: stored keys are read again, and the time
    /// that may be spent waiting begins anew.
    void beginJob();

    /// When a service may be asked again that wanted a longer wait than the user allows; nothing while none
    /// did.
    [[nodiscard]] std::optional<Date> comeBackAt() const;

    [[nodiscard]] KeychainStore keychain() const { return KeychainStore::inHome(options_.home); }
    [[nodiscard]] KeyPlaces keyPlaces() const;
    /// Throws what `resolveCredentials` throws.
    [[nodiscard]] Credentials credentials(const KeyOwner& owner = {});
    /// The vendor number that is stored for the app, else its workspace, else for all. Throws
    /// `KeychainStore::KeychainError`.
    [[nodiscard]] std::optional<std::string> vendorNumber(const KeyOwner& owner = {}) const;
    /// App Store Connect with the key of `credentials(owner)`, one client per key; throws as that, and
    /// `EndpointsError`.
    [[nodiscard]] std::shared_ptr<const ASCClientProtocol> client(const KeyOwner& owner = {});
    /// What the last answer to a client with this owner's key said of the quota.
    [[nodiscard]] std::optional<ASCRateLimit> rateLimit(const KeyOwner& owner) const;
    /// The same for the key that was used first.
    [[nodiscard]] std::optional<ASCRateLimit> rateLimit() const;

    /// The AI client with its cache and ledger. Throws `ClaudeError::MissingAPIKey` when no relay is
    /// configured, `EndpointsError`, `FileError`.
    [[nodiscard]] ASOClaudeStack::Components aiStack();

    /// Throws `ClaudeError::MissingAPIKey` when no relay is configured, `EndpointsError`.
    void requireModelAccess();

    /// The clients of the public App Store, which share the searches that it allows in a minute. `tell` in
    /// place of the options' is told of each wait, from any thread. Throws `EndpointsError`.
    [[nodiscard]] StoreClients storeClients(std::function<void(const std::string&)> tell = {});

    /// The exchange rates that the relay serves. Throws `EndpointsError`.
    [[nodiscard]] FXRateStore& exchangeRates();

    /// Whether anything was ever recorded in this home; makes nothing. Throws `FileError` when that cannot
    /// be told.
    [[nodiscard]] bool hasRecords() const;
    /// Opens the records; tells when they had to be made anew. Throws `StoreError`.
    [[nodiscard]] SharedContainer container();
    [[nodiscard]] AppRecords apps() { return {container(), clock()}; }
    [[nodiscard]] WorkspaceRecords workspaces() { return {container(), clock()}; }
    /// The metadata folder of a recorded app, in a repository of its texts the tree there; nothing where it
    /// is lost or cannot be told.
    [[nodiscard]] std::optional<MetadataFolder> folderOf(const ManagedApp& app);
    [[nodiscard]] PushHistory history() { return PushHistory(container()); }
    [[nodiscard]] ActiveWorkspace activeWorkspace() const { return ActiveWorkspace(userDefaults_); }
    /// The summaries of all apps, which follow every pull.
    [[nodiscard]] WorkspaceIndex& index();
    [[nodiscard]] AutoPullLimiter& limiter() { return limiter_; }

    /// The session of an app's record, over `folder` instead of the app's own where one is named. Sessions of
    /// one app share its operation gate. None outlives the application.
    [[nodiscard]] std::shared_ptr<AppSession> session(std::string_view appID,
                                                      const std::optional<MetadataFolder>& folder = {});
    /// A session of an app that is not recorded; it is not kept.
    [[nodiscard]] std::shared_ptr<AppSession>
    sessionOfUnrecorded(const ManagedApp& app, const KeyOwner& owner, const MetadataFolder& folder);
    /// A session of an app over `folder` that reaches App Store Connect through `client`, under the gate of
    /// the app where that is recorded; it is not kept.
    [[nodiscard]] std::shared_ptr<AppSession> sessionOver(const ManagedApp& app, const MetadataFolder& folder,
                                                          std::shared_ptr<const ASCClientProtocol> client);
    void forgetSession(std::string_view appID);

    /// What is known of this machine's clock from earlier runs.
    [[nodiscard]] std::chrono::milliseconds clockCorrection() const;
    void rememberClockCorrection(std::chrono::milliseconds correction);
    /// Keeps what the requests so far taught of the clock; whether that is news.
    bool learnFromAnswers();

  private:
    struct Connection;

    [[nodiscard]] Credentials resolve(const KeyOwner& owner);

    [[nodiscard]] std::shared_ptr<URLSession> session();
    [[nodiscard]] bool mayWait(double seconds);
    [[nodiscard]] std::shared_ptr<AppSession> openSession(std::string_view appID);
    void takeRepository(AppAccess::Parts& parts, const ManagedApp& app);
    [[nodiscard]] AppAccess::Parts
    partsOver(const ManagedApp& app, const MetadataFolder& folder,
              std::function<std::shared_ptr<const ASCClientProtocol>()> client);
    void forgetKeys();

    const ApplicationOptions options_;
    const std::shared_ptr<UserDefaults> userDefaults_;
    const std::shared_ptr<NotificationCenter> notifications_ = std::make_shared<NotificationCenter>();
    std::mutex indexing_;      // guards the index
    mutable std::mutex mutex_; // guards all below but the index, the sessions and the limiter
    std::optional<Endpoints> endpoints_;
    std::optional<std::shared_ptr<const RepositoryFile>> repository_; // nothing: not looked for yet
    Patience patience_;
    std::optional<Date> comeBackAt_;
    std::shared_ptr<URLSession> urlSession_;
    std::vector<std::pair<KeyOwner, Credentials>> credentials_;
    std::vector<std::pair<Credentials, std::shared_ptr<Connection>>> connections_;
    SharedContainer container_;
    std::unique_ptr<WorkspaceIndex> index_;
    std::unique_ptr<FXRateStore> exchangeRates_;
    AutoPullLimiter limiter_;
    AppSessionStore sessions_;
    NotificationCenter::Subscription credentialsChanged_;
};

} // namespace quorvel
