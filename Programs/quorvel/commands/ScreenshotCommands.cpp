#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataTexts.h"
#include "Core/screenshots/ScreenshotDisplayType.h"
#include "Core/screenshots/ScreenshotError.h"
#include "Core/screenshots/ScreenshotPusher.h"
#include "Platform/task/Task.h"
#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/TransferBars.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/ScreenshotActions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <map>

namespace quorvel {

namespace {

ScreenshotRequest screenshotRequestOf(const Invocation& invocation) {
    auto request = requestOf<ScreenshotRequest>(invocation);
    if (const auto mode = invocation.arguments.value("--mode"))
        request.mode = fromRawValue<ScreenshotPushMode>(*mode);
    request.locales = listOf(invocation.arguments, "--locale");
    request.displayTypes = listOf(invocation.arguments, "--display");
    request.noCheck = invocation.arguments.has("--no-check");
    request.flatten = invocation.arguments.has("--flatten");
    request.prune = invocation.arguments.has("--prune");
    return request;
}

void printSets(Output& output, const std::vector<ScreenshotSetStatus>& sets) {
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
        const std::string nothing = set.problem       ? "nothing: too many"
                                    : set.local > 0   ? "nothing"
                                    : set.refused > 0 ? "nothing: no file can be sent"
                                                      : "no local files";
        table.rows.push_back({set.locale, set.displayType,
                              set.refused > 0 ? fmt::format("{} + {} refused", set.local, set.refused)
                                              : std::to_string(set.local),
                              std::to_string(set.remote),
                              changes.empty() || set.problem
                                  ? Table::Cell{nothing, Style::dim}
                                  : Table::Cell{fmt::format("{}", fmt::join(changes, "; "))}});
    }
    output.table(table);
}

// "en-US 1.png: is damaged" → what stands before and behind the first colon; texts of one reason are told
// once.
void warnGrouped(Output& output, const std::vector<std::string>& texts) {
    std::map<std::string, std::vector<std::string>> ofReason;
    std::vector<std::string> reasons; // in the order in which they come
    for (const std::string& text : texts) {
        const std::size_t colon = std::min(text.find(": "), text.size());
        auto& all = ofReason[text.substr(colon)];
        if (all.empty()) reasons.push_back(text.substr(colon));
        all.push_back(text.substr(0, colon));
    }
    for (const std::string& reason : reasons) {
        const auto& all = ofReason[reason];
        output.warning(someOf(all) + reason);
    }
}

void noteGuesses(Output& output, const std::vector<GuessedDisplayType>& guesses) {
    std::map<std::pair<std::string, std::string>, std::vector<const GuessedDisplayType*>> alike;
    for (const GuessedDisplayType& guess : guesses)
        alike[{guess.displayType, guess.size}].push_back(&guess);
    for (const auto& [what, all] : alike) {
        std::vector<std::string> paths;
        std::ranges::transform(all, std::back_inserter(paths), &GuessedDisplayType::path);
        const auto& otherwise = all.front()->otherwise;
        output.note(
            fmt::format("{}: taken for {} by {} {} pixels{}", someOf(paths), what.first,
                        all.size() == 1 ? "its" : "their", what.second,
                        otherwise.empty() ? "" : fmt::format(" (could be {})", fmt::join(otherwise, ", "))));
    }
}

// What the scan and the check of the files have to say.
template <typename Found>
void printScreenshotRemarks(Output& output, const Found& found) {
    noteGuesses(output, found.guesses);
    if (!found.flattened.empty())
        output.note(fmt::format("{} as {} without the alpha channel; the files stay as they are.",
                                found.flattened.size() == 1
                                    ? found.flattened.front() + " goes"
                                    : fmt::format("{} pictures go", found.flattened.size()),
                                found.flattened.size() == 1 ? "a copy" : "copies"));
    for (const std::string& warning : found.warnings)
        output.warning(warning);
    warnGrouped(output, found.failures);
    if (found.flattenable > 0) output.note("--flatten sends such copies and leaves the files as they are.");
}

void noteSetsWithoutFiles(Output& output, const std::vector<ScreenshotSetStatus>& sets) {
    std::vector<std::string> names;
    for (const ScreenshotSetStatus& set : sets)
        if (set.isWithoutFiles() && !set.differs()) names.push_back(setText(set.locale, set.displayType));
    if (!names.empty())
        output.note(fmt::format("{} without local files {} as {}: {}. --prune empties {}.",
                                counted(names.size(), "set"), names.size() == 1 ? "stays" : "stay",
                                names.size() == 1 ? "it is" : "they are", someOf(names),
                                names.size() == 1 ? "it" : "them"));
}

ExitStatus pullScreenshots(Invocation& invocation) {
    const auto result = perform<PullScreenshots>(invocation, requestOf<PullScreenshots::Request>(invocation));
    const ScreenshotsPull& pull = result.pull;
    const ScreenshotsPullSummary& summary = pull.summary;
    Output& output = invocation.output;
    output.document(result);
    output.line(fmt::format("Pulled {} {} ({}): {} in {}, {}.", escapeControls(pull.app.displayName),
                            pull.version.versionString, pull.context,
                            counted(static_cast<std::size_t>(summary.totalScreenshots), "screenshot"),
                            counted(static_cast<std::size_t>(summary.totalSets), "set"),
                            counted(summary.locales.size(), "locale")));
    output.line(fmt::format("{} downloaded into {}.",
                            counted(static_cast<std::size_t>(summary.thumbnailsDownloaded), "new thumbnail"),
                            pull.thumbnails));
    for (const std::string& warning : summary.warnings)
        output.warning(warning);
    warnGrouped(output, summary.failures);
    return summary.failures.empty() ? ExitStatus::done : ExitStatus::partlyDone;
}

ExitStatus importPictures(Invocation& invocation) {
    auto request = requestOf<ImportScreenshots::Request>(invocation);
    request.tree = *invocation.arguments.value("DIR");
    const auto result = perform<ImportScreenshots>(invocation, request);
    const ScreenshotImportReport& report = result.import.report;
    Output& output = invocation.output;
    output.document(result);
    noteGuesses(output, report.guesses);
    for (const std::string& warning : report.warnings)
        output.warning(warning);
    warnGrouped(output, report.failures);
    output.line(
        fmt::format("{} {} of {} into {}; {} unchanged.", request.dryRun ? "Would import" : "Imported",
                    counted(report.imported.size(), "picture"), counted(report.locales.size(), "locale"),
                    result.import.folder, report.unchanged));
    for (const auto& kept : report.kept)
        output.line(fmt::format("{}: what was there {} kept as {}", kept.picture,
                                request.dryRun ? "would be" : "is", kept.path));
    if (request.dryRun) output.note("Dry run: nothing was written.");
    const bool somethingIsThere = !report.imported.empty() || report.unchanged > 0;
    if (report.failures.empty() && somethingIsThere) return ExitStatus::done;
    if (!somethingIsThere) output.line("There are no pictures to take.");
    return somethingIsThere ? ExitStatus::partlyDone : ExitStatus::failed;
}

ExitStatus showScreenshotStatus(Invocation& invocation) {
    const ScreenshotRequest request = screenshotRequestOf(invocation);
    const auto result = perform<CompareScreenshots>(invocation, request);
    const ScreenshotStatus& status = result.status;
    Output& output = invocation.output;
    output.document(result);
    printSets(output, status.sets);
    printScreenshotRemarks(output, status);
    if (request.mode == ScreenshotPushMode::replaceSet) noteSetsWithoutFiles(output, status.sets);
    if (!status.hasFolder) output.note(ScreenshotError::noFolder(status.folder).what());
    const bool deletes = std::ranges::any_of(
        status.sets, [](const ScreenshotSetStatus& set) { return !set.toDelete.empty(); });
    if (deletes && !request.mode)
        output.note("Shown is what a push with --mode replace does; without it a push only adds.");
    if (status.lastPulledAt)
        output.note(fmt::format("As of the pull at {}.", shortTime(*status.lastPulledAt)));
    return ExitStatus::done;
}

// Whether pictures are there, but not one of them is for this push.
bool leavesOutAll(const ScreenshotPushPlan& plan) {
    return plan.leftOut > 0 && plan.changedSets == 0 &&
           std::ranges::none_of(plan.sets, [](const ScreenshotSetStatus& set) { return set.local > 0; });
}

// How a push ends that meant to send what the plan holds.
ExitStatus exitStatusOf(const ScreenshotPushPlan& plan, const ScreenshotPushReport& report) {
    if (leavesOutAll(plan)) return ExitStatus::failed;
    const bool everythingSent = std::ssize(report.uploadedFiles) >= plan.uploads;
    if (report.failures.empty() && everythingSent && plan.unreadableFolders == 0) return ExitStatus::done;
    return report.somethingIsThere ? ExitStatus::partlyDone : ExitStatus::failed;
}

ExitStatus showPlan(Output& output, const PlanScreenshotPush::Result& planned) {
    const ScreenshotPushPlan& plan = planned.plan;
    output.document(planned);
    printSets(output, plan.sets);
    output.note(fmt::format("Dry run: {} would be uploaded ({}) and {} deleted, nothing was sent.",
                            counted(static_cast<std::size_t>(plan.uploads), "screenshot"),
                            byteCount(static_cast<std::uint64_t>(plan.uploadBytes)), plan.deletions));
    // As the push would end when nothing fails on the way.
    if (leavesOutAll(plan)) return ExitStatus::failed;
    if (plan.failures.empty() && plan.unreadableFolders == 0) return ExitStatus::done;
    const bool somethingIsThere =
        plan.changedSets > 0 || std::ranges::any_of(plan.sets, [](const ScreenshotSetStatus& set) {
            return set.local > 0 && set.unchanged > 0;
        });
    return somethingIsThere ? ExitStatus::partlyDone : ExitStatus::failed;
}

Consent confirmPush(Invocation& invocation, const ScreenshotPushPlan& plan) {
    if (plan.changedSets == 0) return consentToNothing();
    const std::string what =
        fmt::format("Upload {} ({}) and delete {} in {} of {} {} ({})",
                    counted(static_cast<std::size_t>(plan.uploads), "screenshot"),
                    byteCount(static_cast<std::uint64_t>(plan.uploadBytes)), plan.deletions,
                    counted(static_cast<std::size_t>(plan.changedSets), "set"), plan.app.displayName,
                    plan.version.versionString, plan.context);
    const Consent consent = askConsent(invocation, {what + "?", "Nothing was pushed.", [&](Output& terminal) {
                                                        printSets(terminal, plan.sets);
                                                    }});
    invocation.output.note(what + ".");
    return consent;
}

void show(TransferBars& bars, const ActionProgress::Transfer& transfer) {
    using Stage = ActionProgress::Transfer::Stage;
    switch (transfer.stage) {
    case Stage::running:
        return bars.running(transfer.file, transfer.sent, transfer.total);
    case Stage::finished:
        return bars.finished(transfer.file, transfer.total);
    case Stage::failed:
        return bars.failed(transfer.file);
    }
}

TransferBars::Form formOfBars(const Invocation& invocation) {
    if (invocation.global.quiet) return TransferBars::Form::silent;
    const Streams& streams = invocation.output.streams();
    return streams.errorIsTerminal && streams.takesSequences ? TransferBars::Form::bars
                                                             : TransferBars::Form::lines;
}

PushScreenshots::Result upload(Invocation& invocation, const PushScreenshots::Request& request,
                               const Consent& consent) {
    const auto uploads = static_cast<std::size_t>(request.plan.uploads);
    const TransferBars::Form form = formOfBars(invocation);
    std::atomic<std::size_t> uploaded = 0;
    try {
        TransferBars bars(invocation.output.streams(), form, uploads,
                          static_cast<std::uint64_t>(request.plan.uploadBytes));
        const ActionProgress progress{.step =
                                          [&](const ActionProgress::Step& step) {
                                              bars.stage(step.text);
                                              // The one stage that lasts without a file that ends.
                                              if (form == TransferBars::Form::lines &&
                                                  step.text == processingStage)
                                                  invocation.output.note(step.text);
                                          },
                                      .transfer =
                                          [&](const ActionProgress::Transfer& transfer) {
                                              if (transfer.stage == ActionProgress::Transfer::Stage::finished)
                                                  ++uploaded;
                                              show(bars, transfer);
                                          }};
        return perform<PushScreenshots>(invocation, request, consent, progress);
    } catch (const CancellationError&) {
        invocation.output.note(fmt::format("{} of {} files were uploaded before the interruption; "
                                           "pushing again does the rest and the order.",
                                           uploaded.load(), uploads));
        throw;
    }
}

std::string outcomeText(const ScreenshotPushPlan& plan, const ScreenshotPushReport& report) {
    if (plan.changedSets > 0)
        return fmt::format("Uploaded {}, deleted {}, created {}.",
                           counted(static_cast<std::size_t>(report.uploaded), "screenshot"), report.deleted,
                           counted(static_cast<std::size_t>(report.setsCreated), "set"));
    if (!plan.failures.empty() || leavesOutAll(plan)) return "Nothing was pushed.";
    const bool hasLocal =
        std::ranges::any_of(plan.sets, [](const ScreenshotSetStatus& set) { return set.local > 0; });
    return hasLocal ? "Nothing to push — App Store Connect has these screenshots."
                    : "Nothing to push — there are no pictures to send.";
}

ExitStatus pushScreenshots(Invocation& invocation) {
    Output& output = invocation.output;
    const auto planned = perform<PlanScreenshotPush>(invocation, screenshotRequestOf(invocation));
    const ScreenshotPushPlan& plan = planned.plan;
    printScreenshotRemarks(output, plan);
    if (plan.mode == ScreenshotPushMode::replaceSet) noteSetsWithoutFiles(output, plan.sets);
    if (invocation.global.dryRun) return showPlan(output, planned);
    const Consent consent = confirmPush(invocation, plan);
    const auto pushed = upload(
        invocation, {plan, invocation.arguments.has("--no-wait"), invocation.global.workspace}, consent);
    const ScreenshotPushReport& report = pushed.report;
    output.document(pushed);
    // Those of the plan were told before the push.
    warnGrouped(output, {report.warnings.begin() + std::ssize(plan.warnings), report.warnings.end()});
    warnGrouped(output, {report.failures.begin() + std::ssize(plan.failures), report.failures.end()});
    output.line(outcomeText(plan, report));
    const ExitStatus status = exitStatusOf(plan, report);
    if (status != ExitStatus::done && report.notDone > 0)
        output.line(fmt::format("{} {} not uploaded. Fix {} and push again.",
                                counted(static_cast<std::size_t>(report.notDone), "item"),
                                report.notDone == 1 ? "was" : "were", report.notDone == 1 ? "it" : "them"));
    return status;
}

std::vector<ArgumentSpec> comparingArguments() {
    std::vector<std::string_view> types;
    for (const ScreenshotDisplayType& type : allScreenshotDisplayTypes())
        types.push_back(type.rawValue);
    using Need = ArgumentSpec::Need;
    using Count = ArgumentSpec::Count;
    return {folderArgument(),
            {"--mode",
             "MODE",
             "append: keep what is there; replace: only the local files stay",
             {"append", "replace"}},
            {"--locale",
             "LOCALE",
             "Only this locale",
             {},
             Need::optional,
             Count::repeated,
             {appStoreLocales().begin(), appStoreLocales().end()}},
            {"--display",
             "TYPE",
             "Only this display type (APP_IPHONE_67 or iphone-67)",
             {},
             Need::optional,
             Count::repeated,
             types},
            {"--no-check", "", "Also take pictures of a wrong size, format or with an alpha channel"},
            {"--flatten", "", "Send opaque pictures that have an alpha channel as copies without it"},
            {"--prune", "", "With --mode replace: also empty the sets that have no local file"}};
}

std::vector<ArgumentSpec> pushArguments() {
    auto arguments = comparingArguments();
    arguments.push_back({"--no-wait", "", "Do not wait until App Store Connect has processed the uploads"});
    return arguments;
}

} // namespace

