#include "Sandbox/SandboxServer.h"

#include "Platform/crypto/Digest.h"
#include "Platform/files/FileLock.h"
#include "Platform/files/Files.h"
#include "Platform/json/JSON.h"
#include "Platform/log/Log.h"
#include "Platform/task/StopToken.h"
#include "Platform/text/Text.h"
#include "Sandbox/rules/SalesReports.h"
#include "Sandbox/rules/Uploads.h"
#include "Sandbox/rules/World.h"
#include "Sandbox/seeds/Seeds.h"
#include "Sandbox/server/HTTPServer.h"
#include "Sandbox/server/Service.h"

#include <fmt/format.h>

#include <condition_variable>
#include <mutex>
#include <stdexcept>

namespace quorvel::sandbox {
namespace {

constexpr auto saveInterval = std::chrono::seconds(1);

std::string randomKeyID() {
    constexpr std::string_view letters = "ABCDEFGHJKLMNPQRSTUVWXYZ23456789";
    std::string id;
    for (const char byte : randomBytes(10))
        id += letters[static_cast<unsigned char>(byte) % letters.size()];
    return id;
}

std::string accountText(const JSONValue& state, std::string_view name) {
    const JSONValue* value = state.at("account", std::string_view(name));
    if (!value || !value->text())
        throw std::runtime_error(fmt::format("The sandbox's state.json lacks the account's {}. "
                                             "Delete the state folder to begin with a fresh account.",
                                             name));
    return *value->text();
}

JSONValue decodedState(std::string_view text) {
    try {
        return decodeJSON<JSONValue>(text);
    } catch (const JSONError& error) {
        throw std::runtime_error(fmt::format("The sandbox's state.json cannot be read ({}). "
                                             "Delete the state folder to begin with a fresh account.",
                                             error.what()));
    }
}

} // namespace

struct SandboxServer::Implementation {
    Options options;
    std::optional<FileLock> folderLock; // of the state folder; given up last
    World world;
    Access access;
    std::optional<AccountKey> key;
    std::unique_ptr<Service> service;
    std::unique_ptr<HTTPServer> server;
    std::mutex mutex;
    std::condition_variable_any wake;
    std::jthread saver;

    explicit Implementation(Options given) : options(std::move(given)) {}

    [[nodiscard]] std::filesystem::path stateFile() const { return options.stateFolder / "state.json"; }

    /// Takes over the account of an earlier run, or makes one.
    void openAccount() {
        const auto text = readFile(stateFile());
        if (text) {
            const JSONValue state = decodedState(*text);
            access.keyID = accountText(state, "keyID");
            access.issuerID = accountText(state, "issuerID");
            access.vendorNumber = accountText(state, "vendorNumber");
            const JSONValue* secret = state.at("account", "relaySecret"); // younger than the others
            access.relaySecret = secret && secret->text() ? *secret->text() : makeUUID();
            world.vendorNumber = access.vendorNumber;
            world.restore(state);
        } else {
            access.keyID = randomKeyID();
            access.issuerID = makeUUID();
            access.vendorNumber = options.vendorNumber;
            access.relaySecret = makeUUID();
            world.vendorNumber = access.vendorNumber;
            plant(world, options.seed);
        }
        access.privateKeyFile = options.stateFolder / fmt::format("AuthKey_{}.p8", access.keyID);
        key = text ? AccountKey::load(access.privateKeyFile) : AccountKey::create(access.privateKeyFile);
    }

    void save() {
        const auto changed = service->changedDocument();
        if (!changed) return;
        JSONValue document =
            JSONValue::object({{"account", JSONValue::object({{"keyID", access.keyID},
                                                              {"issuerID", access.issuerID},
                                                              {"vendorNumber", access.vendorNumber},
                                                              {"relaySecret", access.relaySecret}})}});
        for (const auto& [name, value] : *changed->members())
            document.members()->emplace_back(name, value);
        writeFileAtomically(stateFile(), encodeJSON(document), FileMode::secret);
    }

    void saveNowAndThen(const std::stop_token& token) {
        while (!token.stop_requested()) {
            std::unique_lock lock(mutex);
            wake.wait_for(lock, token, saveInterval, [] { return false; });
            lock.unlock();
            trySave();
        }
    }

    void trySave() {
        try {
            save();
        } catch (const std::exception& error) { // a full disk must not end a fixture
            Logger("SandboxServer").error(fmt::format("The state was not saved: {}", error.what()));
        }
    }

