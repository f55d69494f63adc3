#include "Core/metadata/PlatformContext.h"
#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/PartEnd.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/BuildOptions.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Quorvel/actions/TestFlightActions.h"
#include "Quorvel/actions/TestNotesActions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

constexpr std::string_view nothingSent = "Dry run: nothing was sent.";

ArgumentSpec groupOption() {
    return {"--group", "GROUP", "The group, by name or id", {}, ArgumentSpec::Need::required};
}

std::vector<ArgumentSpec> withBuildOptions(std::vector<ArgumentSpec> arguments) {
    arguments.push_back({"--build", "NUMBER", "This build instead of the newest that is processed"});
    arguments.push_back({"--version", "VERSION", "Only builds of this version"});
    arguments.push_back(
        {"--platform", "PLATFORM", "Only builds for this platform", {"ios", "macos", "tvos", "visionos"}});
    return arguments;
}

void noteRemarks(Output& output, const std::vector<std::string>& remarks) {
    for (const std::string& remark : remarks)
        output.note(remark + ".");
}

std::string kindOfGroup(const TestGroup& group) {
    return group.isInternal ? "internal" : "external";
}

ExitStatus listTestGroups(Invocation& invocation) {
    const auto result = perform<ListTestGroups>(invocation, requestOf<ListTestGroups::Request>(invocation));
    invocation.output.document(result);
    Table table{.columns = {{"Group"},
                            {"Kind"},
                            {"Testers", Table::Align::right},
                            {"Builds", Table::Align::right},
                            {"Newest build", Table::Align::left, Table::Fit::drop},
                            {"Public link", Table::Align::left, Table::Fit::drop},
                            {"ID", Table::Align::left, Table::Fit::cut}},
                .rows = {}};
    for (const auto& each : result.groups)
        table.rows.push_back({each.group.name, kindOfGroup(each.group), std::to_string(each.testers),
                              each.builds ? std::to_string(*each.builds) : "all",
                              each.newestBuild.value_or(""), each.publicLink.value_or(""), each.group.id});
    invocation.output.table(table);
    if (result.groups.empty())
        invocation.output.note(
            fmt::format("{} has no group of testers. Make one with 'quorvel testflight groups create NAME'.",
                        escapeControls(result.app.displayName)));
    return ExitStatus::done;
}

ExitStatus createTestGroup(Invocation& invocation) {
    Output& output = invocation.output;
    auto request = requestOf<PlanTestGroup::Request>(invocation);
    request.name = *invocation.arguments.value("NAME");
    request.isInternal = invocation.arguments.has("--internal");
    const auto planned = perform<PlanTestGroup>(invocation, request);
    const TestGroupPlan& plan = planned.plan;
    const std::string what = fmt::format("the {} group {} of {}", plan.isInternal ? "internal" : "external",
                                         plan.name, plan.app.displayName);
    if (invocation.global.dryRun) {
        output.document(planned);
        output.line(fmt::format("Would make {}.", what));
        output.note(nothingSent);
        return ExitStatus::done;
    }
    const Consent consent = askConsent(invocation, {fmt::format("Make {}?", what), "Nothing was made."});
    const auto result = perform<CreateTestGroup>(invocation, {plan, invocation.global.workspace}, consent);
    output.document(result);
    output.line(fmt::format("Made {}.", what));
    return ExitStatus::done;
}

ExitStatus listTesters(Invocation& invocation) {
    auto request = requestOf<ListTesters::Request>(invocation);
    request.group = *invocation.arguments.value("--group");
    const auto result = perform<ListTesters>(invocation, request);
    invocation.output.document(result);
    Table table{.columns = {{"E-mail"},
                            {"Name", Table::Align::left, Table::Fit::cut},
                            {"State"},
                            {"Invited by", Table::Align::left, Table::Fit::drop}},
                .rows = {}};
    for (const auto& tester : result.testers) {
        const auto& attributes = tester.attributes;
        const std::string name =
            fmt::format("{} {}", attributes.firstName.value_or(""), attributes.lastName.value_or(""));
        table.rows.push_back({attributes.email.value_or("(anonymous)"), trim(name),
                              attributes.state.value_or(""), attributes.inviteType.value_or("")});
    }
    invocation.output.table(table);
    if (result.testers.empty())
        invocation.output.note(fmt::format("{} has no testers yet.", escapeControls(result.group.name)));
    return ExitStatus::done;
}

