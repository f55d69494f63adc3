#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/NotesActions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

std::string whyThisRange(const ReleaseNotesPlan& plan) {
    switch (plan.range.source) {
    case VersionRange::Source::priorVersionTag:
        return fmt::format(", since the version before {}", plan.version.value_or("this one"));
    case VersionRange::Source::mostRecentTag:
        return ", since the newest tag";
    case VersionRange::Source::headOnly:
        return ", the whole history, as there is no tag";
    case VersionRange::Source::given:
        break;
    }
    return {};
}

// With the texts of others cut and escaped by the table.
void printCommits(Output& output, const ReleaseNotesPlan& plan) {
    const auto included = std::ranges::count(plan.commits, true, &ClassifiedCommit::include);
    output.line(fmt::format("{} of {}{}, {} for the draft, in {}", counted(plan.commits.size(), "commit"),
                            plan.range.text(), whyThisRange(plan), included, plan.repository));
    Table table{
        .columns = {{"Kind"}, {"Draft"}, {"Commit"}, {"Subject", Table::Align::left, Table::Fit::cut}},
        .rows = {}};
    for (const auto& [commit, kind, include] : plan.commits) {
        const Style style = include ? Style::plain : Style::dim;
        table.rows.push_back({{std::string(rawValue(kind)), style},
                              include ? Table::Cell{"yes", Style::green} : Table::Cell{"–", style},
                              {commit.shortSha, style},
                              {commit.subject, style}});
    }
    if (!plan.commits.empty()) output.table(table);
    if (plan.isTruncated)
        output.warning(fmt::format("Only the newest {} were read; --from chooses a shorter range",
                                   counted(plan.commits.size(), "commit")));
    if (plan.isShallow)
        output.warning("The clone is shallow: older commits and tags may be missing. "
                       "'git fetch --unshallow --tags' brings them");
}

std::string labelsOf(const std::vector<FieldType>& fields) {
    std::vector<std::string_view> labels;
    for (const FieldType field : fields)
        labels.push_back(shortLabelOf(field));
    return fmt::format("{}", fmt::join(labels, " and "));
}

void printDraft(Output& output, const ReleaseNotesReport& report) {
    for (const DraftedText& text : report.texts) {
        output.line();
        output.styledLine(output.styled(
            Style::bold, fmt::format("{} {}/{}", shortLabelOf(text.field), text.length, text.limit)));
        output.lines(text.text);
    }
    output.line();
    for (const DraftedText& text : report.texts)
        if (text.problem) output.warning(*text.problem);
    output.note(fmt::format("Drafted for {}.", priceText(report.costUSD, report.costIsAtMost)));
}

void printWritten(Output& output, const WrittenNotes& notes) {
    for (const auto& [draft, outcome, file, backup] : notes.texts) {
        const std::string name = fmt::format("{} {}", notes.locale, shortLabelOf(draft.field));
        switch (outcome) {
        case NoteOutcome::written:
            output.line(fmt::format("Wrote {}: {}", name, file));
            break;
        case NoteOutcome::unchanged:
            output.line(fmt::format("{} holds this text already.", name));
            break;
        case NoteOutcome::edited:
            output.warning(
                fmt::format("{} holds an edit that was not pushed, so it was left as it is", name));
            break;
        case NoteOutcome::safeMode:
            output.warning(fmt::format("{} was left as it is: the locale's safe mode keeps its text", name));
            break;
        case NoteOutcome::firstVersion:
            output.warning(fmt::format("{} was not written: a first version takes no release notes", name));
            break;
        }
        if (backup) output.note(fmt::format("The text that was there was backed up as {}", *backup));
    }
    if (std::ranges::find(notes.texts, NoteOutcome::written, &WrittenNotes::Text::outcome) !=
        notes.texts.end())
        output.note("Read them with 'quorvel diff', then edit them or accept them with "
                    "'quorvel translate --accept', and push.");
}

// A first version's release notes are nothing that was left out.
ExitStatus statusOfWriting(const WrittenNotes& notes) {
    bool isWhole = true;
    bool isAny = false;
    for (const auto& text : notes.texts) {
        if (text.outcome == NoteOutcome::firstVersion) continue;
        const bool isThere = text.outcome == NoteOutcome::written || text.outcome == NoteOutcome::unchanged;
        isAny = isAny || isThere;
        isWhole = isWhole && isThere && !text.draft.problem;
    }
    if (isWhole) return ExitStatus::done;
    return isAny ? ExitStatus::partlyDone : ExitStatus::failed;
}

// Nobody is to pay for a draft that cannot be written then.
void requireReplaceable(const Invocation& invocation, const ReleaseNotesPlan& plan) {
    if (plan.edits.empty() || invocation.global.yes || invocation.output.canAsk()) return;
    throw UsageError(
        fmt::format("{} of {} holds an edit that was not pushed; replacing it needs --yes where nobody "
                    "can be asked",
                    labelsOf(plan.edits), plan.locale),
        "Nothing was asked or written. Push the edit first, or leave out --write.");
}

