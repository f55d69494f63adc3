#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/MetadataTexts.h"
#include "Platform/task/Task.h"
#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Platform/text/WordDiff.h"
#include "Programs/quorvel/AllApps.h"
#include "Programs/quorvel/ChangeRendering.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/PushActions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <set>

namespace quorvel {

namespace {

FailureKind kindOf(const PushOutcome& outcome) {
    const auto failure = outcome.failure;
    return failure ? failureKindOf(*failure) : FailureKind::failed;
}

// When nothing at all could be pushed, the reason that all failures share tells how the program ends.
ExitStatus exitStatusOf(const std::vector<PushOutcome>& outcomes, bool leavesWaiting) {
    const auto failed = std::ranges::count(outcomes, false, &PushOutcome::success);
    if (failed == 0) return leavesWaiting ? ExitStatus::partlyDone : ExitStatus::done;
    if (static_cast<std::size_t>(failed) < outcomes.size()) return ExitStatus::partlyDone;
    const ExitStatus first = statusOf(kindOf(outcomes.front()));
    const bool shared = std::ranges::all_of(
        outcomes, [&](const PushOutcome& outcome) { return statusOf(kindOf(outcome)) == first; });
    return shared ? first : ExitStatus::failed;
}

// How the outcomes of a push, or of a dry run, are called.
struct OutcomeWords {
    std::string pushed = "pushed";
    std::string failed = "FAILED";
};

Table::Cell resultCell(const PushOutcome& outcome, const OutcomeWords& words) {
    if (outcome.success) return {words.pushed, Style::green};
    return outcome.wasSent() ? Table::Cell{words.failed, Style::red} : Table::Cell{"not sent", Style::yellow};
}

void printTable(Output& output, const std::vector<PushOutcome>& outcomes, const OutcomeWords& words) {
    Table table{.columns = {{"Locale"}, {"Field"}, {"Result"}}, .rows = {}};
    for (const PushOutcome& outcome : outcomes)
        table.rows.push_back({shownLocale(outcome.change.locale), shortLabelOf(outcome.change.field),
                              resultCell(outcome, words)});
    output.table(table);
}

// Texts, each with the fields that it is said of, in the order of the first.
class Remarks {
  public:
    void add(const std::string& text, const FieldKey& key) {
        auto found = std::ranges::find(remarks_, text, &Remark::first);
        if (found == remarks_.end()) found = remarks_.insert(found, {text, {}});
        found->second.push_back(key);
    }
    void print(Output& output, std::string_view verb = "") const {
        for (const auto& [text, keys] : remarks_)
            output.warning(fmt::format("{}{}{}: {}",
                                       keys.size() > 1 ? fmt::format("{} fields, ", keys.size()) : "",
                                       placesOf(keys), verb, text));
    }