void tellTesterPlan(Output& output, const TesterPlan& plan) {
    for (const TesterFileProblem& problem : plan.problems)
        output.warning(fmt::format("line {}: {}", problem.line, problem.text));
    for (const TesterFileProblem& repeated : plan.repeated)
        output.note(fmt::format("line {}: {}", repeated.line, repeated.text));
    if (!plan.present.empty())
        output.note(fmt::format("{} {} in {} already.", counted(plan.present.size(), "tester"),
                                plan.present.size() == 1 ? "is" : "are", escapeControls(plan.group.name)));
    if (plan.group.isInternal && !plan.testers.empty())
        output.note(fmt::format("{} is internal: App Store Connect takes only members of your team.",
                                escapeControls(plan.group.name)));
}

// As adding ends when nothing fails on the way.
ExitStatus endOfPlan(const TesterPlan& plan) {
    if (plan.problems.empty()) return ExitStatus::done;
    return plan.testers.empty() && plan.present.empty() ? ExitStatus::failed : ExitStatus::partlyDone;
}

std::string testerLine(const BetaTesterCreateAttributes& tester) {
    const std::string name =
        fmt::format("{} {}", tester.firstName.value_or(""), tester.lastName.value_or(""));
    return isBlank(name) ? tester.email : fmt::format("{} ({})", tester.email, trim(name));
}

ExitStatus addPlannedTesters(Invocation& invocation, const PlanTesters::Request& request) {
    Output& output = invocation.output;
    const auto planned = perform<PlanTesters>(invocation, request);
    const TesterPlan& plan = planned.plan;
    tellTesterPlan(output, plan);
    const std::string what = fmt::format("{} to {} of {}", counted(plan.testers.size(), "tester"),
                                         plan.group.name, plan.app.displayName);
    const auto list = [&](Output& shown) {
        for (const BetaTesterCreateAttributes& tester : plan.testers)
            shown.line("  " + testerLine(tester));
    };
    if (invocation.global.dryRun) {
        output.document(planned);
        output.line(fmt::format("Would add {}{}", what, plan.testers.empty() ? "." : ":"));
        list(output);
        output.note(nothingSent);
        return endOfPlan(plan);
    }
    const Consent consent =
        plan.testers.empty()
            ? consentToNothing()
            : askConsent(invocation,
                         {fmt::format("Add {}? They are invited once the group has a build.", what),
                          "Nobody was added.", list});
    const auto result = perform<AddTesters>(invocation, {plan, invocation.global.workspace}, consent);
    output.document(result);
    const PartEnd end =
        tellFailures(output, result.outcomes, [](const auto& outcome) { return outcome.email; });
    output.line(plan.testers.empty()
                    ? "Nobody to add."
                    : fmt::format("Added {} to {}.", counted(end.succeeded, "tester"), plan.group.name));
    const ExitStatus status = end.status();
    if (status == ExitStatus::done) return endOfPlan(plan);
    return plan.present.empty() ? status : ExitStatus::partlyDone;
}

ExitStatus addTesters(Invocation& invocation) {
    const Arguments& arguments = invocation.arguments;
    auto request = requestOf<PlanTesters::Request>(invocation);
    request.group = *arguments.value("--group");
    const auto addresses = arguments.values("EMAIL");
    if (addresses.size() > 1 && (arguments.has("--first-name") || arguments.has("--last-name")))
        throw UsageError("--first-name and --last-name are for one tester",
                         "'quorvel testflight testers import FILE' takes many with their names.");
    for (const std::string& address : addresses)
        request.testers.push_back({arguments.value("--first-name"), arguments.value("--last-name"), address});
    return addPlannedTesters(invocation, request);
}

