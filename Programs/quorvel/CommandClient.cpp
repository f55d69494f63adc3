#include "Programs/quorvel/CommandClient.h"

#include <fmt/format.h>

namespace quorvel {

PlannedRequestRecord recordOf(const PlannedRequest& request) {
    return {request.method, request.path,
            request.body.empty() ? JSONValue{} : decodeJSON<JSONValue>(request.body)};
}

std::string CommandClient::exchange(const ASCRequest& request) const {
    logger_.debug(fmt::format("{} {}", request.method, request.path));
    if (request.method == "GET") return inner_.exchange(request);
    if (changes_ == Changes::rehearse)
        throw DryRunReached{{request.method, request.path, request.body.value_or("")}};
    try {
        return inner_.exchange(request);
    } catch (const ASCError& error) {
        const std::lock_guard lock(mutex_);
        refusals_.push_back(error);
        throw;
    }
}

std::vector<ASCError> CommandClient::refusals() const {
    const std::lock_guard lock(mutex_);
    return refusals_;
}

} // namespace quorvel
