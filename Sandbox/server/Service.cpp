#include "Sandbox/server/Service.h"

#include "Platform/json/JSON.h"
#include "Sandbox/resources/Document.h"
#include "Sandbox/resources/Problem.h"
#include "Sandbox/resources/Schema.h"
#include "Sandbox/rules/Analytics.h"
#include "Sandbox/rules/Reading.h"
#include "Sandbox/rules/SalesReports.h"
#include "Sandbox/rules/Uploads.h"
#include "Sandbox/rules/Writing.h"
#include "Sandbox/server/Control.h"
#include "Sandbox/server/FileAnswers.h"
#include "Sandbox/server/Roles.h"

#include <fmt/format.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <thread>

namespace quorvel::sandbox {
namespace {

constexpr std::size_t mostRecorded = 100'000;
constexpr std::size_t longestRecordedBody = 64 * 1024;

/// The id in `path` when it has the form of `pattern`; nothing when it has another.
std::optional<std::string> matchPattern(std::string_view pattern, std::string_view path) {
    constexpr std::string_view place = "{id}";
    const std::size_t begin = pattern.find(place);
    if (begin == pattern.npos) return pattern == path ? std::optional<std::string>("") : std::nullopt;
    const std::string_view head = pattern.substr(0, begin);
    const std::string_view tail = pattern.substr(begin + place.size());
    if (path.size() <= head.size() + tail.size() || !path.starts_with(head) || !path.ends_with(tail))
        return std::nullopt;
    const std::string_view id = path.substr(head.size(), path.size() - head.size() - tail.size());
    return id.find('/') == id.npos ? std::optional<std::string>(id) : std::nullopt;
}

std::int64_t wholeSeconds(Date date) {
    return static_cast<std::int64_t>(std::floor(secondsSince1970(date)));
}

// Takes about half of a body that is read in pieces, and nothing of another.
void readHalf(const Request& request) {
    if (!request.readBody) return;
    const std::string length = request.header("Content-Length").value_or("");
    const std::size_t half = std::strtoull(length.c_str(), nullptr, 10) / 2;
    std::size_t taken = 0;
    (void)request.readBody([&](std::string_view bytes) { return (taken += bytes.size()) < half; });
}

bool isService(std::string_view path) {
    return path.starts_with("/v1/") || path.starts_with("/upload/") || path.starts_with("/image/") ||
           path.starts_with(relayPrefix) || path.starts_with(storePrefix::all);
}

} // namespace

Service::Service(World& world, const AccountKey& key, TokenRules tokenRules, const Options& options,
                 std::string relaySecret)
    : world_(world),
      key_(key),
      tokenRules_(std::move(tokenRules)),
      relay_(std::move(relaySecret)),
      faults_(options.faultSeed),
      quota_(options.hourlyQuota),
      store_(options.storeSearchesPerMinute),
      latency_(options.latencyMilliseconds) {
    faults_.set(options.faults);
}

Response Service::handle(const Request& request) {
    if (request.path.starts_with(controlPrefix)) return control(*this, request);
    holdBack();
    const auto fault = isService(request.path) ? takeFault(request) : std::nullopt;
    const std::string action = fault ? fault->action.value_or("status") : "";
    Response response;
    if (action == "status" || action == "expireToken") {
        response = faultAnswer(*fault, request);
    } else if (action == "reset" || action == "resetDuring") {
        if (action == "resetDuring") readHalf(request);
        response.status = 0;
    } else {
        const bool isLost = action == "statusAfter" || action == "resetAfter" || action == "truncate";
        response = work(request, isLost ? Delivery::lost : Delivery::whole);
        if (action == "statusAfter") response = faultAnswer(*fault, request);
        if (action == "resetAfter") response.status = 0;
        if (action == "truncate") response.ending = Ending::truncated;
        if (action == "slow") response.ending = Ending::slow;
    }
    if (response.status == 0) response.ending = Ending::reset;
    record(request, response);
    return response;
}

void Service::holdBack() {
    std::unique_lock lock(latencyMutex_);
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(latency_);
    latencyChanged_.wait_until(lock, until, [this, since = latency_] { return latency_ != since; });
}

void Service::setLatency(int milliseconds) {
    {
        const std::lock_guard lock(latencyMutex_);
        latency_ = milliseconds;
    }
    latencyChanged_.notify_all();
}

std::optional<Fault> Service::takeFault(const Request& request) {
    const std::lock_guard lock(mutex_);
    return faults_.take(request.method, request.path);
}

Response Service::work(const Request& request, Delivery delivery) {
    if (request.path.starts_with("/upload/")) return upload(request);
    if (request.path.starts_with(relayPrefix)) return relay_.handle(request, clocks(), delivery);
    if (request.path.starts_with(storePrefix::all)) {
        const std::lock_guard lock(mutex_);
        if (world_.settle()) changed_ = true;
        return store_.handle(world_, request);
    }
    if (!request.path.starts_with("/v1/")) {
        const std::lock_guard lock(mutex_);
        return file(world_, request);
    }
    return interface(request);
}

Response Service::upload(const Request& request) {
    const std::string_view name = std::string_view(request.path).substr(std::string_view("/upload/").size());
    const std::size_t dot = name.rfind('.');
    const std::string id(name.substr(0, dot));
    std::size_t part = 0;
    for (const char digit : dot == name.npos ? std::string_view("x") : name.substr(dot + 1))
        part = digit >= '0' && digit <= '9' && part < 100'000
                   ? part * 10 + static_cast<std::size_t>(digit - '0')
                   : 1'000'000;
    return world_.uploads->receive(id, part, request);
}

Response Service::interface(const Request& request) {
    const bool authorized = isAuthorized(request);
    const std::lock_guard lock(mutex_);
    if (world_.settle()) changed_ = true;
    Response response;
    if (!authorized) {
        response = failure({notAuthorized()});
    } else if (!quota_.take(wholeSeconds(world_.now()))) {
        response = failure({problemOfStatus(429)});
        response.headers.emplace_back("Retry-After", std::to_string(quota_.wait(wholeSeconds(world_.now()))));
    } else {
        response = answer(request);
    }
    addCommonHeaders(response);
    return response;
}

Response Service::answer(const Request& request) {
    try {
        Answer answer = dispatch(request);
        if (request.method != "GET") changed_ = true;
        if (answer.status == 201 && answer.resource) delayVisibility(*answer.resource);
        Response response{.status = answer.status, .contentType = answer.contentType};
        if (answer.resource) {
            const Shape shape{.baseURL = world_.baseURL, .nulls = world_.nulls};
            const std::string self =
                fmt::format("{}/v1/{}/{}", world_.baseURL, answer.resource->type, answer.resource->id);
            response.body = encodeJSON(documentOf(world_.store, *answer.resource, shape, self));
        } else if (answer.document) {
            response.body = encodeJSON(*answer.document);
        } else {
            response.body = std::move(answer.bytes);
        }
        return response;
    } catch (const Refusal& refusal) {
        return failure(refusal.problems());
    }
}

void Service::delayVisibility(const Resource& made) {
    if (world_.pace.visibility <= 0) return;
    const double begin = secondsSince1970(world_.now()) + world_.pace.visibility;
    world_.store.find(made.type, made.id)->hidden.set("visibleFrom", begin);
}

Answer Service::dispatch(const Request& request) {
    if (request.path == "/v1/salesReports" && request.method == "GET") {
        requireRole(role_, request.method, request.path);
        return salesReport(world_, request);
    }
    std::string allowed;
    for (const ReadOperation& operation : readOperations())
        if (const auto id = matchPattern(operation.pattern, request.path)) {
            if (request.method == "GET") {
                requireRole(role_, request.method, operation.pattern);
                return read(world_, operation, *id, request);
            }
            allowed = "GET";
        }
    for (const WriteOperation& operation : writeOperations())
        if (const auto id = matchPattern(operation.pattern, request.path)) {
            if (request.method == operation.method) {
                requireRole(role_, request.method, operation.pattern);
                return write(world_, operation, *id, request);
            }
            allowed += fmt::format("{}{}", allowed.empty() ? "" : ", ", operation.method);
        }
    if (request.path == "/v1/salesReports") allowed = "GET";
    throw Refusal(allowed.empty() ? pathNotFound(request.path) : methodNotAllowed(request.method, allowed));
}

RelayClocks Service::clocks() const {
    const std::lock_guard lock(mutex_);
    const Date simulated = world_.now();
    return {dateFromSecondsSince1970(secondsSince1970(simulated) - world_.clockOffset), simulated};
}

bool Service::isAuthorized(const Request& request) const {
    {
        const std::lock_guard lock(mutex_);
        if (revoked_) return false;
    }
    const auto [real, virtualDate] = clocks();
    // A client that knows nothing of the virtual clock signs by the real one; one that follows the Date
    // header signs by the virtual one. Both are right.
    const std::string authorization = request.header("Authorization").value_or("");
    return acceptsToken(authorization, tokenRules_, key_, virtualDate) ||
           (real != virtualDate && acceptsToken(authorization, tokenRules_, key_, real));
}

Response Service::failure(const std::vector<Problem>& problems) const {
    return {.status = problems.front().status,
            .contentType = "application/json",
            .body = encodeJSON(errorDocument(problems))};
}

Response Service::faultAnswer(const Fault& fault, const Request& request) const {
    const int status = fault.action == "expireToken" ? 401 : fault.status.value_or(500);
    Response response = request.path.starts_with(relayPrefix)
                            ? Relay::failure(status, "This went wrong on purpose.")
                        : request.path.starts_with(storePrefix::all) ? storeFailure(status)
                                                                     : failure({problemOfStatus(status)});
    if (fault.retryAfter) response.headers.emplace_back("Retry-After", fmt::format("{}", *fault.retryAfter));
    const std::lock_guard lock(mutex_);
    response.headers.emplace_back("Date", formatHTTPDate(world_.now()));
    return response;
}

void Service::addCommonHeaders(Response& response) {
    const Date now = world_.now();
    const int remaining = quota_.remaining(wholeSeconds(now));
    response.headers.emplace_back("Date", formatHTTPDate(now));
    response.headers.emplace_back(
        "X-Rate-Limit", fmt::format("user-hour-lim:{};user-hour-rem:{};", quota_.limit(), remaining));
}

void Service::record(const Request& request, const Response& response) {
    RecordedRequest entry{.method = request.method,
                          .path = request.path,
                          .target = request.target,
                          .body = request.body.substr(0, longestRecordedBody),
                          .status = response.status,
                          .authorization =
                              describeAuthorization(request.header("Authorization").value_or(""))};
    const std::lock_guard lock(mutex_);
    if (requests_.size() == mostRecorded) requests_.pop_front();
    requests_.push_back(std::move(entry));
    recorded_.notify_all();
}

} // namespace quorvel::sandbox