  private:
    using Remark = std::pair<std::string, std::vector<FieldKey>>;
    std::vector<Remark> remarks_;
};

void printOutcomes(Output& output, const std::vector<PushOutcome>& outcomes) {
    printTable(output, outcomes, {});
    // The report below has the first error.
    const auto first = std::ranges::find_if(
        outcomes, [](const PushOutcome& outcome) { return !outcome.success && outcome.wasSent(); });
    Remarks failures;
    Remarks remarks;
    std::size_t cancelled = 0;
    for (const PushOutcome& outcome : outcomes) {
        if (outcome.remark) remarks.add(*outcome.remark, outcome.change.key());
        if (outcome.notSent && !outcome.failure)
            ++cancelled;
        else if (outcome.errorMessage &&
                 (first == outcomes.end() || outcome.errorMessage != first->errorMessage))
            failures.add(*outcome.errorMessage, outcome.change.key());
    }
    failures.print(output);
    if (cancelled > 0)
        output.warning(fmt::format("the push was cancelled; {} not sent, pushing again sends the rest",
                                   counted(cancelled, "field")));
    remarks.print(output);
}

// The texts that a push replaces which were never pulled, word by word.
void printReplaced(Output& output, const PushPlan& plan) {
    for (const PendingChange& change : plan.changes)
        printTextChange(output, change.key(), withReview(MetadataDiff::explain(change), change.review),
                        wordDiff(change.remote, change.local));
}

// What a push would do now, told as the push would tell it.
ExitStatus showPlan(Invocation& invocation, const PlanPush::Result& planned) {
    Output& output = invocation.output;
    const PushPlan& plan = planned.plan;
    std::vector<PushOutcome> outcomes;
    Remarks failures;
    for (const PendingChange& change : plan.changes) {
        const auto conflict = std::ranges::find(
            plan.conflicts, change.key(), [](const PushOutcome& outcome) { return outcome.change.key(); });
        outcomes.push_back(conflict == plan.conflicts.end() ? PushOutcome{.change = change, .success = true}
                                                            : *conflict);
        if (!outcomes.back().success) failures.add(outcomes.back().errorMessage.value_or(""), change.key());
    }
    if (plan.overwrites) printReplaced(output, plan);
    printTable(output, outcomes, {"would be pushed", "WOULD FAIL"});
    failures.print(output, " would fail");
    if (invocation.global.verbose) printRequests(output, plan.requests);
    output.note(
        fmt::format("Dry run: {} would be sent, nothing was.", counted(plan.requests.size(), "request")));
    return exitStatusOf(outcomes, planned.leavesWaiting);
}

Detail detailOf(const Invocation& invocation) {
    return invocation.global.verbose ? Detail::each : Detail::summary;
}

ExitStatus nothingToPush(Invocation& invocation, const PlanPush::Result& planned) {
    Output& output = invocation.output;
    output.line(*planned.plan.nothing);
    if (!planned.plan.leftOut.empty()) output.line();
    printLeftOut(output, planned.plan.leftOut, detailOf(invocation));
    return planned.leavesWaiting ? ExitStatus::failed : ExitStatus::done;
}

// What is said of a plan before all else.
void printPlanRemarks(Invocation& invocation, const PushPlan& plan) {
    Output& output = invocation.output;
    for (const std::string& notice : plan.notices) {
        output.warning(notice);
        if (notice == notPulledText(plan.context))
            output.note("'quorvel push --overwrite' is the push of a fresh checkout.");
    }
    if (plan.nothing) return;
    printLeftOut(output, plan.leftOut, detailOf(invocation));
    if (!plan.leftOut.empty()) output.line();
    printWarnings(output, plan.warnings);
}

// "3 fields · 2 locales to Mosswick 3.5 (ios/next)"
std::string destinationOf(const PushPlan& plan) {
    std::set<std::string_view> locales;
    for (const PendingChange& change : plan.changes)
        if (change.locale != pageLocale) locales.insert(change.locale);
    return fmt::format("{} · {} to {} {} ({})", counted(plan.changes.size(), "field"),
                       locales.empty() ? std::string(shownPageLocale) : counted(locales.size(), "locale"),
                       plan.app.displayName, plan.version.versionString, plan.context);
}

// Asks once for all of them.
Consent confirmPushes(Invocation& invocation, const std::vector<const PushPlan*>& plans) {
    std::vector<std::string> destinations;
    std::size_t unread = 0;
    for (const PushPlan* plan : plans) {
        destinations.push_back(destinationOf(*plan));
        unread += static_cast<std::size_t>(std::ranges::count_if(
            plan->changes, [](const PendingChange& change) { return change.review.has_value(); }));
    }
    const auto showChanges = [&](Output& output) {
        for (const PushPlan* plan : plans) {
            if (plans.size() > 1) printAppTitle(output, plan->app);
            plan->overwrites ? printReplaced(output, *plan)
                             : printChanges(output, listedChangesOf(plan->changes));
        }
    };
    const bool overwrites = std::ranges::any_of(plans, [](const PushPlan* plan) { return plan->overwrites; });
    const std::string what = fmt::format("{}", fmt::join(destinations, "; "));
    // Nobody is asked, but the log of a run shows what was replaced.
    if (overwrites && invocation.global.yes) showChanges(invocation.output);
    const std::string question = fmt::format(
        "{} {}{}?", overwrites ? "Replace" : "Push", what,
        unread == 0 ? "" : fmt::format(", of which nobody read {}", counted(unread, "generated text")));
    const Consent consent = askConsent(invocation, {question, "Nothing was pushed.", showChanges});
    invocation.output.note(fmt::format("Pushing {}.", what));
    return consent;
}

ExitStatus printPushed(Output& output, const PushReport& report, bool leavesWaiting) {
    printOutcomes(output, report.outcomes);
    output.line();
    output.lines(report.report);
    if (report.historyProblem) output.warning(*report.historyProblem);
    return exitStatusOf(report.outcomes, leavesWaiting || report.historyProblem.has_value());
}

PlanPush::Request pushRequestOf(const Invocation& invocation) {
    auto request = requestOf<PlanPush::Request>(invocation);
    request.locales = listOf(invocation.arguments, "--locale");
    for (const std::string& field : invocation.arguments.values("--field"))
        request.fields.push_back(*fromRawValue<FieldType>(field));
    request.allowClear = invocation.arguments.has("--allow-clear");
    // On a terminal the question names them.
    request.allowUnreviewed = invocation.arguments.has("--allow-unreviewed") ||
                              (invocation.output.canAsk() && !invocation.global.yes);
    request.overwrite = invocation.arguments.has("--overwrite");
    request.withRequests = request.dryRun;
    return request;
}

ExitStatus pushOneApp(Invocation& invocation, const PlanPush::Request& request) {
    Output& output = invocation.output;
    const auto planned = perform<PlanPush>(invocation, request);
    const PushPlan& plan = planned.plan;
    printPlanRemarks(invocation, plan);
    if (plan.nothing || request.dryRun) {
        output.document(planned);
        return plan.nothing ? nothingToPush(invocation, planned) : showPlan(invocation, planned);
    }
    const Consent consent = confirmPushes(invocation, {&plan});
    const auto pushed = perform<PushTexts>(invocation, {plan, invocation.global.workspace}, consent);
    output.document(pushed);
    const ExitStatus status = printPushed(output, pushed.report, planned.leavesWaiting);
    checkCancellation();
    return status;
}

ExitStatus pushAllApps(Invocation& invocation, const PlanPush::Request& request) {
    refuseSingleApp(invocation);
    Output& output = invocation.output;
    const auto planned = perform<PlanPushOfAllApps>(invocation, request);
    ExitStatus status = ExitStatus::done;
    std::vector<const PushPlan*> plans;
    for (const auto& [app, result, failure] : planned.apps) {
        printAppTitle(output, app);
        if (failure) status = worseOf(status, printAppFailure(output, *failure));
        if (!result) continue;
        printPlanRemarks(invocation, result->plan);
        if (result->plan.nothing)
            status = worseOf(status, nothingToPush(invocation, *result));
        else if (request.dryRun)
            status = worseOf(status, showPlan(invocation, *result));
        else
            plans.push_back(&result->plan);
    }
    if (plans.empty()) {
        output.document(planned);
        return status;
    }
    const Consent consent = confirmPushes(invocation, plans);
    const auto pushed =
        perform<PushTextsOfAllApps>(invocation, {planned.apps, invocation.global.workspace}, consent);
    output.document(pushed);
    for (std::size_t place = 0; place < pushed.apps.size(); ++place) {
        const auto& before = planned.apps[place].result;
        if (!before || before->plan.nothing) continue; // told above
        const auto& [app, result, failure] = pushed.apps[place];
        output.line();
        printAppTitle(output, app);
        status = worseOf(status, failure ? printAppFailure(output, *failure)
                                         : printPushed(output, result->report, before->leavesWaiting));
    }
    checkCancellation();
    return status;
}

ExitStatus push(Invocation& invocation) {
    const auto request = pushRequestOf(invocation);
    return invocation.arguments.has("--all-apps") ? pushAllApps(invocation, request)
                                                  : pushOneApp(invocation, request);
}

} // namespace

std::vector<Command> pushCommands() {
    return {
        {.name = "push",
         .summary = "Send changed texts to App Store Connect",
         .arguments = {folderArgument(),
                       {"--locale",
                        "LOCALE",
                        "Only this locale; page stands for the fields without one",
                        {},
                        ArgumentSpec::Need::optional,
                        ArgumentSpec::Count::repeated},
                       fieldOption(Fields::all),
                       {"--allow-clear", "", "Also push changes that remove a text"},
                       {"--allow-unreviewed", "", "Also push texts that were generated and not read since"},
                       {"--overwrite", "",
                        "Where nothing was pulled: read what App Store Connect holds, show what would be "
                        "replaced, and replace it"},
                       allAppsOption()},
         .heeds = {"--app", "--workspace", "--context", "--dry-run", "--yes"},
         .run = push,
         .details =
             "Only what changed is sent, one request per locale and resource. "
             "Texts over a limit, folders that are no App Store locale, the release notes of a first version "
             "and changes of nothing but a final line break are left out and named. "
             "A push that leaves out a part of what was asked for ends with status 7, "
             "and with 1 when nothing of it could be sent: a text that is over its limit, begins with a byte "
             "order mark, would be removed, or was generated and neither edited nor accepted since, a folder named almost like a locale, whatever --locale or "
             "--field names. "
             "On a terminal generated texts are asked for instead of being left out. "
             "A failed change does not stop the others, and pushing again sends only what is missing. "
             "A dry run shows what a push would do now and ends as that would; "
             "with --verbose it shows the requests too. "
             "In a fresh checkout without pulled copies --overwrite compares with App Store Connect itself, "
             "sends what differs, and leaves alone what has no file here; the plan is refused when a text "
             "changed there meanwhile. The copies are there afterwards, so that the next push needs no option, "
             "and where they are this option changes nothing. "
             "With --all-apps one question shows the plans of all apps; an app that fails does not stop the "
             "others, and the worst of their statuses is the command's. "
             "For example, in CI: quorvel push --overwrite --yes",
         .asksFirst = true},
    };
}

} // namespace quorvel