std::vector<Command> screenshotCommands() {
    return {
        {.name = "screenshots", .summary = "Pull, compare and push the store screenshots"},
        {.name = "screenshots pull",
         .summary = "Copy the list and the thumbnails of an app's screenshots",
         .arguments = {folderArgument()},
         .heeds = {"--app", "--context"},
         .run = pullScreenshots,
         .details = "The list becomes screenshots-catalog.json and the thumbnails lie in screenshots-cache, "
                    "both in the app's metadata folder; contexts other than ios/next append their name. "
                    "What cannot be had is named, stays as the last pull left it and ends the pull with "
                    "status 7; pulling again gets the rest."},
        {.name = "screenshots import",
         .summary = "Take the screenshots of another tool's tree",
         .arguments = {{"DIR", "DIR", "The tree", {}, ArgumentSpec::Need::required}, folderArgument()},
         .heeds = {"--app", "--context", "--dry-run"},
         .run = importPictures,
         .details = "The tree holds <locale>/*.png, or its pictures lie in folders named after locales and "
                    "display types in any order. A display type is told by a folder, the file's name "
                    "(0_APP_IPHONE_67_0.png) or the picture's size. The pictures are copied to "
                    "screenshots/<locale>/<display type>; those of other platforms are left out."},
        {.name = "screenshots status",
         .summary = "Compare the local screenshots with the last pull",
         .arguments = comparingArguments(),
         .heeds = {"--app", "--context"},
         .run = showScreenshotStatus,
         .details = "Shows for each locale and display type what a push would delete, upload and move; "
                    "without --mode, what would make both sides the same (replace)."},
        {.name = "screenshots push",
         .summary = "Upload the local screenshots to App Store Connect",
         .arguments = pushArguments(),
         .heeds = {"--app", "--context", "--dry-run", "--yes"},
         .run = pushScreenshots,
         .details =
             "Pictures lie in screenshots/<locale>/<display type> in the app's metadata folder and are "
             "shown in the natural order of their names; a display type that no folder names is told by "
             "the file's name (0_APP_IPHONE_67_0.png) or the picture's size, and said. PNG and JPEG files "
             "of the right size without transparency are taken; an alpha channel whose pixels are all "
             "opaque goes with --flatten. Without --mode the new files are appended. "
             "What is there already is not sent again, also under another name, so a push that was cut off "
             "goes on where it was. "
             "A file that fails does not stop the others and ends the push with status 7.",
         .asksFirst = true},
    };
}

} // namespace quorvel
