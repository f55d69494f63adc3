// The part of the service that control routes use.
#include "Sandbox/resources/Schema.h"
#include "Sandbox/rules/Events.h"
#include "Sandbox/rules/Seeding.h"
#include "Sandbox/rules/VersionStates.h"
#include "Sandbox/seeds/Seeds.h"
#include "Sandbox/server/Roles.h"
#include "Sandbox/server/Service.h"

#include <fmt/format.h>

#include <stdexcept>

namespace quorvel::sandbox {
namespace {

Resource& findApp(World& world, std::string_view name) {
    for (Resource* app : world.store.all("apps"))
        if (app->id == name || app->text("bundleId") == name) return *app;
    throw std::invalid_argument(fmt::format("There is no app with the id or bundle id \"{}\".", name));
}

} // namespace

void Service::setFaults(std::vector<Fault> faults, std::optional<std::uint64_t> seed) {
    const std::lock_guard lock(mutex_);
    faults_.set(std::move(faults));
    if (seed) faults_.reseed(*seed);
}

void Service::setHourlyQuota(int requests) {
    const std::lock_guard lock(mutex_);
    quota_.setLimit(requests);
}

void Service::setStoreSearches(int perMinute) {
    const std::lock_guard lock(mutex_);
    store_.setSearchesPerMinute(perMinute);
}

std::vector<RecordedRequest> Service::requests() const {
    const std::lock_guard lock(mutex_);
    return {requests_.begin(), requests_.end()};
}

bool Service::awaitRequests(std::size_t count, const std::stop_token& token) const {
    std::unique_lock lock(mutex_);
    return recorded_.wait(lock, token, [&] { return requests_.size() >= count; });
}

void Service::forgetRequests() {
    const std::lock_guard lock(mutex_);
    requests_.clear();
}

void Service::advance(double seconds) {
    const std::lock_guard lock(mutex_);
    world_.clockOffset += seconds;
    (void)world_.settle();
    changed_ = true;
}

void Service::skewClock(double seconds) {
    const std::lock_guard lock(mutex_);
    world_.clockSkew = seconds;
}

void Service::setPace(Pace pace) {
    const std::lock_guard lock(mutex_);
    world_.pace = pace;
}

void Service::sendNulls(NullAttributes nulls) {
    const std::lock_guard lock(mutex_);
    world_.nulls = nulls;
}

void Service::revokeKey(bool revoked) {
    const std::lock_guard lock(mutex_);
    revoked_ = revoked;
}

void Service::setRole(std::string_view role) {
    if (!isRole(role)) throw std::invalid_argument(fmt::format("There is no role \"{}\".", role));
    const std::lock_guard lock(mutex_);
    role_ = role;
}

void Service::setVersionState(std::string_view versionID, std::string_view state) {
    const std::lock_guard lock(mutex_);
    Resource* version = world_.store.find("appStoreVersions", versionID);
    if (!version)
        throw std::invalid_argument(fmt::format("There is no version with the id \"{}\".", versionID));
    if (!isVersionState(state))
        throw std::invalid_argument(fmt::format("\"{}\" is no state of a version.", state));
    moveVersion(world_, *version, state);
    changed_ = true;
}

std::string Service::addBuild(const BuildUpload& upload) {
    const std::lock_guard lock(mutex_);
    const Resource& app = findApp(world_, upload.app);
    if (!isChoice(choices::platforms, upload.platform))
        throw std::invalid_argument(fmt::format("\"{}\" is no platform.", upload.platform));
    if (!isChoice("VALID|INVALID|FAILED", upload.processingState))
        throw std::invalid_argument(
            fmt::format("\"{}\" is not what the processing of a build ends with.", upload.processingState));
    Resource& build = addBuildTo(world_, app, upload.platform, upload.version, upload.number, 0);
    build.attributes.set("processingState", "PROCESSING");
    build.hidden.set("processingState", upload.processingState);
    world_.after(upload.processingSeconds, event::buildProcessed, build.id);
    (void)world_.settle();
    changed_ = true;
    return build.id;
}

void Service::generateReviews(std::string_view app, int count) {
    const std::lock_guard lock(mutex_);
    addReviews(world_, findApp(world_, app), count);
    changed_ = true;
}

std::string Service::addReview(std::string_view app, const CustomerOpinion& opinion) {
    const std::lock_guard lock(mutex_);
    const Resource& owner = findApp(world_, app);
    changed_ = true;
    return world_.store
        .add("customerReviews",
             JSONValue::object({{"rating", opinion.rating},
                                {"title", opinion.title},
                                {"body", opinion.body},
                                {"reviewerNickname", opinion.nickname},
                                {"createdDate", serviceDate(world_.now())},
                                {"territory", opinion.territory}}),
             {{"app", owner.id}})
        .id;
}

void Service::changeReview(std::string_view id, const ReviewEdit& edit) {
    const std::lock_guard lock(mutex_);
    Resource* review = world_.store.find("customerReviews", id);
    if (!review) throw std::invalid_argument(fmt::format("There is no review with the id \"{}\".", id));
    changed_ = true;
    if (edit.isDeleted) {
        if (const Resource* response = world_.store.child(id, "customerReviewResponses"))
            world_.store.remove("customerReviewResponses", std::string(response->id));
        world_.store.remove("customerReviews", std::string(id));
        return;
    }
    if (edit.rating) review->attributes.set("rating", *edit.rating);
    if (edit.title) review->attributes.set("title", *edit.title);
    if (edit.body) review->attributes.set("body", *edit.body);
}

JSONValue Service::state() const {
    const std::lock_guard lock(mutex_);
    return world_.store.document();
}

std::optional<JSONValue> Service::changedDocument() {
    const std::lock_guard lock(mutex_);
    if (!changed_) return std::nullopt;
    changed_ = false;
    return world_.document();
}

} // namespace quorvel::sandbox
