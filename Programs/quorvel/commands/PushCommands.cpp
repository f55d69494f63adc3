#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataPusher.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/AppTarget.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/OperationProgress.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/MetadataRecords.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace quorvel {

namespace {

struct PushDocument {
    std::vector<PushOutcome> outcomes;
    std::vector<LeftOutChange> leftOut;
    std::vector<PushWarning> warnings;
    std::string report;
    std::optional<std::string> sessionId; // of the run in the history
    QUORVEL_RECORD(PushDocument, outcomes, leftOut, warnings, report, sessionId)
};

struct PushPlanDocument {
    std::vector<PlannedRequestRecord> requests;
    std::vector<LeftOutChange> leftOut;
    std::vector<PushWarning> warnings;
    QUORVEL_RECORD(PushPlanDocument, requests, leftOut, warnings)
};

PushFilter filterOf(const Arguments& arguments) {
    PushFilter filter{.locales = arguments.values("--locale")};
    for (const std::string& field : arguments.values("--field"))
        filter.fields.push_back(*fromRawValue<FieldType>(field));
    filter.clearing = arguments.has("--allow-clear") ? Clearing::allow : Clearing::leaveOut;
    return filter;
}

std::size_t localeCount(const std::vector<PendingChange>& changes) {
    std::set<std::string_view> locales;
    for (const PendingChange& change : changes)
        locales.insert(change.locale);
    return locales.size();
}

ExitStatus showPlan(Output& output, const std::vector<PlannedRequest>& requests,
                    const PushSelection& selection) {
    std::vector<PlannedRequestRecord> records;
    for (const PlannedRequest& request : requests)
        records.push_back(recordOf(request));
    output.document(PushPlanDocument{records, selection.leftOut, selection.warnings});
    for (const PlannedRequestRecord& record : records) {
        output.line(fmt::format("{} {}", record.method, record.path));
        output.verbatim(encodeJSON(record.body, {JSONLayout::pretty, JSONKeyOrder::declared}));
        output.line();
    }
    printWarnings(output, selection.warnings);
    printLeftOut(output, selection.leftOut);
    output.note(fmt::format("Dry run: {} would be sent, nothing was.", counted(requests.size(), "request")));
    return ExitStatus::done;
}

// Whether something that was meant for the store stays behind until somebody does something about it.
bool someTextWaits(const PushSelection& selection) {
    return std::ranges::any_of(selection.leftOut, [](const LeftOutChange& one) {
        return one.reason == LeftOutReason::overLimit || one.reason == LeftOutReason::byteOrderMark ||
               one.reason == LeftOutReason::controlCharacter || one.reason == LeftOutReason::clearsField ||
               one.reason == LeftOutReason::clearsName;
    });
}

// When nothing at all could be pushed, the reason that all failures share says how the program ends.
ExitStatus statusOf(const std::vector<PushOutcome>& outcomes, const std::vector<ASCError>& refusals,
                    const PushSelection& selection) {
    const auto failed = std::ranges::count(outcomes, false, &PushOutcome::success);
    if (failed == 0) return someTextWaits(selection) ? ExitStatus::partlyDone : ExitStatus::done;
    if (static_cast<std::size_t>(failed) < outcomes.size()) return ExitStatus::partlyDone;
    if (refusals.empty()) return ExitStatus::failed;
    const ExitStatus first = exitStatusOf(refusals.front());
    const bool shared = std::ranges::all_of(
        refusals, [&](const ASCError& refusal) { return exitStatusOf(refusal) == first; });
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
    for (const PushOutcome& outcome : outcomes)
        if (outcome.errorMessage && outcome.wasSent() &&
            (outcome.success || outcome.errorMessage != first->errorMessage))
            output.warning(fmt::format("{} {}: {}", outcome.change.locale, shortLabelOf(outcome.change.field),
                                       *outcome.errorMessage));
}

ExitStatus nothingToPush(Output& output, const PushSelection& selection, std::string_view text) {
    output.document(PushDocument{{}, selection.leftOut, selection.warnings, std::string(text), std::nullopt});
    output.line(text);
    if (!selection.leftOut.empty()) output.line();
    printLeftOut(output, selection.leftOut);
    return someTextWaits(selection) ? ExitStatus::failed : ExitStatus::done;
}

void confirmPush(Invocation& invocation, const std::vector<PendingChange>& changes, std::string_view what) {
    Output& output = invocation.output;
    if (!invocation.global.yes && output.canAsk()) {
        printChanges(output, changes);
        if (!output.confirm(fmt::format("Push {}?", what)))
            throw CommandError(ExitStatus::failed, "Nothing was pushed.");
    }
    output.note(fmt::format("Pushing {}.", what));
}

ExitStatus pushPrepared(Invocation& invocation, AppTarget& target, MetadataController& controller,
                        const MetadataController::PushPreparation& preparation) {
    Output& output = invocation.output;
    const PushSelection& selection = preparation.selection;
    if (invocation.global.dryRun) return showPlan(output, controller.planPush(preparation), selection);

    printWarnings(output, selection.warnings);
    printLeftOut(output, selection.leftOut);
    if (!selection.leftOut.empty()) output.line();
    confirmPush(invocation, selection.chosen,
                fmt::format("{} · {} to {} {} ({})", counted(selection.chosen.size(), "field"),
                            counted(localeCount(selection.chosen), "locale"), target.app().displayName,
                            preparation.context.versionString, preparation.context.id()));
    const auto pushed = [&] {
        const OperationProgress progress(output, controller);
        return controller.push(preparation);
    }();
    output.document(PushDocument{pushed.outcomes, selection.leftOut, selection.warnings, pushed.report,
                                 pushed.sessionId});
    printOutcomes(output, pushed.outcomes);
    output.line();
    output.line(pushed.report);
    checkCancellation();
    return statusOf(pushed.outcomes, target.client().refusals(), selection);
}

ExitStatus push(Invocation& invocation) {
    AppTarget target(invocation, AppTarget::Reach::account);
    (void)target.localStore(); // nothing is imported for a misspelt folder
    const auto controller = target.controller();
    try {
        return pushPrepared(
            invocation, target, *controller,
            controller->preparePush(filterOf(invocation.arguments), target.localContext().text()));
    } catch (const MetadataController::NothingToPush& nothing) {
        return nothingToPush(invocation.output, nothing.preparation.selection, nothing.what());
    }
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
                       {"--allow-clear", "", "Also push changes that remove a text"}},
         .heeds = {"--app", "--workspace", "--context", "--dry-run", "--yes"},
         .run = push,
         .details =
             "Only what changed is sent, one request per locale and resource. Texts over a limit, folders "
             "that are no App Store locale, and changes of nothing but a final line break are left out and "
             "named; a text that is over its limit, begins with a byte order mark or would be removed ends "
             "the push with status 7, or with 1 when nothing could be sent. A failed change does not stop "
             "the others, and pushing again sends only what is missing. A "
             "dry run ends with 0 when something would be sent, whatever is left out, and with 1 when "
             "nothing "
             "can be. "
             "On a terminal the push is confirmed first, unless --yes is given; without a terminal nothing "
             "is asked."},
    };
}

} // namespace quorvel