ExitStatus importTesters(Invocation& invocation) {
    auto request = requestOf<PlanTesters::Request>(invocation);
    request.group = *invocation.arguments.value("--group");
    request.file = invocation.arguments.value("FILE");
    return addPlannedTesters(invocation, request);
}

ExitStatus showTestNotes(Invocation& invocation) {
    const auto result =
        perform<ShowTestNotes>(invocation, buildRequestOf<ShowTestNotes::Request>(invocation, "--build"));
    Output& output = invocation.output;
    output.document(result);
    noteRemarks(output, result.remarks);
    output.line(fmt::format("What to test in {}:", nameOf(result.build)));
    for (const auto& [locale, text] : result.notes) {
        output.line();
        output.line(output.styled(Style::bold, locale));
        output.lines(text.empty() ? "(nothing)" : text);
    }
    if (result.notes.empty()) output.note("No notes yet. 'quorvel testflight notes set' writes them.");
    return ExitStatus::done;
}

void listNotesChanges(Output& output, const TestNotesPlan& plan) {
    for (const TestNotesChange& change : plan.changes)
        output.line(fmt::format("  {} {}: {}", change.locale,
                                change.before.value_or("").empty() ? "new" : "changed",
                                onOneLine(change.after)));
}

ExitStatus setTestNotes(Invocation& invocation) {
    Output& output = invocation.output;
    auto request = buildRequestOf<PlanTestNotes::Request>(invocation, "--build");
    request.text = invocation.arguments.value("--text");
    request.tree = invocation.arguments.value("--from");
    request.releaseNotes = invocation.arguments.has("--release-notes");
    request.locales = listOf(invocation.arguments, "--locale");
    const auto planned = perform<PlanTestNotes>(invocation, request);
    const TestNotesPlan& plan = planned.plan;
    noteRemarks(output, plan.remarks);
    const std::string what = fmt::format("what to test in {} of {} in {}", nameOf(plan.build),
                                         plan.app.displayName, counted(plan.changes.size(), "locale"));
    if (invocation.global.dryRun) {
        output.document(planned);
        output.line(fmt::format("Would write {} ({} unchanged).", what, plan.unchanged.size()));
        listNotesChanges(output, plan);
        output.note(nothingSent);
        return ExitStatus::done;
    }
    const Consent consent =
        plan.changes.empty()
            ? consentToNothing()
            : askConsent(invocation, {fmt::format("Write {}?", what), "Nothing was written.",
                                      [&](Output& terminal) { listNotesChanges(terminal, plan); }});
    const auto result = perform<WriteTestNotes>(invocation, {plan, invocation.global.workspace}, consent);
    output.document(result);
    const PartEnd end =
        tellFailures(output, result.outcomes, [](const auto& outcome) { return outcome.locale; });
    output.line(plan.changes.empty()
                    ? fmt::format("Nothing to write — {} has these notes.", nameOf(plan.build))
                    : fmt::format("Wrote what to test in {} in {}.", nameOf(plan.build),
                                  counted(end.succeeded, "locale")));
    const ExitStatus status = end.status();
    return status != ExitStatus::done && !plan.unchanged.empty() ? ExitStatus::partlyDone : status;
}

std::string namesOfGroups(const std::vector<TestGroup>& groups) {
    std::vector<std::string> names;
    for (const TestGroup& group : groups)
        names.push_back(group.name);
    return fmt::format("{}", fmt::join(names, ", "));
}

