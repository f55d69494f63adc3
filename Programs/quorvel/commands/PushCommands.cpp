#include "Core/metadata/Locales.h"
#include "Platform/task/Task.h"
#include "Platform/text/Counted.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/PushActions.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace quorvel {

namespace {

ExitStatus showPlan(Output& output, const PlanPush::Result& planned) {
    const PushPlan& plan = planned.plan;
    output.document(planned);
    for (const PlannedRequest& request : plan.requests) {
        output.line(fmt::format("{} {}", request.method, request.path));
        output.verbatim(encodeJSON(request.body, {JSONLayout::pretty, JSONKeyOrder::declared}));
        output.line();
    }
    printWarnings(output, plan.warnings);
    for (const PushOutcome& outcome : plan.conflicts)
        output.warning(fmt::format("{} {} would fail: {}", outcome.change.locale,
                                   shortLabelOf(outcome.change.field), outcome.errorMessage.value_or("")));
    printLeftOut(output, plan.leftOut);
    output.note(
        fmt::format("Dry run: {} would be sent, nothing was.", counted(plan.requests.size(), "request")));
    return plan.requests.empty() && !plan.conflicts.empty() ? ExitStatus::failed : ExitStatus::done;
}

FailureKind kindOf(const PushOutcome& outcome) {
    const auto failure = outcome.failure;
    return failure ? failureKindOf(*failure) : FailureKind::failed;
}

// When nothing at all could be pushed, the reason that all failures share tells how the program ends.
ExitStatus exitStatusOf(const PushReport& report, bool leavesWaiting) {
    const auto& outcomes = report.outcomes;
    const auto failed = std::ranges::count(outcomes, false, &PushOutcome::success);
    if (failed == 0) return leavesWaiting ? ExitStatus::partlyDone : ExitStatus::done;
    if (static_cast<std::size_t>(failed) < outcomes.size()) return ExitStatus::partlyDone;
    const ExitStatus first = statusOf(kindOf(outcomes.front()));
    const bool shared = std::ranges::all_of(
        outcomes, [&](const PushOutcome& outcome) { return statusOf(kindOf(outcome)) == first; });
    return shared ? first : ExitStatus::failed;
}

void printOutcomes(Output& output, const std::vector<PushOutcome>& outcomes) {
    Table table{.columns = {{"Locale"}, {"Field"}, {"Result"}}, .rows = {}};
    for (const PushOutcome& outcome : outcomes) {
        Table::Cell result = outcome.success     ? Table::Cell{"pushed", Style::green}
                             : outcome.wasSent() ? Table::Cell{"FAILED", Style::red}
                                                 : Table::Cell{"not sent", Style::yellow};
        table.rows.push_back({outcome.change.locale, shortLabelOf(outcome.change.field), std::move(result)});
    }
    output.table(table);
    // The report below has the first error.
    const auto first = std::ranges::find_if(
        outcomes, [](const PushOutcome& outcome) { return !outcome.success && outcome.wasSent(); });
    const auto unsent = std::ranges::count(outcomes, false, &PushOutcome::wasSent);
    if (unsent > 0)
        output.warning(fmt::format("the push was cancelled; {} not sent, pushing again sends the rest",
                                   counted(static_cast<std::size_t>(unsent), "field")));
    for (const PushOutcome& outcome : outcomes) {
        const auto tell = [&](const std::string& text) {
            output.warning(
                fmt::format("{} {}: {}", outcome.change.locale, shortLabelOf(outcome.change.field), text));
        };
        if (outcome.remark) tell(*outcome.remark);
        if (outcome.errorMessage && outcome.wasSent() && outcome.errorMessage != first->errorMessage)
            tell(*outcome.errorMessage);
    }
}

ExitStatus nothingToPush(Output& output, const PlanPush::Result& planned) {
    output.document(planned);
    output.line(*planned.plan.nothing);
    if (!planned.plan.leftOut.empty()) output.line();
    printLeftOut(output, planned.plan.leftOut);
    return planned.leavesWaiting ? ExitStatus::failed : ExitStatus::done;
}

void confirmPush(Invocation& invocation, const PushPlan& plan) {
    std::set<std::string_view> locales;
    for (const PendingChange& change : plan.changes)
        locales.insert(change.locale);
    const std::string what = fmt::format("{} · {} to {} {} ({})", counted(plan.changes.size(), "field"),
                                         counted(locales.size(), "locale"), plan.app.displayName,
                                         plan.version.versionString, plan.context);
    Output& output = invocation.output;
    if (!invocation.global.yes && output.canAsk()) printChanges(output, listedChangesOf(plan.changes));
    const auto unread = std::ranges::count_if(
        plan.changes, [](const PendingChange& change) { return change.review.has_value(); });
    confirmOnTerminal(invocation,
                      unread == 0 ? fmt::format("Push {}?", what)
                                  : fmt::format("Push {}, of which nobody read {}?", what,
                                                counted(static_cast<std::size_t>(unread), "generated text")),
                      "Nothing was pushed.");
    output.note(fmt::format("Pushing {}.", what));
}

ExitStatus push(Invocation& invocation) {
    Output& output = invocation.output;
    auto request = requestOf<PlanPush::Request>(invocation);
    request.locales = listOf(invocation.arguments, "--locale");
    for (const std::string& field : invocation.arguments.values("--field"))
        request.fields.push_back(*fromRawValue<FieldType>(field));
    request.allowClear = invocation.arguments.has("--allow-clear");
    // On a terminal the question names them.
    request.allowUnreviewed =
        invocation.arguments.has("--allow-unreviewed") || (output.canAsk() && !invocation.global.yes);
    request.withRequests = request.dryRun;
    const auto planned = perform<PlanPush>(invocation, request);
    const PushPlan& plan = planned.plan;
    for (const std::string& notice : plan.notices)
        output.warning(notice);
    if (plan.nothing) return nothingToPush(output, planned);
    if (request.dryRun) return showPlan(output, planned);

    printWarnings(output, plan.warnings);
    printLeftOut(output, plan.leftOut);
    if (!plan.leftOut.empty()) output.line();
    confirmPush(invocation, plan);
    const auto pushed = perform<PushTexts>(invocation, {plan, invocation.global.workspace});
    output.document(pushed);
    printOutcomes(output, pushed.report.outcomes);
    output.line();
    output.line(pushed.report.report);
    checkCancellation();
    return exitStatusOf(pushed.report, planned.leavesWaiting);
}

} // namespace