    void writeEndpoints() {
        access.endpointsFile = options.stateFolder / "endpoints.json";
        const auto store = [&](std::string_view prefix) { return access.url + std::string(prefix); };
        const JSONValue endpoints =
            JSONValue::object({{"appStoreConnect", access.url},
                               {"relay", access.relayURL},
                               {"relaySecret", access.relaySecret},
                               {"storeSearch", store(storePrefix::search)},
                               {"searchHints", store(storePrefix::hints)},
                               {"marketingFeeds", store(storePrefix::marketing)},
                               {"legacyFeeds", store(storePrefix::legacy)},
                               {"productSite", store(storePrefix::site)},
                               {"storeSearchesPerMinute", options.storeSearchesPerMinute}});
        writeFileAtomically(access.endpointsFile, encodeJSON(endpoints, JSONFormat::stateFile()) + "\n",
                            FileMode::secret);
    }
};

SandboxServer::SandboxServer(Options options)
    : implementation_(std::make_unique<Implementation>(std::move(options))) {
    Implementation& self = *implementation_;
    if (self.options.salesFolder) {
        requireSalesFolder(*self.options.salesFolder);
        self.world.salesFolder = self.options.salesFolder;
    }
    createFolders(self.options.stateFolder, FolderMode::secret);
    self.folderLock = FileLock::tryLock(self.options.stateFolder / "lock");
    if (!self.folderLock)
        throw std::runtime_error(
            fmt::format("{}: another sandbox runs over this state folder. End it, or use another folder.",
                        escapeControls(self.options.stateFolder.native())));
    self.server = std::make_unique<HTTPServer>(
        self.options.port, [&self](const Request& request) { return self.service->handle(request); });
    self.access.url = fmt::format("http://127.0.0.1:{}", self.server->port());
    self.access.relayURL = self.access.url + "/relay";
    self.world.baseURL = self.access.url;
    self.world.uploads = std::make_shared<Uploads>(self.options.stateFolder / "uploads");
    self.openAccount();
    self.service =
        std::make_unique<Service>(self.world, *self.key, TokenRules{self.access.keyID, self.access.issuerID},
                                  self.options, self.access.relaySecret);
    self.save();
    self.writeEndpoints();
    self.server->start();
    self.saver = std::jthread([&self](const std::stop_token& token) { self.saveNowAndThen(token); });
}

SandboxServer::~SandboxServer() {
    implementation_->service->setLatency(0); // answers held back would hold up the end
    implementation_->server.reset();
    implementation_->saver = {};
    implementation_->trySave();
}

const Access& SandboxServer::access() const {
    return implementation_->access;
}

std::string SandboxServer::readyLine() const {
    const Access& access = implementation_->access;
    return encodeJSON(JSONValue::object({{"ready", true},
                                         {"url", access.url},
                                         {"endpoints", access.endpointsFile.string()},
                                         {"keyID", access.keyID},
                                         {"issuerID", access.issuerID},
                                         {"privateKey", access.privateKeyFile.string()},
                                         {"vendorNumber", access.vendorNumber}}));
}

void SandboxServer::setFaults(std::vector<Fault> faults) {
    implementation_->service->setFaults(std::move(faults));
}
void SandboxServer::setLatency(int milliseconds) {
    implementation_->service->setLatency(milliseconds);
}
void SandboxServer::setHourlyQuota(int requests) {
    implementation_->service->setHourlyQuota(requests);
}
void SandboxServer::setStoreSearches(int perMinute) {
    implementation_->service->setStoreSearches(perMinute);
}
std::vector<RecordedRequest> SandboxServer::requests() const {
    return implementation_->service->requests();
}
bool SandboxServer::awaitRequests(std::size_t count, const std::stop_token& token) const {
    return implementation_->service->awaitRequests(count, token);
}
void SandboxServer::forgetRequests() {
    implementation_->service->forgetRequests();
}
void SandboxServer::advance(double seconds) {
    implementation_->service->advance(seconds);
}
void SandboxServer::skewClock(double seconds) {
    implementation_->service->skewClock(seconds);
}
void SandboxServer::revokeKey(bool revoked) {
    implementation_->service->revokeKey(revoked);
}
void SandboxServer::setModelManner(ModelManner manner) {
    implementation_->service->setModelManner(std::move(manner));
}
RelayAccount SandboxServer::relayAccount() const {
    return implementation_->service->relayAccount();
}
JSONValue SandboxServer::state() const {
    return implementation_->service->state();
}

void SandboxServer::addReviews(std::string_view appOrBundleID, int count) {
    implementation_->service->generateReviews(appOrBundleID, count);
}

std::string SandboxServer::addReview(std::string_view appOrBundleID, const CustomerOpinion& opinion) {
    return implementation_->service->addReview(appOrBundleID, opinion);
}

void SandboxServer::changeReview(std::string_view reviewID, const ReviewEdit& edit) {
    implementation_->service->changeReview(reviewID, edit);
}

std::string SandboxServer::addBuild(std::string_view appOrBundleID, std::string_view platform,
                                    std::string_view version, std::string_view number) {
    BuildUpload upload;
    upload.app = appOrBundleID;
    upload.platform = platform;
    upload.version = version;
    upload.number = number;
    return implementation_->service->addBuild(upload);
}

void SandboxServer::setVersionState(std::string_view versionID, std::string_view state) {
    implementation_->service->setVersionState(versionID, state);
}

} // namespace quorvel::sandbox
