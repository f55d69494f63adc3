#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataPuller.h"
#include "Core/metadata/MetadataTexts.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/MetadataTarget.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/MetadataRecords.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

void reportKept(Output& output, const PullResult& result) {
    for (const std::string& warning : result.summary.warnings)
        output.warning(warning);
    for (const KeptEdit& kept : result.kept)
        output.warning(fmt::format("the local {} of {} was edited; it was put aside as {}",
                                   shortLabelOf(kept.field), kept.locale, kept.path));
    for (const FieldKey& left : result.leftEdits)
        output.warning(fmt::format("the local {} of {} was edited and left in place",
                                   shortLabelOf(left.field), left.locale));
}

// For somebody who does not know yet that an app has several.
void reportContexts(Output& output, const MetadataFolder& app, const Clock& clock) {
    const auto persisted = ContextsStore(app, clock).load();
    if (!persisted || persisted->contexts.size() < 2) return;
    std::vector<std::string> names;
    std::ranges::transform(persisted->contexts, std::back_inserter(names), &PlatformContext::id);
    output.note(fmt::format("The app has {}. {}", fmt::join(names, ", "), switchContextText));
}

ExitStatus pull(Invocation& invocation) {
    MetadataTarget target(invocation);
    const AppListEntry& app = target.app();
    if (invocation.global.context) (void)target.localContext(); // refuses a misspelt one before anything else
    // The default folder is the app's own; one that was named may be another's.
    if (invocation.arguments.has("--folder")) target.requireSameApp();
    const auto edits =
        invocation.arguments.has("--leave-edits") ? LocalEdits::leaveInPlace : LocalEdits::keepBeside;
    invocation.output.progress(fmt::format("Pulling {}…", app.name));
    const PullResult result = pullApp(invocation.composition.client(), invocation.composition.clock(), app.id,
                                      target.appFolder(), invocation.global.context, edits);
    const PullSummary& summary = result.summary;
    invocation.output.document(result);
    invocation.output.line(fmt::format(
        "Pulled {} {} ({}): {}, {} into {}.", escapeControls(app.name), summary.versionString.value_or("?"),
        summary.appStoreState.value_or("?"), counted(summary.locales.size(), "locale"),
        counted(static_cast<std::size_t>(summary.writtenFields), "field"),
        target.appFolder().rootURL.string()));
    invocation.output.line(result.updated.empty()
                               ? "Nothing new on App Store Connect."
                               : fmt::format("{} took a new text.", counted(result.updated.size(), "field")));
    reportKept(invocation.output, result);
    reportContexts(invocation.output, target.appFolder(), invocation.composition.clock());
    return ExitStatus::done;
}

struct LocaleAddedRecord {
    std::string locale;
    std::string folder;
    bool existed = false;
    QUORVEL_RECORD(LocaleAddedRecord, locale, folder, existed)
};

void createLocale(const MetadataStore& store, const std::string& locale) {
    try {
        store.createLocaleLocally(locale);
    } catch (const FileError& error) {
        Logger("LocaleCommand").error(fmt::format("Add locale failed: {}", error.what()));
        throw CommandError(ExitStatus::failed, localeFolderFailedText(error.what()));
    }
}

ExitStatus addLocale(Invocation& invocation) {
    const std::string locale = *invocation.arguments.value("LOCALE");
    if (!isAppStoreLocale(locale)) {
        const auto nearest = nearestAppStoreLocale(locale);
        throw UsageError(fmt::format("{} is no App Store locale", quotedWord(locale)),
                         nearest ? fmt::format("Did you mean {}?", *nearest)
                                 : fmt::format("The locales are {}.", fmt::join(appStoreLocales(), ", ")));
    }
    MetadataTarget target(invocation);
    const MetadataStore store = target.storeOf(target.knownContext());
    const std::string folder = store.folder().localeFolder(locale).string();
    const bool existed = std::filesystem::exists(folder);
    if (!invocation.global.dryRun) createLocale(store, locale);
    invocation.output.document(LocaleAddedRecord{locale, folder, existed});
    invocation.output.line(existed
                               ? fmt::format("{} is there already, in {}.", locale, folder)
                               : fmt::format("Added {}: write its texts in {} ({}). The next push creates "
                                             "the localization on App Store Connect.",
                                             locale, folder, shortLimitsText));
    return ExitStatus::done;
}

} // namespace

std::vector<Command> pullCommands() {
    return {
        {.name = "pull",
         .summary = "Copy the store texts of an app into its metadata folder",
         .arguments = {folderArgument(),
                       {"--leave-edits", "", "Leave local edits in place instead of putting them aside"}},
         .heeds = {"--app", "--context"},
         .run = pull,
         .details = "One text file per field and locale, <folder>/ios/next/de-DE/subtitle.txt for example, "
                    "for any editor. A local text that was edited since the last pull is put aside under "
                    ".brevant/kept before it is replaced."},
        {.name = "locale", .summary = "Add locales"},
        {.name = "locale add",
         .summary = "Add a locale; the next push creates it on App Store Connect",
         .arguments = {{"LOCALE",
                        "LOCALE",
                        "The locale, such as pt-BR",
                        {},
                        ArgumentSpec::Need::required,
                        ArgumentSpec::Count::once,
                        {appStoreLocales().begin(), appStoreLocales().end()}},
                       folderArgument()},
         .heeds = {"--app", "--context", "--dry-run"},
         .run = addLocale,
         .details = addLocaleText},
    };
}

} // namespace quorvel