ExitStatus addBuildToTesters(Invocation& invocation) {
    Output& output = invocation.output;
    auto request = buildRequestOf<PlanBuildToGroups::Request>(invocation, "--build");
    request.groups = invocation.arguments.values("--group");
    if (const auto notify = invocation.arguments.value("--notify")) request.notify = *notify == "yes";
    const auto planned = perform<PlanBuildToGroups>(invocation, request);
    const BuildToGroupsPlan& plan = planned.plan;
    noteRemarks(output, plan.remarks);
    std::vector<TestGroup> have = plan.present;
    std::erase_if(have, [](const TestGroup& group) { return group.getsAllBuilds; }); // a remark says so
    if (!have.empty())
        output.note(fmt::format("{} {} it already.", escapeControls(namesOfGroups(have)),
                                have.size() == 1 ? "has" : "have"));
    const std::string what =
        fmt::format("{} of {} to {}", nameOf(plan.build), plan.app.displayName, namesOfGroups(plan.groups));
    const bool nothingToDo = plan.groups.empty() && !plan.notify;
    if (invocation.global.dryRun) {
        output.document(planned);
        output.line(plan.groups.empty() ? "No group would get the build."
                                        : fmt::format("Would give {}.", what));
        output.note(nothingSent);
        return ExitStatus::done;
    }
    const std::string question = plan.groups.empty()
                                     ? fmt::format("Change who is told of {} by itself?", nameOf(plan.build))
                                     : fmt::format("Give {}? Its testers are invited to it.", what);
    const Consent consent =
        nothingToDo ? consentToNothing() : askConsent(invocation, {question, "Nothing was changed."});
    const auto result = perform<AddBuildToGroups>(invocation, {plan, invocation.global.workspace}, consent);
    output.document(result);
    const PartEnd end =
        tellFailures(output, result.outcomes, [](const auto& outcome) { return outcome.group.name; });
    if (plan.groups.empty())
        output.line(plan.notify ? fmt::format("Testers are{} told of {} by themselves.",
                                              *plan.notify ? "" : " not", nameOf(plan.build))
                                : fmt::format("Nothing to do — every group has {}.", nameOf(plan.build)));
    else
        output.line(fmt::format("Gave {} to {}.", nameOf(plan.build), counted(end.succeeded, "group")));
    if (result.externalState == "READY_FOR_BETA_SUBMISSION" &&
        std::ranges::any_of(plan.groups, [](const TestGroup& group) { return !group.isInternal; }))
        output.note("External testers get it after beta review: 'quorvel testflight submit' asks for that.");
    const ExitStatus status = end.status();
    return status != ExitStatus::done && !plan.present.empty() ? ExitStatus::partlyDone : status;
}

ExitStatus submitForBeta(Invocation& invocation) {
    Output& output = invocation.output;
    const auto planned =
        perform<PlanBetaReview>(invocation, buildRequestOf<PlanBetaReview::Request>(invocation, "--build"));
    const BetaReviewPlan& plan = planned.plan;
    noteRemarks(output, plan.remarks);
    const std::string what =
        fmt::format("{} of {} for beta review", nameOf(plan.build), plan.app.displayName);
    if (invocation.global.dryRun) {
        output.document(planned);
        output.line(plan.betaReviewState ? fmt::format("{} was submitted already: {}.", nameOf(plan.build),
                                                       *plan.betaReviewState)
                                         : fmt::format("Would submit {}.", what));
        output.note(nothingSent);
        return ExitStatus::done;
    }
    const Consent consent =
        plan.betaReviewState ? consentToNothing()
                             : askConsent(invocation, {fmt::format("Submit {} ({} with what to test)?", what,
                                                                   counted(plan.locales.size(), "locale")),
                                                       "Nothing was submitted."});
    const auto result =
        perform<SubmitForBetaReview>(invocation, {plan, invocation.global.workspace}, consent);
    output.document(result);
    output.line(result.end == StepEnd::wasDone
                    ? fmt::format("{} was submitted already: {}.", nameOf(plan.build), result.betaReviewState)
                    : fmt::format("Submitted {}: {}.", what, result.betaReviewState));
    return ExitStatus::done;
}

} // namespace

