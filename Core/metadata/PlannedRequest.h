// A request that is shown instead of being sent.
#pragma once

#include "Platform/json/JSON.h"
#include "Platform/json/JSONValue.h"

#include <string>

namespace quorvel {

struct PlannedRequest {
    std::string method;
    std::string path;
    JSONValue body;
    QUORVEL_RECORD(PlannedRequest, method, path, body)
    bool operator==(const PlannedRequest&) const = default;
};

} // namespace quorvel
