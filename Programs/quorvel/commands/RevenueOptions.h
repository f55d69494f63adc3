// The options that all commands on revenue share.
#pragma once

#include "Programs/quorvel/Invocation.h"
#include "Programs/quorvel/Performing.h"
#include "Quorvel/actions/RevenueActions.h"

#include <vector>

namespace quorvel {

[[nodiscard]] std::vector<ArgumentSpec> revenueArguments();

/// A request about a window of days.
template <typename Request>
[[nodiscard]] Request revenueRequest(const Invocation& invocation) {
    auto request = requestOf<Request>(invocation);
    const Arguments& arguments = invocation.arguments;
    request.days = arguments.number("--days", 1, ShowRevenue::mostDays).value_or(request.days);
    request.currency = arguments.value("--currency");
    request.vendorNumber = arguments.value("--vendor-number");
    if (invocation.global.app) request.apps = itemsOf(*invocation.global.app);
    return request;
}

/// `revenue analyse`.
[[nodiscard]] Command revenueAnalysisCommand();

} // namespace quorvel
