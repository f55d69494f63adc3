#include "Quorvel/application/Application.h"

#include "Core/ai/ClaudeError.h"
#include "Core/asc/ASCSettingsViewModel.h"
#include "Core/build/TemporaryKeyFolder.h"
#include "Platform/http/URLRules.h"
#include "Platform/log/Log.h"
#include "Platform/task/Task.h"
#include "Quorvel/application/RequestDefaults.h"
#include "Quorvel/repository/RepositoryFile.h"
#include "Quorvel/workspace/AppFolder.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace quorvel {

namespace {

constexpr std::string_view clockCorrectionKey = "ASCTokenProvider.clockCorrectionMilliseconds";
constexpr std::chrono::milliseconds smallestCorrection{2000};
// A Date header has whole seconds, so two measurements of the same clock differ by up to one.
constexpr std::chrono::milliseconds measuringError{1500};
constexpr double longestWait = 10 * 365 * 86'400.0; // seconds; a clock does not hold every number

} // namespace

struct Application::Connection {
    explicit Connection(ASCClient::Parts parts) : client(std::move(parts)) {}
    ASCClient client;
};

Application::Application(ApplicationOptions options)
    : options_(std::move(options)),
      userDefaults_(
          std::make_shared<UserDefaults>(options_.home.preferences() / "com.halvorne.brevant.json")),
      patience_(options_.patience),
      sessions_([this](std::string_view appID) { return openSession(appID); }),
      credentialsChanged_(notifications_->observe(ascCredentialsChangedNotification,
                                                  [this](const Notification&) { forgetKeys(); })) {
    try { // what a killed upload left behind
        TemporaryKeyFolder::sweep(options_.temporaryFolder);
    } catch (const FileError&) { // a build says so
    }
}

Application::~Application() = default;

std::filesystem::path Application::absolutePath(const std::filesystem::path& path) const {
    return (options_.workingFolder / path).lexically_normal();
}

const RepositoryFile* Application::repository() {
    if (options_.repositorySearch == RepositorySearch::none) return nullptr;
    const std::lock_guard lock(mutex_);
    if (!repository_) {
        auto found = loadRepositoryFile(options_.workingFolder, options_.home.root);
        repository_ = found ? std::make_shared<const RepositoryFile>(*std::move(found)) : nullptr;
    }
    return repository_->get();
}

const Endpoints& Application::endpoints() {
    const std::lock_guard lock(mutex_);
    if (!endpoints_)
        endpoints_ =
            options_.endpointsFile ? loadEndpoints(absolutePath(*options_.endpointsFile)) : Endpoints{};
    return *endpoints_;
}

std::shared_ptr<URLSession> Application::session() {
    const std::lock_guard lock(mutex_);
    if (!urlSession_) urlSession_ = std::make_shared<URLSession>(options_.connections);
    return urlSession_;
}

std::shared_ptr<HTTPClient> Application::http() {
    return std::make_shared<URLSessionHTTPClient>(session());
}

std::shared_ptr<HTTPClient> Application::transfers() {
    const bool isEncrypted = isEncryptedURL(endpoints().appStoreConnectOrDefault());
    return std::make_shared<URLSessionHTTPClient>(session(), isEncrypted ? PlainHTTP::refused
                                                                         : PlainHTTP::onThisMachine);
}

bool Application::mayWait(double seconds) {
    const std::lock_guard lock(mutex_);
    if (patience_.grants(seconds)) return true;
    const Date end = clock()() + std::chrono::milliseconds(static_cast<std::int64_t>(
                                     std::ceil(std::min(seconds, longestWait) * 1000)));
    comeBackAt_ = std::max(comeBackAt_.value_or(end), end);
    return false;
}

// A client whose key stays the same is kept, with what it knows of the quota.
void Application::beginJob() {
    const std::lock_guard lock(mutex_);
    std::erase_if(credentials_, [](const auto& known) { return !known.second.wasGiven; });
    patience_ = Patience(options_.patience);
    comeBackAt_.reset();
}

std::optional<Date> Application::comeBackAt() const {
    const std::lock_guard lock(mutex_);
    return comeBackAt_;
}

KeyPlaces Application::keyPlaces() const {
    return {options_.credentials, options_.home, options_.workingFolder, keychain()};
}

Credentials Application::credentials(const KeyOwner& owner) {
    const std::lock_guard lock(mutex_);
    return resolve(owner);
}

std::optional<std::string> Application::vendorNumber(const KeyOwner& owner) const {
    constexpr auto key = KeychainStore::AccountKey::vendorNumber;
    for (const auto& scope : {owner.appID, owner.workspaceID})
        if (scope)
            if (auto number = keychain().read(accountName(key, scope))) return number;
    return keychain().read(accountName(key));
}

Credentials Application::resolve(const KeyOwner& owner) {
    for (const auto& [known, credentials] : credentials_)
        if (credentials.wasGiven || known == owner) return credentials;
    return credentials_.emplace_back(owner, resolveCredentials(keyPlaces(), owner)).second;
}

