#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/ChangeRendering.h"
#include "Programs/quorvel/Editor.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/ConflictActions.h"
#include "Quorvel/application/Application.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

using Conflict = ListConflicts::Conflict;
using Resolved = ResolveConflicts::Result;

ArgumentSpec localesOption() {
    return {"--locale",
            "LOCALE",
            "Only this locale",
            {},
            ArgumentSpec::Need::optional,
            ArgumentSpec::Count::repeated};
}

template <typename Request>
Request conflictsRequest(const Invocation& invocation) {
    auto request = requestOf<Request>(invocation);
    request.locales = listOf(invocation.arguments, "--locale");
    for (const std::string& field : invocation.arguments.values("--field"))
        request.fields.push_back(*fromRawValue<FieldType>(field));
    return request;
}

void printSide(Output& output, const Conflict& conflict, std::string_view explanation,
               const std::vector<DiffTexts::Segment>& segments) {
    std::vector<DiffSegment> words;
    for (const auto& [kind, text] : segments)
        words.push_back({kind, text});
    printTextChange(output, {conflict.locale, conflict.field}, explanation, words);
}

void printConflict(Output& output, const Conflict& conflict, Date now) {
    if (conflict.problem) {
        output.warning(fmt::format("{} {}: {}", shownLocale(conflict.locale), shortLabelOf(conflict.field),
                                   *conflict.problem));
        return;
    }
    const std::string since =
        conflict.since ? fmt::format(", pulled {}", relativeTime(*conflict.since, now)) : "";
    if (isSecret(conflict.field)) { // there are no words to show
        printSide(output, conflict,
                  fmt::format("Ours: {} here", conflict.ours.empty() ? "removed" : "another one"), {});
        printSide(output, conflict,
                  fmt::format("Theirs: {} on App Store Connect{}",
                              conflict.theirs.empty() ? "removed" : "another one", since),
                  {});
        return;
    }
    printSide(output, conflict,
              conflict.isEdited ? "Ours: your text, edited since the pull" : "Ours: your text",
              conflict.here);
    printSide(output, conflict, "Theirs: App Store Connect's text" + since, conflict.there);
}

ExitStatus showConflicts(Invocation& invocation) {
    const auto result =
        perform<ListConflicts>(invocation, conflictsRequest<ListConflicts::Request>(invocation));
    Output& output = invocation.output;
    output.document(result);
    const Date now = invocation.application.clock()();
    for (const Conflict& conflict : result.conflicts)
        printConflict(output, conflict, now);
    output.line(result.conflicts.empty()
                    ? fmt::format("{}: no conflicts.", result.context)
                    : fmt::format("{}: {}, each against the text that both sides began with.", result.context,
                                  counted(result.conflicts.size(), "conflict")));
    if (!result.conflicts.empty())
        output.note(
            "'quorvel resolve --ours', '--theirs' or '--edit' settles one, with --locale and --field, "
            "or --all of them; until then they are left out of a push.");
    return ExitStatus::done;
}

// The conflicts that the options name, or the only one there is.
std::vector<Conflict> chosenConflicts(Invocation& invocation) {
    const auto request = conflictsRequest<ListConflicts::Request>(invocation);
    const bool isNamed = !request.locales.empty() || !request.fields.empty();
    const bool wantsAll = invocation.arguments.has("--all");
    if (wantsAll && isNamed) throw UsageError("--all and naming a locale or field exclude each other");
    auto conflicts = perform<ListConflicts>(invocation, request).conflicts;
    if (conflicts.empty() && isNamed)
        throw CommandError(ExitStatus::notFound, "nothing of what was named is in conflict",
                           "'quorvel conflicts' lists those that are open.");
    if (conflicts.size() > 1 && !isNamed && !wantsAll)
        throw UsageError(fmt::format("{} are open", counted(conflicts.size(), "conflict")),
                         "Name one with --locale and --field, or take --all.");
    return conflicts;
}

void printSettled(Output& output, const Resolved& result) {
    std::vector<FieldKey> sent, equal;
    bool clears = false;
    for (const ResolveConflicts::Settled& one : result.settled) {
        if (!one.leftOut) (one.isPending ? sent : equal).push_back({one.locale, one.field});
        clears |= one.leftOut == LeftOutReason::clearsField;
        if (one.kept)
            output.warning(fmt::format("{} {} was edited since the pull; the edit is backed up as {}",
                                       shownLocale(one.locale), shortLabelOf(one.field), *one.kept));
    }
    if (!sent.empty())
        output.line(fmt::format("{} settled, sent by the next push: {}.", sent.size(), placesOf(sent)));
    if (!equal.empty())
        output.line(
            fmt::format("{} settled, the same as on App Store Connect: {}.", equal.size(), placesOf(equal)));
    for (const ResolveConflicts::Settled& one : result.settled)
        if (one.leftOut)
            output.warning(fmt::format("{} {} is settled, but a push leaves it out. {}",
                                       shownLocale(one.locale), shortLabelOf(one.field),
                                       one.leftOutBecause.value_or("")));
    if (clears) output.note("'quorvel push --allow-clear' removes texts from App Store Connect.");
    if (result.open > 0)
        output.note(
            fmt::format("{} still open.", counted(static_cast<std::size_t>(result.open), "conflict")));
}