std::vector<Command> testFlightCommands() {
    using Need = ArgumentSpec::Need;
    using Count = ArgumentSpec::Count;
    return {
        {.name = "testflight", .summary = "Give builds to testers"},
        {.name = "testflight groups",
         .summary = "List the groups of testers with their testers and builds",
         .heeds = {"--app", "--workspace"},
         .run = listTestGroups,
         .details = "Internal groups hold members of the team and need no beta review; external ones hold "
                    "anybody with an e-mail address."},
        {.name = "testflight groups create",
         .summary = "Make a group of testers",
         .arguments = {{"NAME", "NAME", "The group's name", {}, Need::required},
                       {"--internal", "", "For members of the team"}},
         .heeds = {"--app", "--workspace", "--dry-run", "--yes"},
         .run = createTestGroup,
         .details = "Example: quorvel testflight groups create \"Allotment Friends\"",
         .asksFirst = true},
        {.name = "testflight testers",
         .summary = "List the testers of a group",
         .arguments = {groupOption()},
         .heeds = {"--app", "--workspace"},
         .run = listTesters},
        {.name = "testflight testers add",
         .summary = "Let testers join a group",
         .arguments = {{"EMAIL", "EMAIL", "The tester's address", {}, Need::required, Count::repeated},
                       groupOption(),
                       {"--first-name", "NAME", "The tester's first name"},
                       {"--last-name", "NAME", "The tester's last name"}},
         .heeds = {"--app", "--workspace", "--dry-run", "--yes"},
         .run = addTesters,
         .details =
             "Who is in the group already is not added again. "
             "Example: quorvel testflight testers add yuki@example.com --group Friends --first-name Yuki",
         .asksFirst = true},
        {.name = "testflight testers import",
         .summary = "Let the testers of a CSV file join a group",
         .arguments = {{"FILE", "FILE", "The file, in UTF-8", {}, Need::required}, groupOption()},
         .heeds = {"--app", "--workspace", "--dry-run", "--yes"},
         .run = importTesters,
         .details =
             "A first line without any address names the columns (First Name, Last Name, Email, in any "
             "order; others are left out). Without such a line the address tells its own column, and the "
             "others are the first and the last name. Commas, semicolons and tabs separate values. "
             "Lines without a proper address are named and end the import with status 7; the others are "
             "added, each address once, and nobody who is in the group already. "
             "Example: quorvel testflight testers import testers.csv --group Friends --dry-run",
         .asksFirst = true},
        {.name = "testflight notes",
         .summary = "Show what the testers of a build are told to test",
         .arguments = withBuildOptions({}),
         .heeds = {"--app", "--workspace"},
         .run = showTestNotes},
        {.name = "testflight notes set",
         .summary = "Tell the testers of a build what to test",
         .arguments = withBuildOptions(
             {{"--text", "TEXT", "This text, for the app's primary locale or those of --locale"},
              {"--from", "PATH", "A folder of files such as de-DE.txt, or a file in place of --text"},
              {"--release-notes", "", "The release notes of the local store texts"},
              {"--locale", "LOCALE", "Only this locale", {}, Need::optional, Count::repeated},
              folderArgument()}),
         .heeds = {"--app", "--workspace", "--context", "--dry-run", "--yes"},
         .run = setTestNotes,
         .details =
             "Only locales whose text differs are written. One line break at a file's end is left out. "
             "Example: quorvel testflight notes set --release-notes --build 352",
         .asksFirst = true},
        {.name = "testflight add",
         .summary = "Give a build to groups of testers",
         .arguments = withBuildOptions(
             {{"--group", "GROUP", "A group, by name or id", {}, Need::required, Count::repeated},
              {"--notify", "CHOICE", "Whether testers are told of the build by themselves", {"yes", "no"}}}),
         .heeds = {"--app", "--workspace", "--dry-run", "--yes"},
         .run = addBuildToTesters,
         .details = "The newest processed build goes unless --build names another; those that are newer and "
                    "cannot go are named. A group that has the build already is left alone. "
                    "Example: quorvel testflight add --group Friends --group Translators --build 352",
         .asksFirst = true},
        {.name = "testflight submit",
         .summary = "Submit a build for beta review, which external testers need",
         .arguments = withBuildOptions({}),
         .heeds = {"--app", "--workspace", "--dry-run", "--yes"},
         .run = submitForBeta,
         .details = "The build must say what to test and have its answer on encryption. A build that was "
                    "submitted already is left alone. Example: quorvel testflight submit --build 352",
         .asksFirst = true},
    };
}

} // namespace quorvel
