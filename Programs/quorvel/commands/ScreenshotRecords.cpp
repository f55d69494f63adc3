#include "Programs/quorvel/commands/ScreenshotRecords.h"

#include "Platform/text/Text.h"
#include "Programs/quorvel/commands/MetadataRecords.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

ScreenshotPushDocument documentOf(const PreparedScreenshots& prepared, const ScreenshotPushSummary& summary) {
    ScreenshotPushDocument document{.uploaded = summary.uploaded,
                                    .deleted = summary.deleted,
                                    .setsCreated = summary.setsCreated,
                                    .warnings = prepared.warnings,
                                    .failures = prepared.failures,
                                    .sets = prepared.plan.sets,
                                    .guesses = prepared.guesses};
    document.warnings.insert(document.warnings.end(), summary.warnings.begin(), summary.warnings.end());
    document.failures.insert(document.failures.end(), summary.failures.begin(), summary.failures.end());
    for (const auto& file : summary.successfullyUploadedLocalURLs)
        document.successfullyUploadedLocalURLs.push_back(repairUTF8(file.native()));
    return document;
}

ExitStatus statusOf(const ScreenshotPushDocument& document, std::size_t planned,
                    std::size_t unreadableFolders) {
    const bool everythingSent = document.successfullyUploadedLocalURLs.size() >= planned;
    if (document.failures.empty() && everythingSent && unreadableFolders == 0) return ExitStatus::done;
    const bool somethingStands =
        document.uploaded > 0 || document.deleted > 0 || !document.successfullyUploadedLocalURLs.empty() ||
        std::ranges::any_of(document.sets,
                            [](const auto& set) { return set.local > 0 && set.unchanged > 0; });
    return somethingStands ? ExitStatus::partlyDone : ExitStatus::failed;
}

std::string outcomeText(const PreparedScreenshots& prepared, const ScreenshotPushSummary& summary) {
    if (!prepared.plan.edits.empty())
        return fmt::format("Uploaded {}, deleted {}, created {}.",
                           counted(static_cast<std::size_t>(summary.uploaded), "screenshot"), summary.deleted,
                           counted(static_cast<std::size_t>(summary.setsCreated), "set"));
    if (!prepared.failures.empty()) return "Nothing was pushed.";
    const bool hasLocal =
        std::ranges::any_of(prepared.plan.sets, [](const auto& set) { return set.local > 0; });
    return hasLocal ? "Nothing to push — App Store Connect has these screenshots."
                    : "Nothing to push — there are no pictures to send.";
}

void printScreenshotSets(Output& output, const std::vector<ScreenshotSetStatus>& sets) {
    Table table{.columns = {{"Locale"},
                            {"Display type"},
                            {"Local", Table::Align::right},
                            {"On ASC", Table::Align::right},
                            {"Would change", Table::Align::left, Table::Fit::wrap}},
                .rows = {}};
    for (const ScreenshotSetStatus& set : sets) {
        std::vector<std::string> changes;
        const auto list = [&](std::string_view verb, const std::vector<std::string>& names) {
            if (!names.empty()) changes.push_back(fmt::format("{} {}", verb, fmt::join(names, ", ")));
        };
        list("delete", set.toDelete);
        list("upload", set.toUpload);
        list("move", set.moved);
        table.rows.push_back(
            {set.locale, set.displayType, std::to_string(set.local), std::to_string(set.remote),
             changes.empty() ? Table::Cell{set.local == 0 ? "no local files" : "nothing", Style::dim}
                             : Table::Cell{fmt::format("{}", fmt::join(changes, "; "))}});
    }
    output.table(table);
}

void printRemarks(Output& output, const PreparedScreenshots& prepared) {
    for (const GuessedDisplayType& guess : prepared.guesses)
        output.note(fmt::format(
            "{}: taken for {} by its {} pixels{}", guess.path, guess.displayType, guess.size,
            guess.otherwise.empty() ? "" : fmt::format(" (could be {})", fmt::join(guess.otherwise, ", "))));
    for (const std::string& warning : prepared.warnings)
        output.warning(warning);
    for (const std::string& failure : prepared.failures)
        output.warning(failure);
}

} // namespace quorvel
