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
#include <map>
#include <set>
#include <utility>

namespace quorvel {

namespace {

using Pull = PullTexts::Pull;

constexpr std::string_view afterBackupText = "Copy back what you want of it, then push.";
constexpr std::string_view afterConflictText =
    "'quorvel conflicts' shows both texts, 'quorvel resolve' settles them; until then a push leaves them out.";

std::string textsOf(const std::vector<FieldKey>& keys) {
    return counted(keys.size(), "text");
}

// Edits that were replaced without a merge and without a conflict.
std::vector<KeptEdit> replacedEdits(const PullResult& result) {
    std::vector<KeptEdit> replaced = result.kept;
    std::erase_if(replaced, [&](const KeptEdit& edit) {
        const FieldKey key{edit.locale, edit.field};
        return std::ranges::find(result.merged, key) != result.merged.end() ||
               std::ranges::find(result.conflicts, key) != result.conflicts.end();
    });
    return replaced;
}

void printEdits(Output& output, const PullResult& result, std::string_view lead = {}) {
    for (const std::string& warning : result.summary.warnings)
        output.warning(fmt::format("{}{}", lead, warning));
    printBackups(output, replacedEdits(result), Backups::made, lead);
    if (!result.leftEdits.empty())
        output.note(fmt::format("{}{} edited locally, left in place: {}", lead, textsOf(result.leftEdits),
                                placesOf(result.leftEdits)));
    if (!result.merged.empty())
        output.note(fmt::format("{}{} edited here and on App Store Connect, merged: {}", lead,
                                textsOf(result.merged), placesOf(result.merged)));
    std::vector<FieldKey> replaced, secrets;
    for (const FieldKey& key : result.conflicts)
        (isSecret(key.field) ? secrets : replaced).push_back(key);
    if (!replaced.empty())
        output.warning(
            fmt::format("{}{} in conflict, with App Store Connect's text in the file and yours kept: {}",
                        lead, textsOf(replaced), placesOf(replaced)));
    if (!secrets.empty())
        output.warning(fmt::format("{}{} in conflict, with yours left in the file: {}", lead,
                                   textsOf(secrets), placesOf(secrets)));
}

void printAdvice(Output& output, bool replaced, bool inConflict) {
    if (replaced) output.note(afterBackupText);
    if (inConflict) output.note(afterConflictText);
}

std::string_view whatBecomes(const PullResult& result, const FieldKey& key) {
    const auto holds = [&](const std::vector<FieldKey>& keys) {
        return std::ranges::find(keys, key) != keys.end();
    };
    if (holds(result.conflicts) && isSecret(key.field)) return "conflict: yours stays in the file";
    if (holds(result.conflicts)) return "conflict: App Store Connect's text, yours would be kept";
    if (holds(result.merged)) return "merge of both texts";
    if (holds(result.leftEdits)) return "your edit stays";
    const bool isKept = std::ranges::any_of(result.kept, [&](const KeptEdit& edit) {
        return FieldKey{edit.locale, edit.field} == key;
    });
    return isKept ? "new text, yours would be backed up" : "new text";
}

// What a pull would do with each text that it would not leave as it is.
void printDryRun(Output& output, const Pull& pull, std::string_view lead = {}) {
    const PullResult& result = *pull.result;
    std::set<FieldKey> keys(result.updated.begin(), result.updated.end());
    keys.insert(result.leftEdits.begin(), result.leftEdits.end());
    keys.insert(result.conflicts.begin(), result.conflicts.end());
    std::map<std::pair<std::string, std::string_view>, std::vector<std::string_view>> fields;
    for (const FieldKey& key : keys)
        fields[{key.locale, whatBecomes(result, key)}].push_back(shortLabelOf(key.field));
    Table table{.columns = {{"Locale"}, {"Fields", Table::Align::left, Table::Fit::wrap}, {"Would become"}},
                .rows = {}};
    for (const auto& [place, labels] : fields)
        table.rows.push_back({shownLocale(place.first), fmt::format("{}", fmt::join(labels, ", ")),
                              std::string(place.second)});
    if (!table.rows.empty()) output.table(table);
    for (const std::string& warning : result.summary.warnings)
        output.warning(fmt::format("{}{}", lead, warning));
    output.note(fmt::format(
        "{}Dry run: {} would take a new text, {} would be in conflict; nothing was written.", lead,
        counted(static_cast<std::size_t>(std::ranges::count_if(result.updated,
                                                               [&](const FieldKey& key) {
                                                                   return std::ranges::find(result.conflicts,
                                                                                            key) ==
                                                                          result.conflicts.end();
                                                               })),
                "field"),
        counted(result.conflicts.size(), "text")));
}

void printPull(Output& output, const PullTexts::Result& pulled, bool isDryRun) {
    const Pull& pull = pulled.pulls.front();
    const PullResult& result = pull.result.value();
    const PullSummary& summary = result.summary;
    if (isDryRun) {
        printDryRun(output, pull);
        return;
    }
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
    printAdvice(output, !replacedEdits(result).empty(), !result.conflicts.empty());
    if (summary.locales.empty() && pulled.disabledLocales.empty())
        output.note("App Store Connect has no locale of it yet; 'quorvel locale add en-US' begins one.");
    if (pulled.isFirst && pulled.contexts.size() > 1) // who does not know yet that an app has several
        output.note(fmt::format("The app has {}. {} --context chooses another.",
                                fmt::join(pulled.contexts, ", "), switchContextText));
}

void printPulls(Output& output, const std::vector<Pull>& pulls, bool isDryRun) {
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
        if (pull.result && isDryRun) printDryRun(output, pull, where);
        if (pull.result && !isDryRun) printEdits(output, *pull.result, where);
        if (pull.failure) output.warning(where + reportOf(*pull.failure).text);
    }
    if (isDryRun) return;
    printAdvice(output,
                std::ranges::any_of(
                    pulls, [](const Pull& one) { return one.result && !replacedEdits(*one.result).empty(); }),
                std::ranges::any_of(
                    pulls, [](const Pull& one) { return one.result && !one.result->conflicts.empty(); }));
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
    request.replaceEdits = invocation.arguments.has("--replace-edits");
    if (request.leaveEdits && request.replaceEdits)
        throw UsageError("--leave-edits and --replace-edits exclude each other");
    if (request.allContexts && request.context)
        throw UsageError("--all-contexts and --context exclude each other");
    if (request.allApps && request.app) throw UsageError("--all-apps and --app exclude each other");
    if (request.allApps && request.folder) throw UsageError("--folder is for the pull of a single app");
    const auto result = perform<PullTexts>(invocation, request);
    invocation.output.document(result);
    if (!request.allApps && !request.allContexts) {
        printPull(invocation.output, result, request.dryRun);
        return ExitStatus::done;
    }
    printPulls(invocation.output, result.pulls, request.dryRun);
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
                       {"--leave-edits", "",
                        "Leave local edits in place, also where App Store Connect changed the text"},
                       {"--replace-edits", "",
                        "Replace local edits by App Store Connect's texts, after backing them up"},
                       {"--all-contexts", "",
                        "Every version that can be worked on, each into its own folder"},
                       {"--all-apps", "", "Every recorded app of the workspace"}},
         .heeds = {"--app", "--workspace", "--context", "--dry-run"},
         .run = pull,
         .details = "One text file per field and locale, <folder>/ios/next/de-DE/subtitle.txt for example, "
                    "for any editor. A local text that was edited since the last pull stays; where App Store "
                    "Connect changed it too, the two are merged by paragraphs and keywords, after yours is "
                    "backed up under .brevant/kept. What cannot be merged is a conflict: the file takes App "
                    "Store Connect's text, and 'quorvel conflicts' shows both. A dry run shows what would "
                    "become of each text and writes nothing. An app that is not recorded is imported first. "
                    "When several are pulled, one that fails does not stop the others; "
                    "status 7 tells that some failed."},
    };
}

} // namespace quorvel