ExitStatus writeNotes(Invocation& invocation, const ReleaseNotesPlan& plan,
                      const ReleaseNotesReport& report) {
    auto request = requestOf<WriteReleaseNotes::Request>(invocation);
    request.context = plan.context;
    request.draft = {report.texts.at(0).text, report.texts.at(1).text};
    request.replaceEdits = invocation.global.yes;
    if (!plan.edits.empty() && !invocation.global.yes)
        request.replaceEdits = invocation.output.confirm(
            fmt::format("{} of {} holds an edit that was not pushed. Replace it? It is backed up first.",
                        labelsOf(plan.edits), plan.locale));
    const auto result = perform<WriteReleaseNotes>(invocation, request);
    invocation.output.document(result);
    printWritten(invocation.output, result.notes);
    return statusOfWriting(result.notes);
}

ExitStatus draftNotes(Invocation& invocation) {
    Output& output = invocation.output;
    const Arguments& arguments = invocation.arguments;
    const bool writes = arguments.has("--write");
    auto request = requestOf<PlanReleaseNotes::Request>(invocation);
    request.repository = arguments.value("--repo");
    request.from = arguments.value("--from");
    request.to = arguments.value("--to");
    request.include = listOf(arguments, "--include");
    request.exclude = listOf(arguments, "--exclude");
    request.mustBeWritable = writes;
    const auto planned = perform<PlanReleaseNotes>(invocation, request);
    const ReleaseNotesPlan& plan = planned.plan;
    printCommits(output, plan);
    if (invocation.global.dryRun) {
        output.document(planned);
        if (!plan.prompt) throw ReleaseNotesError::noUserRelevantCommits();
        if (writes && !plan.edits.empty())
            output.note(
                fmt::format("{} of {} holds an edit that was not pushed; replacing it would be asked about.",
                            labelsOf(plan.edits), plan.locale));
        if (invocation.global.verbose && !output.isJSON())
            output.raw(plan.prompt->system + "\n\n" + plan.prompt->user + "\n");
        output.note(
            fmt::format("Dry run: one request would be sent at an estimated cost of {}, nothing was.{}",
                        priceText(plan.estimatedCostUSD, plan.costIsAtMost),
                        invocation.global.verbose ? "" : " --verbose shows the prompt."));
        return ExitStatus::done;
    }
    if (writes) requireReplaceable(invocation, plan);
    confirmCost(invocation, plan.estimatedCostUSD, plan.costIsAtMost);
    const auto drafted = perform<DraftReleaseNotes>(
        invocation, {plan, request.workspace, request.folder, arguments.has("--fresh")});
    printDraft(output, drafted.report);
    if (writes) return writeNotes(invocation, plan, drafted.report);
    output.document(drafted);
    output.note(fmt::format("--write puts both into the files of {}.", plan.locale));
    return ExitStatus::done;
}

} // namespace

std::vector<Command> notesCommands() {
    using Need = ArgumentSpec::Need;
    using Count = ArgumentSpec::Count;
    return {
        {.name = "notes",
         .summary = "Draft release notes from the commits of a git repository",
         .arguments = {{"--repo", "DIR",
                        "A folder in the repository, instead of the working folder's or the app's"},
                       {"--from", "TAG", "Begin after this tag or commit, instead of the version before"},
                       {"--to", "REV", "End with this commit, instead of HEAD"},
                       {"--include",
                        "SHA",
                        "Take this commit in, though its kind is left out",
                        {},
                        Need::optional,
                        Count::repeated},
                       {"--exclude", "SHA", "Leave this commit out", {}, Need::optional, Count::repeated},
                       {"--write", "", "Write both texts into the files of the source locale"},
                       freshArgument(),
                       folderArgument()},
         .heeds = {"--app", "--workspace", "--context", "--dry-run", "--yes"},
         .run = draftNotes,
         .details =
             "Lists the commits since the tag of the greatest version below the one in preparation ('v1.2', "
             "'release/1.2', '1.2-45'), else since the newest tag, each with its kind, and drafts \"What's New\" and "
             "the promotional text from those that users notice: features, fixes, speed, looks and what tells no "
             "kind. Chores, merges, documentation and refactorings are left out unless --include names them. "
             "The subjects of the included commits are sent to the AI service, and nothing else of the repository. "
             "A dry run shows the commits and the estimated cost, with --verbose the prompt, and needs no service. "
             "--write marks the texts as unread, as 'quorvel translate' does, and backs up what they replace; an edit "
             "that was not pushed is replaced after a question or with --yes only. A first version takes no release "
             "notes, so only its promotional text is written. For example: "
             "quorvel notes --from v1.1 --exclude 3f2a9c1 --write"}};
}

} // namespace quorvel
