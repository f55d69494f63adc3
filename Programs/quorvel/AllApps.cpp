#include "Programs/quorvel/AllApps.h"

#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

ArgumentSpec allAppsOption() {
    return {"--all-apps", "", "Every recorded app of the workspace"};
}

void refuseSingleApp(const Invocation& invocation) {
    if (invocation.global.app) throw UsageError("--all-apps and --app exclude each other");
    if (invocation.arguments.has("--folder")) throw UsageError("--folder is for a single app");
}

void printAppTitle(Output& output, const AppReference& app) {
    output.styledLine(output.styled(
        Style::bold, fmt::format("{} ({})", escapeControls(app.displayName), escapeControls(app.bundleId))));
}

ExitStatus printAppFailure(Output& output, const Failure& failure) {
    const ErrorReport report = reportOf(failure);
    output.line("FAILED");
    output.warning(report.hint.empty() ? report.text : fmt::format("{} {}", report.text, report.hint));
    return report.status;
}

} // namespace quorvel
