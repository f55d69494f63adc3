// What the commands with --all-apps share.
#pragma once

#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Invocation.h"
#include "Programs/quorvel/Output.h"
#include "Quorvel/actions/AllApps.h"

#include <vector>

namespace quorvel {

[[nodiscard]] ArgumentSpec allAppsOption();
/// Throws `UsageError` where a single app or its folder is named, too.
void refuseSingleApp(const Invocation& invocation);

/// The line above what is shown of one of several apps.
void printAppTitle(Output& output, const AppReference& app);
/// Why an app failed; the status that this failure ends with.
ExitStatus printAppFailure(Output& output, const Failure& failure);

/// `print` shows the result of each app and tells how that ended; returns the worst of the ends.
template <typename ActionResult, typename Print>
ExitStatus printOfAllApps(Output& output, const std::vector<AppOutcome<ActionResult>>& outcomes,
                          Print&& print) {
    ExitStatus status = ExitStatus::done;
    for (const AppOutcome<ActionResult>& outcome : outcomes) {
        if (&outcome != &outcomes.front()) output.line();
        printAppTitle(output, outcome.app);
        status = worseOf(status, outcome.result ? print(*outcome.result)
                                                : printAppFailure(output, outcome.failure.value()));
    }
    return status;
}

} // namespace quorvel