std::vector<Command> pushCommands() {
    std::vector<std::string_view> fields;
    for (const FieldType field : allFieldTypes)
        fields.push_back(rawValue(field));
    return {
        {.name = "push",
         .summary = "Send changed texts to App Store Connect",
         .arguments = {folderArgument(),
                       {"--locale",
                        "LOCALE",
                        "Only this locale",
                        {},
                        ArgumentSpec::Need::optional,
                        ArgumentSpec::Count::repeated,
                        {appStoreLocales().begin(), appStoreLocales().end()}},
                       {"--field", "FIELD", "Only this field", fields, ArgumentSpec::Need::optional,
                        ArgumentSpec::Count::repeated},
                       {"--allow-clear", "", "Also push changes that remove a text"},
                       {"--allow-unreviewed", "", "Also push texts that were generated and not read since"}},
         .heeds = {"--app", "--workspace", "--context", "--dry-run", "--yes"},
         .run = push,
         .details = "Only what changed is sent, one request per locale and resource. "
                    "Texts over a limit, folders that are no App Store locale, "
                    "and changes of nothing but a final line break are left out and named; "
                    "a text that is over its limit, begins with a byte order mark, would be removed, "
                    "or was generated and neither edited nor accepted since ends the "
                    "push with status 7, or with 1 when nothing could be sent. "
                    "On a terminal generated texts are asked for instead of being left out. "
                    "A failed change does not stop the others, and pushing again sends only what is missing. "
                    "A dry run ends with 0 when something would be sent, whatever is left out, "
                    "and with 1 when nothing can be. On a terminal the push is confirmed first, "
                    "unless --yes is given; without a terminal nothing is asked."},
    };
}

} // namespace quorvel
