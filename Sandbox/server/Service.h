// Everything behind the sandbox's HTTP server: who may ask, what goes wrong, and which rule answers.
#pragma once

#include "Platform/task/StopToken.h"
#include "Sandbox/SandboxServer.h"
#include "Sandbox/faults/FaultTable.h"
#include "Sandbox/relay/Relay.h"
#include "Sandbox/resources/Problem.h"
#include "Sandbox/rules/Operation.h"
#include "Sandbox/rules/World.h"
#include "Sandbox/server/AccountKey.h"
#include "Sandbox/server/HTTPServer.h"
#include "Sandbox/server/Quota.h"
#include "Sandbox/store/PublicStore.h"

#include <condition_variable>
#include <deque>
#include <mutex>

namespace quorvel::sandbox {

/// A build as the upload tool would deliver it.
struct BuildUpload {
    std::string app; // its id or bundle id
    std::string platform = "IOS";
    std::string version;
    std::string number;
    std::string processingState = "VALID"; // what processing ends with
    double processingSeconds = 300;
};

/// Safe to use from any thread.
class Service {
  public:
    Service(World& world, const AccountKey& key, TokenRules tokenRules, const Options& options,
            std::string relaySecret);

    [[nodiscard]] Response handle(const Request& request);

    // What the control routes do.
    void setFaults(std::vector<Fault> faults, std::optional<std::uint64_t> seed = {});
    /// Also for answers that are being held back: they go out at once.
    void setLatency(int milliseconds);
    void setHourlyQuota(int requests);
    void setStoreSearches(int perMinute);
    [[nodiscard]] std::vector<RecordedRequest> requests() const;
    bool awaitRequests(std::size_t count, const std::stop_token& token) const;
    void forgetRequests();
    void advance(double seconds);
    void skewClock(double seconds);
    void setPace(Pace pace);
    void sendNulls(NullAttributes nulls);
    void revokeKey(bool revoked);
    /// Throws `std::invalid_argument` for an unknown role.
    void setRole(std::string_view role);
    /// Throws `std::invalid_argument` for an unknown version or state.
    void setVersionState(std::string_view versionID, std::string_view state);
    /// Adds a build and returns its id. Throws `std::invalid_argument`.
    std::string addBuild(const BuildUpload& upload);
    /// Adds `count` reviews to an app. Throws `std::invalid_argument`.
    void generateReviews(std::string_view app, int count);
    /// Adds one review, the newest; its id. Throws `std::invalid_argument`.
    std::string addReview(std::string_view app, const CustomerOpinion& opinion);
    /// Changes or deletes a review as its author would. Throws `std::invalid_argument`.
    void changeReview(std::string_view id, const ReviewEdit& edit);
    void setModelManner(ModelManner manner) { relay_.setManner(std::move(manner)); }
    [[nodiscard]] RelayAccount relayAccount() const { return relay_.account(); }
    [[nodiscard]] JSONValue state() const;

    /// The whole state to keep, when it changed since the last call.
    [[nodiscard]] std::optional<JSONValue> changedDocument();

  private:
    void holdBack();
    [[nodiscard]] std::optional<Fault> takeFault(const Request& request);
    [[nodiscard]] Response work(const Request& request, Delivery delivery);
    [[nodiscard]] Response upload(const Request& request);
    [[nodiscard]] Response interface(const Request& request);
    [[nodiscard]] Response answer(const Request& request);
    void delayVisibility(const Resource& made);
    [[nodiscard]] Answer dispatch(const Request& request);
    [[nodiscard]] bool isAuthorized(const Request& request) const;
    [[nodiscard]] Response failure(const std::vector<Problem>& problems) const;
    [[nodiscard]] Response faultAnswer(const Fault& fault, const Request& request) const;
    [[nodiscard]] RelayClocks clocks() const;
    void addCommonHeaders(Response& response);
    void record(const Request& request, const Response& response);

    World& world_;
    const AccountKey& key_;
    TokenRules tokenRules_;
    Relay relay_;
    mutable std::mutex mutex_; // guards all below, and the world
    FaultTable faults_;
    Quota quota_;
    PublicStore store_;
    bool revoked_ = false;
    std::string role_ = "ADMIN";
    bool changed_ = true;
    std::deque<RecordedRequest> requests_;
    mutable std::condition_variable_any recorded_;
    std::mutex latencyMutex_; // guards the two below
    std::condition_variable latencyChanged_;
    int latency_;
};

} // namespace quorvel::sandbox
