#include "Core/metadata/MetadataTexts.h"
#include "Platform/task/ParallelMap.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/AppLookup.h"
#include "Programs/quorvel/AppTarget.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/OperationProgress.h"
#include "Programs/quorvel/Workspaces.h"
#include "Programs/quorvel/commands/AppOverviews.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/MetadataRecords.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <exception>

namespace quorvel {

namespace {

using ContextPull = MetadataController::ContextPull;
using PullRequest = MetadataController::PullRequest;

void reportKept(Output& output, const PullResult& result, std::string_view lead = {}) {
    for (const std::string& warning : result.summary.warnings)
        output.warning(fmt::format("{}{}", lead, warning));
    printKept(output, result.kept, DryRun::no, lead);
    std::vector<std::string> left;
    for (const FieldKey& edit : result.leftEdits)
        left.push_back(fmt::format("{} {}", edit.locale, shortLabelOf(edit.field)));
    if (!left.empty())
        output.warning(fmt::format("{}{} edited locally, left in place: {}", lead,
                                   counted(left.size(), "text"), fmt::join(left, ", ")));
}

constexpr std::string_view afterKeepingText =
    "Copy back what you want of it, then push; 'quorvel pull --leave-edits' leaves edits in place.";

// For somebody who does not know yet that an app has several.
void reportContexts(Output& output, const MetadataState& state) {
    if (state.contexts.size() < 2) return;
    std::vector<std::string> names;
    std::ranges::transform(state.contexts, std::back_inserter(names), &PlatformContext::id);
    output.note(fmt::format("The app has {}. {} --context chooses another.", fmt::join(names, ", "),
                            switchContextText));
}

PullRequest requestOf(Invocation& invocation, const std::optional<ContextID>& context) {
    PullRequest request;
    if (context) request.context = context->text();
    if (invocation.arguments.has("--all-contexts")) request.contexts = PullRequest::Contexts::all;
    if (invocation.arguments.has("--leave-edits")) request.edits = LocalEdits::leaveInPlace;
    if (invocation.arguments.has("--all-contexts") || invocation.arguments.has("--all-apps"))
        request.limiter = &invocation.composition.limiter();
    return request;
}

ExitStatus pullContext(Invocation& invocation, AppTarget& target, const PullRequest& request) {
    const auto controller = target.controller();
    const OperationProgress progress(invocation.output, *controller);
    const ContextPull pulled = controller->pull(request).front();
    const PullResult& result = pulled.result.value();
    const PullSummary& summary = result.summary;
    Output& output = invocation.output;
    output.document(result);
    output.line(fmt::format("Pulled {} {} ({}, {}): {}, {} into {}.",
                            escapeControls(target.app().displayName), summary.versionString.value_or("?"),
                            pulled.context.id(), summary.appStoreState.value_or("?"),
                            counted(summary.locales.size(), "locale"),
                            counted(static_cast<std::size_t>(summary.writtenFields), "field"),
                            target.appFolder().rootURL.string()));
    output.line(result.updated.empty()
                    ? "Nothing new on App Store Connect."
                    : fmt::format("{} took a new text.", counted(result.updated.size(), "field")));
    if (summary.locales.empty() && !target.disabledLocales().empty())
        output.note("Locales that are disabled are not pulled; 'quorvel locale enable' lets them take part.");
    reportKept(output, result);
    if (!result.kept.empty()) output.note(afterKeepingText);
    reportContexts(output, *controller->state());
    return ExitStatus::done;
}

// One context of one app, or an app that failed as a whole.
struct PullRecord {
    std::string app; // bundle id
    std::string displayName;
    std::optional<PlatformContext> context;
    std::optional<PullResult> result;
    std::optional<std::string> error;
    QUORVEL_RECORD(PullRecord, app, displayName, context, result, error)
};

struct AppPull {
    std::vector<PullRecord> records;
    std::vector<ExitStatus> reasons; // of what failed
};

AppPull pullApp(Invocation& invocation, const ManagedApp& app, const PullRequest& request,
                OperationProgress& progress) {
    AppPull pull;
    const auto fail = [&](const std::optional<PlatformContext>& context, std::exception_ptr failure) {
        try {
            std::rethrow_exception(std::move(failure));
        } catch (const CancellationError&) {
            throw;
        } catch (const std::exception& error) {
            const ErrorReport report = reportOf(error);
            pull.records.push_back({app.bundleId, app.displayName, context, {}, report.text});
            pull.reasons.push_back(report.status);
        }
    };
    try {
        for (ContextPull& one : invocation.composition.sessions().session(app.id)->metadata->pull(request)) {
            if (one.failure)
                fail(one.context, one.failure);
            else
                pull.records.push_back(
                    {app.bundleId, app.displayName, one.context, std::move(one.result), {}});
        }
    } catch (...) {
        fail({}, std::current_exception());
    }
    progress.step(fmt::format("Pulled {}", app.displayName));
    return pull;
}

void printPulls(Output& output, const std::vector<PullRecord>& records) {
    Table table{.columns = {{"App", Table::Align::left, Table::Fit::cut},
                            {"Context"},
                            {"Version"},
                            {"State"},
                            {"Locales", Table::Align::right},
                            {"Result"}},
                .rows = {}};
    for (const PullRecord& record : records) {
        const auto& context = record.context;
        const std::size_t updated = record.result ? record.result->updated.size() : 0;
        table.rows.push_back(
            {record.displayName, context ? context->id() : "", context ? context->versionString : "",
             context ? Table::Cell{context->appStoreState, styleOfState(context->appStoreState)}
                     : Table::Cell{},
             record.result ? std::to_string(record.result->summary.locales.size()) : "",
             !record.result ? Table::Cell{"FAILED", Style::red}
             : updated == 0 ? Table::Cell{"nothing new", Style::dim}
                            : Table::Cell{counted(updated, "new text"), Style::green}});
    }
    output.table(table);
    for (const PullRecord& record : records) {
        const std::string where = record.context
                                      ? fmt::format("{} {}: ", record.displayName, record.context->id())
                                      : fmt::format("{}: ", record.displayName);
        if (record.result) reportKept(output, *record.result, where);
        if (record.error) output.warning(where + *record.error);
    }
    if (std::ranges::any_of(
            records, [](const PullRecord& record) { return record.result && !record.result->kept.empty(); }))
        output.note(afterKeepingText);
}

// When nothing could be pulled, the reason that all failures share says how the program ends.
ExitStatus statusOf(const std::vector<AppPull>& pulls) {
    std::size_t pulled = 0;
    std::vector<ExitStatus> reasons;
    for (const AppPull& pull : pulls) {
        pulled += pull.records.size() - pull.reasons.size();
        reasons.insert(reasons.end(), pull.reasons.begin(), pull.reasons.end());
    }
    if (reasons.empty()) return ExitStatus::done;
    if (pulled > 0) return ExitStatus::partlyDone;
    const bool shared = std::ranges::count(reasons, reasons.front()) == std::ranges::ssize(reasons);
    return shared ? reasons.front() : ExitStatus::failed;
}

ExitStatus pullSeveral(Invocation& invocation, const std::vector<ManagedApp>& apps,
                       const PullRequest& request) {
    Composition& composition = invocation.composition;
    WorkspaceIndex& index = composition.index();
    OperationProgress progress(invocation.output);
    for (const ManagedApp& app : apps) // made here: opening sessions is for one thread
        progress.follow(*composition.sessions().session(app.id)->metadata);
    constexpr std::size_t width = 8; // the limiter lets fewer work
    const auto pulls = parallelMap(
        apps, width, [&](const ManagedApp& app) { return pullApp(invocation, app, request, progress); });
    std::vector<PullRecord> records;
    for (const AppPull& pull : pulls)
        records.insert(records.end(), pull.records.begin(), pull.records.end());
    invocation.output.document(records);
    printPulls(invocation.output, records);
    const auto state = index.state(); // follows the notifications of the pulls
    std::int64_t waiting = 0;
    for (const ManagedApp& app : apps)
        if (const auto found = state->summaries.find(app.id); found != state->summaries.end())
            waiting += found->second.attentionCount();
    const std::string attention = attentionText(waiting);
    if (!attention.empty())
        invocation.output.note(
            fmt::format("{}; '{}' alone shows the home.", attention, callInWorkspace(invocation)));
    return statusOf(pulls);
}

std::vector<ManagedApp> allApps(Invocation& invocation) {
    if (invocation.global.app) throw UsageError("--all-apps and --app exclude each other");
    if (invocation.arguments.has("--folder")) throw UsageError("--folder is for the pull of a single app");
    auto apps = appsInView(invocation);
    if (apps.empty())
        throw CommandError(ExitStatus::notFound, "no app is recorded here",
                           "'quorvel apps import' records those of your account.");
    return apps;
}

ExitStatus pull(Invocation& invocation) {
    AppTarget target(invocation, AppTarget::Reach::account);
    const auto context = target.givenContext(); // refuses a misspelt one before anything else
    if (context && invocation.arguments.has("--all-contexts"))
        throw UsageError("--all-contexts and --context exclude each other");
    const PullRequest request = requestOf(invocation, context);
    if (invocation.arguments.has("--all-apps")) return pullSeveral(invocation, allApps(invocation), request);
    if (invocation.arguments.has("--all-contexts")) return pullSeveral(invocation, {target.app()}, request);
    (void)target.app();
    return pullContext(invocation, target, request);
}

} // namespace

std::vector<Command> pullCommands() {
    return {
        {.name = "pull",
         .summary = "Copy the store texts of an app into its metadata folder",
         .arguments = {folderArgument(),
                       {"--leave-edits", "", "Leave local edits in place instead of putting them aside"},
                       {"--all-contexts", "",
                        "Every version that can be worked on, each into its own folder"},
                       {"--all-apps", "", "Every recorded app of the workspace"}},
         .heeds = {"--app", "--workspace", "--context"},
         .run = pull,
         .details =
             "One text file per field and locale, <folder>/ios/next/de-DE/subtitle.txt for example, "
             "for any editor. A local text that was edited since the last pull is put aside under "
             ".brevant/kept before it is replaced. An app that is not recorded is imported first. When "
             "several are pulled, one that fails does not stop the others; status 7 tells that some "
             "failed."},
    };
}

} // namespace quorvel
