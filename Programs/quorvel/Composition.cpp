#include "Programs/quorvel/Composition.h"

#include "Core/asc/HTTPClient.h"
#include "Platform/log/Log.h"
#include "Programs/quorvel/Errors.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

constexpr std::string_view clockCorrectionKey = "ASCTokenProvider.clockCorrectionMilliseconds";
constexpr std::chrono::milliseconds smallestCorrection{2000};
// A Date header has whole seconds, so two measurements of the same clock differ by up to one.
constexpr std::chrono::milliseconds measuringError{1500};

Home homeFor(const GlobalOptions& global, const Surroundings& surroundings) {
    const auto given = global.home ? global.home : surroundings.variable("QUORVEL_HOME");
    return given ? Home{surroundings.workingFolder / *given} : Home::ofUser();
}

} // namespace

// A client and the view of it that commands have.
struct Composition::Connection {
    Connection(ASCClient::Parts parts, CommandClient::Changes changes)
        : client(std::move(parts)), command(client, changes) {}
    ASCClient client;
    CommandClient command;
};

Composition::Composition(const GlobalOptions& global, const Surroundings& surroundings, Output& output)
    : global_(global),
      surroundings_(surroundings),
      output_(output),
      home_(homeFor(global, surroundings)),
      sessions_([this](std::string_view appID) { return openSession(appID); }) {}

const Endpoints& Composition::endpoints() {
    if (!endpoints_) {
        const auto file = global_.endpoints ? global_.endpoints : surroundings_.variable("QUORVEL_ENDPOINTS");
        endpoints_ = file ? loadEndpoints(surroundings_.workingFolder / *file) : Endpoints{};
    }
    return *endpoints_;
}

std::shared_ptr<UserDefaults> Composition::userDefaults() {
    if (!userDefaults_)
        userDefaults_ = std::make_shared<UserDefaults>(home_.preferences() / "com.halvorne.brevant.json");
    return userDefaults_;
}

std::shared_ptr<NotificationCenter> Composition::notifications() {
    if (!notifications_) notifications_ = std::make_shared<NotificationCenter>();
    return notifications_;
}

std::shared_ptr<URLSession> Composition::session() {
    if (!session_) session_ = std::make_shared<URLSession>();
    return session_;
}

Credentials Composition::credentials(const KeyOwner& owner) {
    const std::lock_guard lock(mutex_);
    return resolve(owner);
}

Credentials Composition::resolve(const KeyOwner& owner) {
    // Standard input, where a key may come from, can be read once only.
    for (const auto& [known, credentials] : credentials_)
        if (credentials.wasGiven || known == owner) return credentials;
    return credentials_[owner] = resolveCredentials(global_, surroundings_, home_, keychain(), owner);
}

std::shared_ptr<const CommandClient> Composition::client(const KeyOwner& owner) {
    const std::lock_guard lock(mutex_);
    const Credentials used = resolve(owner);
    std::shared_ptr<Connection> connection;
    for (const auto& [credentials, known] : connections_)
        if (credentials.texts == used.texts) connection = known;
    if (!connection) connection = connections_.emplace_back(used, connect(used)).second;
    return {connection, &connection->command};
}

std::shared_ptr<Composition::Connection> Composition::connect(const Credentials& credentials) {
    const auto tokens = std::make_shared<ASCTokenProvider>(makeAuth(credentials.texts), clock());
    tokens->setClockCorrection(clockCorrection());
    return std::make_shared<Connection>(
        ASCClient::Parts{.baseURL = endpoints().appStoreConnectOrDefault(),
                         .http = std::make_shared<URLSessionHTTPClient>(session()),
                         .tokens = tokens},
        global_.dryRun ? CommandClient::Changes::rehearse : CommandClient::Changes::send);
}

bool Composition::hasRecords() const {
    if (container_) return true;
    // A store that cannot be looked at, or a link that leads nowhere, is not taken for a new home: opening it
    // says what is wrong.
    std::error_code ignored;
    return std::filesystem::symlink_status(home_.applicationSupport() / storeFileNames[0], ignored).type() !=
           std::filesystem::file_type::not_found;
}

SharedContainer Composition::container() {
    if (container_) return container_;
    const auto opened = ModelContainer::open(home_.applicationSupport(), clock());
    if (opened->rebuilt()) output_.warning(opened->rebuilt()->description());
    return container_ = opened;
}

WorkspaceIndex& Composition::index() {
    if (!index_) {
        index_ = std::make_unique<WorkspaceIndex>(apps(), home_, clock(), notifications());
        index_->rebuild();
    }
    return *index_;
}

std::shared_ptr<AppSession> Composition::openSession(std::string_view appID) {
    const AppRecords records = apps();
    auto session = std::make_shared<AppSession>();
    session->metadata = std::make_shared<MetadataController>(MetadataController::Parts{
        .container = container(),
        .appID = std::string(appID),
        .client = [this, records, id = std::string(appID)]() -> std::shared_ptr<const ASCClientProtocol> {
            const auto app = records.find(id);
            return client({id, app ? app->workspace : std::nullopt});
        },
        .home = home_,
        .clock = clock(),
        .notifications = notifications(),
        .folder = folder_,
        .dryRun = dryRunOf(global_),
    });
    return session;
}

std::chrono::milliseconds Composition::clockCorrection() {
    return std::chrono::milliseconds(userDefaults()->integer(clockCorrectionKey).value_or(0));
}

void Composition::rememberClockCorrection(std::chrono::milliseconds correction) {
    try {
        if (std::chrono::abs(correction) >= smallestCorrection)
            userDefaults()->set(clockCorrectionKey, std::int64_t{correction.count()});
        else if (userDefaults()->integer(clockCorrectionKey))
            userDefaults()->remove(clockCorrectionKey);
    } catch (const std::exception& error) {
        // Only a convenience: the next run learns it again.
        Logger("Composition").warning(fmt::format("The clock's correction was not kept: {}", error.what()));
    }
}

bool Composition::rememberWhatWasLearnt() {
    const auto before = clockCorrection();
    for (const auto& [credentials, connection] : connections_) {
        const auto learnt = connection->client.tokens()->clockCorrection();
        if (std::chrono::abs(learnt - before) < measuringError) continue;
        rememberClockCorrection(learnt);
        return true;
    }
    return false;
}

std::optional<ASCRateLimit> Composition::rateLimit() const {
    return connections_.empty() ? std::nullopt : connections_.front().second->client.rateLimit();
}

} // namespace quorvel
