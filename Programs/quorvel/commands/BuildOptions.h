// The options that choose a build.
#pragma once

#include "Programs/quorvel/Performing.h"

#include <string_view>

namespace quorvel {

/// A request with the build that `option` names, and the version and platform that narrow it down.
template <typename Request>
[[nodiscard]] Request buildRequestOf(const Invocation& invocation, std::string_view option) {
    auto request = requestOf<Request>(invocation);
    request.build = invocation.arguments.value(option);
    request.version = invocation.arguments.value("--version");
    request.platform = invocation.arguments.value("--platform");
    return request;
}

} // namespace quorvel
