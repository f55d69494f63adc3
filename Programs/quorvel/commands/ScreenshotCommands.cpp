#include "Core/metadata/FolderLock.h"
#include "Core/metadata/Locales.h"
#include "Core/screenshots/ScreenshotError.h"
#include "Core/screenshots/ScreenshotPreparation.h"
#include "Core/screenshots/ScreenshotsStore.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/AppTarget.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/commands/AppOverviews.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/MetadataRecords.h"
#include "Programs/quorvel/commands/ScreenshotPush.h"
#include "Programs/quorvel/commands/ScreenshotRecords.h"
#include "Quorvel/controllers/AppContexts.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

CommandError commandErrorOf(const ScreenshotError& error) {
    switch (error.kind()) {
    case ScreenshotError::Kind::readOnlyVersion:
        return {ExitStatus::refusedByState, error.what(), "Make one with 'quorvel versions create'."};
    case ScreenshotError::Kind::noFolder:
        return {ExitStatus::notFound, error.what()};
    default:
        return {ExitStatus::failed, error.what()};
    }
}

/// Runs a command's function with the words for what stops it.
template <ExitStatus (*Function)(Invocation&)>
ExitStatus reporting(Invocation& invocation) {
    try {
        return Function(invocation);
    } catch (const ScreenshotError& error) {
        throw commandErrorOf(error);
    }
}

ScreenshotPushMode modeOf(const Invocation& invocation, ScreenshotPushMode usual) {
    const auto mode = invocation.arguments.value("--mode");
    if (!mode) return usual;
    return *mode == "replace" ? ScreenshotPushMode::replaceSet : ScreenshotPushMode::append;
}

PictureCheck checkOf(const Invocation& invocation) {
    return invocation.arguments.has("--no-check") ? PictureCheck::none : PictureCheck::full;
}

ScreenshotSelection selectionOf(const Invocation& invocation) {
    ScreenshotSelection selection;
    for (const std::string& locale : invocation.arguments.values("--locale")) {
        if (!isAppStoreLocale(locale)) {
            const auto nearest = nearestAppStoreLocale(locale);
            throw UsageError(fmt::format("{} is no App Store locale", quotedWord(locale)),
                             nearest ? fmt::format("Did you mean {}?", *nearest) : "");
        }
        selection.locales.push_back(locale);
    }
    for (const std::string& display : invocation.arguments.values("--display")) {
        const auto type = displayTypeOfFolder(display);
        if (!type)
            throw UsageError(fmt::format("{} is no display type", quotedWord(display)),
                             "A display type is named as App Store Connect does (APP_IPHONE_67) or as its "
                             "folder is (iphone-67).");
        selection.displayTypes.push_back(*type);
    }
    return selection;
}

// The context as App Store Connect has it now.
PlatformContext currentContext(Invocation& invocation, AppTarget& target) {
    (void)target.givenContext(); // refuses a misspelt one before anything is asked
    const auto versions = target.client().listAppStoreVersions(target.app().appStoreId);
    return target.contexts().current(versions, invocation.global.context, target.app().displayName);
}

ExitStatus pullScreenshots(Invocation& invocation) {
    AppTarget target(invocation, AppTarget::Reach::account);
    const PlatformContext context = currentContext(invocation, target);
    const ScreenshotsStore store(target.appFolder(), context, invocation.composition.clock());
    // A push brings the catalogue up to date too.
    const FileLock lock = lockFolder(target.appFolder(), "a pull of screenshots");
    invocation.output.progress(fmt::format("Pulling the screenshots of {}…", target.app().displayName));
    URLSessionHTTPClient images(invocation.composition.session());
    const ScreenshotsPullSummary summary = store.pull(target.client(), images);
    Output& output = invocation.output;
    output.document(summary);
    output.line(fmt::format("Pulled {} {} ({}): {} in {}, {}.", escapeControls(target.app().displayName),
                            context.versionString, context.id(),
                            counted(static_cast<std::size_t>(summary.totalScreenshots), "screenshot"),
                            counted(static_cast<std::size_t>(summary.totalSets), "set"),
                            counted(summary.locales.size(), "locale")));
    output.line(fmt::format("{} downloaded into {}.",
                            counted(static_cast<std::size_t>(summary.thumbnailsDownloaded), "new thumbnail"),
                            store.paths().thumbnails.string()));
    for (const std::string& warning : summary.warnings)
        output.warning(warning);
    return ExitStatus::done;
}

