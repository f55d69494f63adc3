#include "Core/metadata/MetadataTexts.h"
#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/PullActions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

using Pull = PullTexts::Pull;

constexpr std::string_view afterBackupText =
    "Copy back what you want of it, then push; 'quorvel pull --leave-edits' leaves edits in place.";

void printEdits(Output& output, const PullResult& result, std::string_view lead = {}) {
    for (const std::string& warning : result.summary.warnings)
        output.warning(fmt::format("{}{}", lead, warning));
    printBackups(output, result.kept, Backups::made, lead);
    std::vector<std::string> left;
    for (const FieldKey& edit : result.leftEdits)
        left.push_back(fmt::format("{} {}", shownLocale(edit.locale), shortLabelOf(edit.field)));
    if (!left.empty())
        output.warning(fmt::format("{}{} edited locally, left in place: {}", lead,
                                   counted(left.size(), "text"), fmt::join(left, ", ")));
}

void printPull(Output& output, const PullTexts::Result& pulled) {
    const Pull& pull = pulled.pulls.front();
    const PullResult& result = pull.result.value();
    const PullSummary& summary = result.summary;
    output.line(fmt::format("Pulled {} {} ({}, {}): {}, {} into {}.", escapeControls(pull.app.displayName),
                            summary.versionString.value_or("?"), pull.context.value_or("?"),
                            summary.appStoreState.value_or("?"), counted(summary.locales.size(), "locale"),
                            counted(static_cast<std::size_t>(summary.writtenFields), "field"), pull.folder));
    output.line(result.updated.empty()
                    ? "Nothing new on App Store Connect."
                    : fmt::format("{} took a new text.", counted(result.updated.size(), "field")));
    if (summary.locales.empty() && !pulled.disabledLocales.empty())
        output.note("Locales that are disabled are not pulled; 'quorvel locale enable' lets them take part.");
    printEdits(output, result);
    if (!result.kept.empty()) output.note(afterBackupText);
    if (summary.locales.empty() && pulled.disabledLocales.empty())
        output.note("App Store Connect has no locale of it yet; 'quorvel locale add en-US' begins one.");
    if (pulled.isFirst && pulled.contexts.size() > 1) // who does not know yet that an app has several
        output.note(fmt::format("The app has {}. {} --context chooses another.",
                                fmt::join(pulled.contexts, ", "), switchContextText));
}

void printPulls(Output& output, const std::vector<Pull>& pulls) {
    Table table{.columns = {{"App"},
                            {"Context"},
                            {"Version", Table::Align::left, Table::Fit::drop},
                            {"State"},
                            {"Locales", Table::Align::right, Table::Fit::drop},
                            {"Result"}},
                .rows = {}};
    for (const Pull& pull : pulls) {
        const auto& version = pull.version;
        const std::size_t updated = pull.result ? pull.result->updated.size() : 0;
        table.rows.push_back(
            {pull.app.displayName, pull.context.value_or(""), version ? version->versionString : "",
             version ? Table::Cell{version->appStoreState, styleOfState(version->appStoreState)}
                     : Table::Cell{},
             pull.result ? std::to_string(pull.result->summary.locales.size()) : "",
             !pull.result   ? Table::Cell{"FAILED", Style::red}
             : updated == 0 ? Table::Cell{"nothing new", Style::dim}
                            : Table::Cell{counted(updated, "new text"), Style::green}});
    }
    output.table(table);
    for (const Pull& pull : pulls) {
        const std::string where =
            fmt::format("{}{}: ", pull.app.displayName, pull.context ? " " + *pull.context : "");
        if (pull.result) printEdits(output, *pull.result, where);
        if (pull.failure) output.warning(where + reportOf(*pull.failure).text);
    }
    if (std::ranges::any_of(pulls,
                            [](const Pull& pull) { return pull.result && !pull.result->kept.empty(); }))
        output.note(afterBackupText);
}

// When nothing could be pulled, the reason that all failures share tells how the program ends.
ExitStatus exitStatusOf(const std::vector<Pull>& pulls) {
    std::vector<ExitStatus> reasons;
    for (const Pull& pull : pulls)
        if (pull.failure) reasons.push_back(statusOf(pull.failure->kind));
    if (reasons.empty()) return ExitStatus::done;
    if (reasons.size() < pulls.size()) return ExitStatus::partlyDone;
    const bool shared = std::ranges::count(reasons, reasons.front()) == std::ranges::ssize(reasons);
    return shared ? reasons.front() : ExitStatus::failed;
}

ExitStatus pull(Invocation& invocation) {
    auto request = requestOf<PullTexts::Request>(invocation);
    request.allContexts = invocation.arguments.has("--all-contexts");
    request.allApps = invocation.arguments.has("--all-apps");
    request.leaveEdits = invocation.arguments.has("--leave-edits");
    if (request.allContexts && request.context)
        throw UsageError("--all-contexts and --context exclude each other");
    if (request.allApps && request.app) throw UsageError("--all-apps and --app exclude each other");
    if (request.allApps && request.folder) throw UsageError("--folder is for the pull of a single app");
    const auto result = perform<PullTexts>(invocation, request);
    invocation.output.document(result);
    if (!request.allApps && !request.allContexts) {
        printPull(invocation.output, result);
        return ExitStatus::done;
    }
    printPulls(invocation.output, result.pulls);
    const std::string attention = attentionText(result.attentionCount);
    if (!attention.empty())
        invocation.output.note(fmt::format("{}; '{}' alone shows the home.", attention,
                                           callInWorkspace(invocation.global.workspace)));
    return exitStatusOf(result.pulls);
}

} // namespace

std::vector<Command> pullCommands() {
    return {
        {.name = "pull",
         .summary = "Copy the store texts of an app into its metadata folder",
         .arguments = {folderArgument(),
                       {"--leave-edits", "", "Leave local edits in place instead of replacing them"},
                       {"--all-contexts", "",
                        "Every version that can be worked on, each into its own folder"},
                       {"--all-apps", "", "Every recorded app of the workspace"}},
         .heeds = {"--app", "--workspace", "--context"},
         .run = pull,
         .details = "One text file per field and locale, <folder>/ios/next/de-DE/subtitle.txt for example, "
                    "for any editor. A local text that was edited since the last pull is backed up under "
                    ".brevant/kept before it is replaced. An app that is not recorded is imported first. "
                    "When several are pulled, one that fails does not stop the others; "
                    "status 7 tells that some failed."},
    };
}

} // namespace quorvel
