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
#include "Quorvel/actions/PreviewActions.h"
#include "Quorvel/actions/ScreenshotActions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <map>

namespace quorvel {

namespace {

/// The actions of one kind, and the words of its commands.
struct Screenshots {
    using Pull = PullScreenshots;
    using Import = ImportScreenshots;
    using Compare = CompareScreenshots;
    using Plan = PlanScreenshotPush;
    using Push = PushScreenshots;
    static constexpr AssetKind kind = AssetKind::screenshot;
    static constexpr AssetTraits traits = traitsOf(kind);
};

struct Previews {
    using Pull = PullPreviews;
    using Import = ImportPreviews;
    using Compare = ComparePreviews;
    using Plan = PlanPreviewPush;
    using Push = PushPreviews;
    static constexpr AssetKind kind = AssetKind::preview;
    static constexpr AssetTraits traits = traitsOf(kind);
};

template <typename Assets>
typename Assets::Plan::Request comparisonRequestOf(const Invocation& invocation) {
    auto request = requestOf<typename Assets::Plan::Request>(invocation);
    if (const auto mode = invocation.arguments.value("--mode"))
        request.mode = fromRawValue<ScreenshotPushMode>(*mode);
    request.locales = listOf(invocation.arguments, "--locale");
    request.displayTypes = listOf(invocation.arguments, "--display");
    request.noCheck = invocation.arguments.has("--no-check");
    if constexpr (Assets::kind == AssetKind::screenshot)
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
        list("set the poster frame of", set.posterFrames.value_or(std::vector<std::string>()));
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

// Why something is deleted that is uploaded as well.
void noteSentAgain(Output& output, const std::vector<ScreenshotSetStatus>& sets) {
    std::vector<std::string> names;
    for (const ScreenshotSetStatus& set : sets)
        if (!set.problem)
            for (const std::string& name : set.sentAgain.value_or(std::vector<std::string>()))
                names.push_back(
                    fmt::format("{} {}", setText(set.locale, set.displayType), escapeControls(name)));
    if (!names.empty())
        output.note(
            fmt::format("Previews are shown in the order in which they were sent: {} {} deleted and sent "
                        "again, behind what stands before {}.",
                        someOf(names), names.size() == 1 ? "is" : "are", names.size() == 1 ? "it" : "them"));
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

template <typename Assets>
ExitStatus pullAssets(Invocation& invocation) {
    using Pull = typename Assets::Pull;
    const auto result = perform<Pull>(invocation, requestOf<typename Pull::Request>(invocation));
    const ScreenshotsPull& pull = result.pull;
    const ScreenshotsPullSummary& summary = pull.summary;
    Output& output = invocation.output;
    output.document(result);
    output.line(fmt::format("Pulled {} {} ({}): {} in {}, {}.", escapeControls(pull.app.displayName),
                            pull.version.versionString, pull.context,
                            counted(static_cast<std::size_t>(summary.totalScreenshots), Assets::traits.one),
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

template <typename Assets>
ExitStatus importAssets(Invocation& invocation) {
    using Import = typename Assets::Import;
    auto request = requestOf<typename Import::Request>(invocation);
    request.tree = *invocation.arguments.value("DIR");
    const auto result = perform<Import>(invocation, request);
    const ScreenshotImportReport& report = result.import.report;
    Output& output = invocation.output;
    output.document(result);
    noteGuesses(output, report.guesses);
    for (const std::string& warning : report.warnings)
        output.warning(warning);
    warnGrouped(output, report.failures);
    output.line(
        fmt::format("{} {} of {} into {}; {} unchanged.", request.dryRun ? "Would import" : "Imported",
                    counted(report.imported.size(), Assets::kind == AssetKind::preview ? "file" : "picture"),
                    counted(report.locales.size(), "locale"), result.import.folder, report.unchanged));
    for (const auto& kept : report.kept)
        output.line(fmt::format("{}: what was there {} kept as {}", kept.picture,
                                request.dryRun ? "would be" : "is", kept.path));
    if (request.dryRun) output.note("Dry run: nothing was written.");
    const bool somethingIsThere = !report.imported.empty() || report.unchanged > 0;
    if (report.failures.empty() && somethingIsThere) return ExitStatus::done;
    if (!somethingIsThere) output.line(fmt::format("There are no {}s to take.", Assets::traits.file));
    return somethingIsThere ? ExitStatus::partlyDone : ExitStatus::failed;
}

template <typename Assets>
ExitStatus showAssetStatus(Invocation& invocation) {
    const auto request = comparisonRequestOf<Assets>(invocation);
    const auto result = perform<typename Assets::Compare>(invocation, request);
    const ScreenshotStatus& status = result.status;
    Output& output = invocation.output;
    output.document(result);
    printSets(output, status.sets);
    printScreenshotRemarks(output, status);
    noteSentAgain(output, status.sets);
    if (request.mode == ScreenshotPushMode::replaceSet) noteSetsWithoutFiles(output, status.sets);
    if (!status.hasFolder) output.note(ScreenshotError::noFolder(status.folder, Assets::kind).what());
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

ExitStatus showAssetPlan(Output& output, const AssetTraits& traits,
                         const PlanScreenshotPush::Result& planned) {
    const ScreenshotPushPlan& plan = planned.plan;
    output.document(planned);
    printSets(output, plan.sets);
    output.note(fmt::format("Dry run: {} would be uploaded ({}) and {} deleted, nothing was sent.",
                            counted(static_cast<std::size_t>(plan.uploads), traits.one),
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

Consent confirmPush(Invocation& invocation, const AssetTraits& traits, const ScreenshotPushPlan& plan) {
    if (plan.changedSets == 0) return consentToNothing();
    const std::string what =
        fmt::format("Upload {} ({}) and delete {} in {} of {} {} ({})",
                    counted(static_cast<std::size_t>(plan.uploads), traits.one),
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

template <typename Assets>
typename Assets::Push::Result upload(Invocation& invocation, const typename Assets::Push::Request& request,
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
                                                  step.text == processingStage(Assets::kind))
                                                  invocation.output.note(step.text);
                                          },
                                      .transfer =
                                          [&](const ActionProgress::Transfer& transfer) {
                                              if (transfer.stage == ActionProgress::Transfer::Stage::finished)
                                                  ++uploaded;
                                              show(bars, transfer);
                                          }};
        return perform<typename Assets::Push>(invocation, request, consent, progress);
    } catch (const CancellationError&) {
        invocation.output.note(fmt::format("{} of {} files were uploaded before the interruption; "
                                           "pushing again does the rest and the order.",
                                           uploaded.load(), uploads));
        throw;
    }
}

std::string outcomeText(const AssetTraits& traits, const ScreenshotPushPlan& plan,
                        const ScreenshotPushReport& report) {
    const auto posters = static_cast<std::size_t>(report.posterFrames.value_or(0));
    if (plan.changedSets > 0)
        return fmt::format("Uploaded {}, deleted {}, created {}{}.",
                           counted(static_cast<std::size_t>(report.uploaded), traits.one), report.deleted,
                           counted(static_cast<std::size_t>(report.setsCreated), "set"),
                           posters > 0 ? ", set " + counted(posters, "poster frame") : "");
    if (!plan.failures.empty() || leavesOutAll(plan)) return "Nothing was pushed.";
    const bool hasLocal =
        std::ranges::any_of(plan.sets, [](const ScreenshotSetStatus& set) { return set.local > 0; });
    return hasLocal ? fmt::format("Nothing to push — App Store Connect has these {}.", traits.many)
                    : fmt::format("Nothing to push — there are no {}s to send.", traits.file);
}

template <typename Assets>
ExitStatus pushAssets(Invocation& invocation) {
    Output& output = invocation.output;
    const auto planned = perform<typename Assets::Plan>(invocation, comparisonRequestOf<Assets>(invocation));
    const ScreenshotPushPlan& plan = planned.plan;
    printScreenshotRemarks(output, plan);
    noteSentAgain(output, plan.sets);
    if (plan.mode == ScreenshotPushMode::replaceSet) noteSetsWithoutFiles(output, plan.sets);
    if (invocation.global.dryRun) return showAssetPlan(output, Assets::traits, planned);
    const Consent consent = confirmPush(invocation, Assets::traits, plan);
    const auto pushed = upload<Assets>(
        invocation, {plan, invocation.arguments.has("--no-wait"), invocation.global.workspace}, consent);
    const ScreenshotPushReport& report = pushed.report;
    output.document(pushed);
    // Those of the plan were told before the push.
    warnGrouped(output, {report.warnings.begin() + std::ssize(plan.warnings), report.warnings.end()});
    warnGrouped(output, {report.failures.begin() + std::ssize(plan.failures), report.failures.end()});
    output.line(outcomeText(Assets::traits, plan, report));
    const ExitStatus status = exitStatusOf(plan, report);
    if (status != ExitStatus::done && report.notDone > 0)
        output.line(fmt::format("{} {} not uploaded. Fix {} and push again.",
                                counted(static_cast<std::size_t>(report.notDone), "item"),
                                report.notDone == 1 ? "was" : "were", report.notDone == 1 ? "it" : "them"));
    return status;
}

template <typename Assets>
std::vector<ArgumentSpec> comparingArguments() {
    std::vector<std::string_view> types;
    for (const ScreenshotDisplayType& type : allScreenshotDisplayTypes())
        if (findDisplayType(type.nameFor(Assets::kind), Assets::kind))
            types.push_back(type.nameFor(Assets::kind));
    constexpr bool areVideos = Assets::kind == AssetKind::preview;
    using Need = ArgumentSpec::Need;
    using Count = ArgumentSpec::Count;
    std::vector<ArgumentSpec> arguments = {
        folderArgument(),
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
         areVideos ? "Only this display type (IPHONE_67 or iphone-67)"
                   : "Only this display type (APP_IPHONE_67 or iphone-67)",
         {},
         Need::optional,
         Count::repeated,
         types},
        {"--no-check", "",
         areVideos ? "Also take videos of a wrong length, size, codec or frame rate"
                   : "Also take pictures of a wrong size, format or with an alpha channel"}};
    if (!areVideos)
        arguments.push_back(
            {"--flatten", "", "Send opaque pictures that have an alpha channel as copies without it"});
    arguments.push_back({"--prune", "", "With --mode replace: also empty the sets that have no local file"});
    return arguments;
}

template <typename Assets>
std::vector<ArgumentSpec> assetPushArguments() {
    auto arguments = comparingArguments<Assets>();
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
         .run = pullAssets<Screenshots>,
         .details = "The list becomes screenshots-catalog.json and the thumbnails lie in screenshots-cache, "
                    "both in the app's metadata folder; contexts other than ios/next append their name. "
                    "What cannot be had is named, stays as the last pull left it and ends the pull with "
                    "status 7; pulling again gets the rest."},
        {.name = "screenshots import",
         .summary = "Take the screenshots of another tool's tree",
         .arguments = {{"DIR", "DIR", "The tree", {}, ArgumentSpec::Need::required}, folderArgument()},
         .heeds = {"--app", "--context", "--dry-run"},
         .run = importAssets<Screenshots>,
         .details = "The tree holds <locale>/*.png, or its pictures lie in folders named after locales and "
                    "display types in any order. A display type is told by a folder, the file's name "
                    "(0_APP_IPHONE_67_0.png) or the picture's size. The pictures are copied to "
                    "screenshots/<locale>/<display type>; those of other platforms are left out."},
        {.name = "screenshots status",
         .summary = "Compare the local screenshots with the last pull",
         .arguments = comparingArguments<Screenshots>(),
         .heeds = {"--app", "--context"},
         .run = showAssetStatus<Screenshots>,
         .details = "Shows for each locale and display type what a push would delete, upload and move; "
                    "without --mode, what would make both sides the same (replace)."},
        {.name = "screenshots push",
         .summary = "Upload the local screenshots to App Store Connect",
         .arguments = assetPushArguments<Screenshots>(),
         .heeds = {"--app", "--context", "--dry-run", "--yes"},
         .run = pushAssets<Screenshots>,
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

std::vector<Command> previewCommands() {
    return {
        {.name = "previews", .summary = "Pull, compare and push the video previews"},
        {.name = "previews pull",
         .summary = "Copy the list and the poster frames of an app's previews",
         .arguments = {folderArgument()},
         .heeds = {"--app", "--context"},
         .run = pullAssets<Previews>,
         .details = "The list becomes previews-catalog.json and pictures of the poster frames lie in "
                    "previews-cache, both in the app's metadata folder; contexts other than ios/next append "
                    "their name. The videos themselves are not copied. What cannot be had is named, stays as "
                    "the last pull left it and ends the pull with status 7."},
        {.name = "previews import",
         .summary = "Take the previews of another tool's tree",
         .arguments = {{"DIR", "DIR", "The tree", {}, ArgumentSpec::Need::required}, folderArgument()},
         .heeds = {"--app", "--context", "--dry-run"},
         .run = importAssets<Previews>,
         .details = "The tree holds <locale>/*.mp4, also beside pictures, or its videos lie in folders named "
                    "after locales and display types in any order. A display type is told by a folder, the "
                    "file's name (0_IPHONE_67_0.mp4) or the video's size. The videos are copied to "
                    "previews/<locale>/<display type>; those of other platforms are left out."},
        {.name = "previews status",
         .summary = "Compare the local previews with the last pull",
         .arguments = comparingArguments<Previews>(),
         .heeds = {"--app", "--context"},
         .run = showAssetStatus<Previews>,
         .details = "Shows for each locale and display type what a push would delete, upload and change; "
                    "without --mode, what would make both sides the same (replace). Videos that App Store "
                    "Connect was still processing at the last pull, or could not process, are named."},
        {.name = "previews push",
         .summary = "Upload the local previews to App Store Connect",
         .arguments = assetPushArguments<Previews>(),
         .heeds = {"--app", "--context", "--dry-run", "--yes"},
         .run = pushAssets<Previews>,
         .details =
             "Videos (mov, mp4, m4v) lie in previews/<locale>/<display type> in the app's metadata folder, "
             "up to three in a set, and are shown in the natural order of their names. Each lasts 15 to 30 "
             "seconds, in H.264 or ProRes with at most 30 frames per second and 500 MB. The poster frame of "
             "1.mp4 is chosen by 1.poster.txt beside it: a time code (00:00:05:00) or seconds (7.5). "
             "Without --mode the new files are appended. App Store Connect shows previews in the order in "
             "which they were sent, so what is to stand elsewhere is deleted and sent again, which the plan "
             "tells. What is there already is not sent again, so a push that was cut off goes on where it "
             "was. A file that fails does not stop the others and ends the push with status 7. Example: "
             "quorvel previews push --locale en-US --dry-run",
         .asksFirst = true},
    };
}

} // namespace quorvel