ExitStatus showScreenshotStatus(Invocation& invocation) {
    AppTarget target(invocation, AppTarget::Reach::records);
    const ContextID id = target.localContext();
    const ScreenshotPaths paths = screenshotPaths(target.appFolder(), id);
    const auto catalog = loadCatalog(paths.catalog);
    if (!catalog)
        throw CommandError(
            ExitStatus::notFound,
            fmt::format("the screenshots of {} have not been pulled into {}", id.text(),
                        target.appFolder().rootURL.string()),
            "Pull them with 'quorvel screenshots pull', or check --folder, --app and --context.");
    const ScreenshotSelection selection = selectionOf(invocation);
    auto scan = std::filesystem::is_directory(paths.pictures) ? scanScreenshots(paths.pictures, selection)
                                                              : ScreenshotPushScanner::ScanResult();
    const auto prepared =
        prepareScreenshots(std::move(scan), *catalog, modeOf(invocation, ScreenshotPushMode::replaceSet),
                           checkOf(invocation), selection);
    Output& output = invocation.output;
    output.document(ScreenshotStatusDocument{paths.pictures.string(), id.text(), catalog->lastPulledAt,
                                             catalog->versionString, prepared.plan.sets, prepared.guesses,
                                             prepared.warnings, prepared.failures});
    printScreenshotSets(output, prepared.plan.sets);
    printRemarks(output, prepared);
    if (!std::filesystem::is_directory(paths.pictures))
        output.note(ScreenshotError::noFolder(paths.pictures).what());
    const bool deletes = std::ranges::any_of(
        prepared.plan.sets, [](const ScreenshotSetStatus& set) { return !set.toDelete.empty(); });
    if (deletes && !invocation.arguments.has("--mode"))
        output.note("Shown is what a push with --mode replace does; without it a push only adds.");
    if (catalog->lastPulledAt)
        output.note(fmt::format("As of the pull at {}.", shortTime(*catalog->lastPulledAt)));
    return ExitStatus::done;
}

ExitStatus pushScreenshots(Invocation& invocation) {
    const ScreenshotSelection selection = selectionOf(invocation);
    AppTarget target(invocation, AppTarget::Reach::account);
    const PlatformContext context = currentContext(invocation, target);
    if (!context.takesPushes()) throw ScreenshotError::readOnlyVersion(context.versionString);
    const ScreenshotsStore store(target.appFolder(), context, invocation.composition.clock());
    auto scan = scanScreenshots(store.paths().pictures, selection);
    const auto locales = localesOf(scan);
    // Another push of this folder would take our reservations for remains.
    std::optional<FileLock> lock;
    if (!invocation.global.dryRun) lock = lockFolder(target.appFolder(), "a push of screenshots");
    invocation.output.progress("Comparing with App Store Connect…");
    // Not with the catalogue: it may be older than the last push.
    ScreenshotsCatalog remote;
    if (!locales.empty()) remote = store.readRemote(target.client(), locales);
    const auto prepared =
        prepareScreenshots(std::move(scan), remote, modeOf(invocation, ScreenshotPushMode::append),
                           checkOf(invocation), selection);
    requireSetLimits(prepared.plan.edits);
    printRemarks(invocation.output, prepared);
    const ScreenshotPush push{invocation, target, context, store, locales, prepared};
    return invocation.global.dryRun ? rehearse(push) : perform(push);
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
            {"--no-check", "", "Also take pictures of a wrong size, format or with an alpha channel"}};
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
         .run = reporting<pullScreenshots>,
         .details = "The list becomes screenshots-catalog.json and the thumbnails lie in screenshots-cache, "
                    "both in the app's metadata folder; contexts other than ios/next append their name."},
        {.name = "screenshots status",
         .summary = "Compare the local screenshots with the last pull",
         .arguments = comparingArguments(),
         .heeds = {"--app", "--context"},
         .run = reporting<showScreenshotStatus>,
         .details = "Shows for each locale and display type what a push would delete, upload and move; "
                    "without --mode, what would make both sides the same (replace)."},
        {.name = "screenshots push",
         .summary = "Upload the local screenshots to App Store Connect",
         .arguments = pushArguments(),
         .heeds = {"--app", "--context", "--dry-run", "--yes"},
         .run = reporting<pushScreenshots>,
         .details =
             "Pictures lie in screenshots/<locale>/<display type> in the app's metadata folder and are shown "
             "in the natural order of their names; a display type that no folder names is told by the "
             "picture's size, and said. PNG and JPEG files of the right size without transparency are taken. "
             "Without --mode the new files are appended. What is there already is not sent again, so a push "
             "that was cut off goes on where it was. A file that fails does not stop the others and ends the "
             "push with status 7. On a terminal the push is confirmed first, unless --yes is given."},
    };
}

} // namespace quorvel