std::shared_ptr<const ASCClientProtocol> Application::client(const KeyOwner& owner) {
    const std::string baseURL = endpoints().appStoreConnectOrDefault();
    const auto transfers = http();
    const auto correction = clockCorrection();
    const std::lock_guard lock(mutex_);
    const Credentials used = resolve(owner);
    std::shared_ptr<Connection> connection;
    for (const auto& [credentials, known] : connections_)
        if (credentials.texts == used.texts) connection = known;
    if (!connection) {
        const auto tokens = std::make_shared<ASCTokenProvider>(makeAuth(used.texts), clock());
        tokens->setClockCorrection(correction);
        connection = std::make_shared<Connection>(ASCClient::Parts{
            .baseURL = baseURL, .http = transfers, .tokens = tokens, .mayWait = [this](double seconds) {
                return mayWait(seconds);
            }});
        connections_.emplace_back(used, connection);
    }
    return {connection, &connection->client};
}

// Those who hold a client keep it; what was given by the user does not change with the store.
void Application::forgetKeys() {
    const std::lock_guard lock(mutex_);
    std::erase_if(credentials_, [](const auto& known) { return !known.second.wasGiven; });
    std::erase_if(connections_, [](const auto& known) { return !known.first.wasGiven; });
}

std::optional<ASCRateLimit> Application::rateLimit(const KeyOwner& owner) const {
    const std::lock_guard lock(mutex_);
    for (const auto& [known, credentials] : credentials_)
        if (credentials.wasGiven || known == owner)
            for (const auto& [used, connection] : connections_)
                if (used.texts == credentials.texts) return connection->client.rateLimit();
    return std::nullopt;
}

std::optional<ASCRateLimit> Application::rateLimit() const {
    const std::lock_guard lock(mutex_);
    return connections_.empty() ? std::nullopt : connections_.front().second->client.rateLimit();
}

void Application::requireModelAccess() {
    const RelayAccess relay = PenwiseConfig::relayAccess(endpoints());
    if (relay.proxyURL.empty() || relay.sharedSecret.isEmpty())
        throw ClaudeError(ClaudeError::MissingAPIKey{});
}

ASOClaudeStack::Components Application::aiStack() {
    requireModelAccess();
    return ASOClaudeStack::make({.loader = {keychain()},
                                 .home = home(),
                                 .relay = PenwiseConfig::relayAccess(endpoints()),
                                 .http = http(),
                                 .sleepFor =
                                     [this](double seconds) {
                                         if (!mayWait(seconds))
                                             throw ClaudeError(ClaudeError::RateLimited{seconds});
                                         sleepFor(seconds);
                                     },
                                 .clock = clock()});
}

FXRateStore& Application::exchangeRates() {
    const std::string relay = PenwiseConfig::relayAccess(endpoints()).proxyURL;
    const auto client = http();
    const std::lock_guard lock(mutex_);
    if (!exchangeRates_)
        exchangeRates_ = std::make_unique<FXRateStore>(FXRateStore::Parts{
            .defaults = userDefaults_, .http = client, .relayURL = relay, .clock = clock()});
    return *exchangeRates_;
}

bool Application::hasRecords() const {
    const std::lock_guard lock(mutex_);
    if (container_) return true;
    // A store that cannot be looked at, or a link that leads nowhere, is not taken for a new home: opening it
    // says what is wrong.
    std::error_code ignored;
    return std::filesystem::symlink_status(options_.home.applicationSupport() / storeFileNames[0], ignored)
               .type() != std::filesystem::file_type::not_found;
}

SharedContainer Application::container() {
    SharedContainer opened;
    {
        const std::lock_guard lock(mutex_);
        if (container_) return container_;
        opened = container_ = ModelContainer::open(options_.home.applicationSupport(), clock());
    }
    if (opened->rebuilt()) options_.tell(opened->rebuilt()->description());
    return opened;
}

WorkspaceIndex& Application::index() {
    const AppRecords records = apps();
    const std::lock_guard lock(indexing_);
    if (!index_) {
        auto index = std::make_unique<WorkspaceIndex>(records, home(), clock(), notifications_);
        index->rebuild();
        index_ = std::move(index);
    }
    return *index_;
}

std::optional<MetadataFolder> Application::folderOf(const ManagedApp& app) {
    try {
        if (const RepositoryFile* file = repositoryFor(*this, app))
            if (auto tree = treeOf(*file)) return tree;
        return appFolderOf(app, home(), apps());
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::chrono::milliseconds Application::clockCorrection() const {
    return std::chrono::milliseconds(userDefaults_->integer(clockCorrectionKey).value_or(0));
}

void Application::rememberClockCorrection(std::chrono::milliseconds correction) {
    try {
        if (std::chrono::abs(correction) >= smallestCorrection)
            userDefaults_->set(clockCorrectionKey, std::int64_t{correction.count()});
        else if (userDefaults_->integer(clockCorrectionKey))
            userDefaults_->remove(clockCorrectionKey);
    } catch (const std::exception& error) {
        // Only a convenience: the next run learns it again.
        Logger("Application").warning(fmt::format("The clock's correction was not kept: {}", error.what()));
    }
}

bool Application::learnFromAnswers() {
    const auto before = clockCorrection();
    std::optional<std::chrono::milliseconds> learnt;
    {
        const std::lock_guard lock(mutex_);
        for (const auto& [credentials, connection] : connections_) {
            const auto correction = connection->client.tokens()->clockCorrection();
            if (!learnt && std::chrono::abs(correction - before) >= measuringError) learnt = correction;
        }
    }
    if (learnt) rememberClockCorrection(*learnt);
    return learnt.has_value();
}

} // namespace quorvel