// One after the other, so that what is settled stays settled when a later one is broken off.
ExitStatus resolveByEditing(Invocation& invocation, const std::vector<Conflict>& conflicts) {
    Output& output = invocation.output;
    Resolved total;
    std::size_t failed = 0;
    for (const Conflict& conflict : conflicts) {
        auto request = requestOf<ConflictRequest>(invocation);
        request.locale = conflict.locale;
        request.field = conflict.field;
        try {
            const auto prepared = perform<PrepareConflictEdit>(invocation, request);
            if (!editFile(invocation, prepared.file)) {
                output.warning(
                    fmt::format("{} {} is not settled: the editor ended with an error; what was edited "
                                "is in {}",
                                shownLocale(conflict.locale), shortLabelOf(conflict.field), prepared.file));
                ++failed;
                continue;
            }
            Resolved one = perform<FinishConflictEdit>(invocation, request);
            total.app = std::move(one.app);
            total.settled.push_back(std::move(one.settled.front()));
        } catch (const MetadataError& error) {
            output.warning(error.what());
            ++failed;
        }
    }
    total.context = perform<ListConflicts>(invocation, requestOf<ConflictsRequest>(invocation)).context;
    total.open = static_cast<std::int64_t>(failed);
    output.document(total);
    printSettled(output, total);
    if (failed == 0) return ExitStatus::done;
    return total.settled.empty() ? ExitStatus::failed : ExitStatus::partlyDone;
}

ExitStatus resolve(Invocation& invocation) {
    const Arguments& arguments = invocation.arguments;
    if (arguments.has("--ours") + arguments.has("--theirs") + arguments.has("--edit") != 1)
        throw UsageError("Say whose text stands with one of --ours, --theirs and --edit");
    const std::vector<Conflict> conflicts = chosenConflicts(invocation);
    Output& output = invocation.output;
    if (conflicts.empty()) {
        output.document(Resolved{});
        output.line("No conflicts.");
        return ExitStatus::done;
    }
    if (arguments.has("--edit")) return resolveByEditing(invocation, conflicts);
    auto request = conflictsRequest<ResolveConflicts::Request>(invocation);
    request.side = arguments.has("--ours") ? ConflictSide::ours : ConflictSide::theirs;
    const auto result = perform<ResolveConflicts>(invocation, request);
    output.document(result);
    printSettled(output, result);
    return ExitStatus::done;
}

} // namespace

std::vector<Command> conflictCommands() {
    return {
        {.name = "conflicts",
         .summary = "Show the texts that were changed here and on App Store Connect",
         .arguments = {folderArgument(), localesOption(), fieldOption(Fields::all)},
         .heeds = {"--app", "--workspace", "--context"},
         .run = showConflicts,
         .details =
             "A pull merges texts that were changed in different paragraphs; what it cannot merge is a "
             "conflict: the file has App Store Connect's text then, and yours is kept; of the demo password, "
             "whose texts are shown nowhere, the file keeps yours. Each side is shown "
             "word by word against the text that both began with. Asks nobody. "
             "Example: quorvel conflicts --locale de-DE"},
        {.name = "resolve",
         .summary = "Settle conflicts: with your texts, App Store Connect's, or an editor",
         .arguments = {folderArgument(),
                       {"--ours", "", "Your text stands; the next push sends it"},
                       {"--theirs", "", "App Store Connect's text stands"},
                       {"--edit", "", "Edit both texts into one, in the editor of VISUAL or EDITOR"},
                       localesOption(),
                       fieldOption(Fields::all),
                       {"--all", "", "All conflicts of the version"}},
         .heeds = {"--app", "--workspace", "--context"},
         .run = resolve,
         .details =
             "What you edited in the file after the pull counts as your text. An editor that fails, an "
             "unchanged text, or a mark that is left settles nothing and loses nothing; --edit goes on "
             "where it was. Status 7 tells that some were not settled. "
             "Example: quorvel resolve --ours --locale de-DE --field description"},
    };
}

} // namespace quorvel
