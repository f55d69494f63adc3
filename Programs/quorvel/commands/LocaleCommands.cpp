#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataTexts.h"
#include "Platform/task/Task.h"
#include "Platform/text/Counted.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Quorvel/actions/LocaleActions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <map>

namespace quorvel {

namespace {

ExitStatus addLocale(Invocation& invocation) {
    auto request = requestOf<AddLocale::Request>(invocation);
    request.locale = *invocation.arguments.value("LOCALE");
    if (!nearestAppStoreLocale(request.locale))
        throw UsageError(fmt::format("{} is no App Store locale", quotedWord(request.locale)),
                         fmt::format("The locales are {}.", fmt::join(appStoreLocales(), ", ")));
    const auto result = perform<AddLocale>(invocation, request);
    const auto& [locale, folder, existed] = result.added;
    Output& output = invocation.output;
    output.document(result);
    if (existed)
        output.line(fmt::format("{} is there already, in {}.", locale, folder));
    else if (request.dryRun)
        output.line(fmt::format("Would add {} in {}; dry run: nothing was written.", locale, folder));
    else
        output.line(fmt::format(
            "Added {}: write its texts in {} ({}). The next push creates the localization on App Store "
            "Connect.",
            locale, folder, shortLimitsText));
    return ExitStatus::done;
}

void printLocales(Output& output, const std::vector<ManagedLocale>& locales) {
    Table table{.columns = {{"Locale"}, {"Takes part"}, {"Safe mode"}, {"Script"}}, .rows = {}};
    for (const ManagedLocale& locale : locales)
        table.rows.push_back(
            {locale.code, locale.enabled ? Table::Cell{"yes", Style::green} : Table::Cell{"no", Style::dim},
             locale.aiSafeMode ? Table::Cell{"on", Style::green} : Table::Cell{"off", Style::dim},
             locale.preferredScript.value_or("")});
    output.table(table);
}

// The columns of the list: what a version needs, and what most have.
constexpr std::array listedFields = {
    FieldType::name,         FieldType::subtitle,        FieldType::description, FieldType::keywords,
    FieldType::releaseNotes, FieldType::promotionalText, FieldType::supportURL};

Table::Cell presenceCell(Presence presence, bool wasPulled) {
    switch (presence) {
    case Presence::missing:
        return {"–", Style::yellow};
    case Presence::local:
        return wasPulled ? Table::Cell{"local", Style::cyan} : Table::Cell{"yes"};
    case Presence::appStoreConnect:
        return {"store", Style::yellow};
    case Presence::both:
        break;
    }
    return {"yes"};
}

void printOverview(Output& output, const ListLocales::Result& result) {
    const LocaleOverview& overview = *result.texts;
    Table table{.columns = {{"Locale"}}, .rows = {}};
    for (const FieldType field : listedFields)
        table.columns.push_back({std::string(shortLabelOf(field)), Table::Align::left, Table::Fit::cut});
    table.columns.push_back({"Screenshots", Table::Align::left, Table::Fit::cut});
    table.columns.push_back({"Remarks", Table::Align::left, Table::Fit::wrap});
    std::map<std::string, const LocalePresence*> byLocale;
    for (const LocalePresence& one : overview.locales)
        byLocale[one.locale] = &one;
    std::map<std::string, const ManagedLocale*> managed;
    for (const ManagedLocale& locale : result.locales) {
        managed[locale.code] = &locale;
        byLocale.try_emplace(locale.code, nullptr);
    }
    for (const auto& [locale, presence] : byLocale) {
        const auto record = managed.find(locale);
        const bool isDisabled = record != managed.end() && !record->second->enabled;
        auto& row = table.rows.emplace_back();
        row.push_back({locale, isDisabled ? Style::dim : Style::plain});
        for (const FieldType field : listedFields)
            row.push_back(
                presenceCell(presence ? presence->texts.at(std::string(rawValue(field))) : Presence::missing,
                             overview.wasPulled));
        row.push_back(presenceCell(presence ? presence->screenshots : Presence::missing, overview.wasPulled));
        std::vector<std::string_view> remarks;
        if (isDisabled) remarks.emplace_back("disabled");
        if (!presence || !presence->hasFolder) remarks.emplace_back("no folder here");
        if (!isAppStoreLocale(locale)) remarks.emplace_back("no App Store locale");
        if (record != managed.end() && record->second->aiSafeMode) remarks.emplace_back("safe mode");
        row.push_back(fmt::format("{}", fmt::join(remarks, ", ")));
    }
    output.table(table);
    output.note(overview.wasPulled
                    ? "yes: here and on App Store Connect, local or store: on that side alone, –: missing"
                    : "yes: here, –: missing. Nothing was pulled, so App Store Connect's side is not known.");
}

ExitStatus listLocales(Invocation& invocation) {
    const auto result = perform<ListLocales>(invocation, requestOf<ListLocales::Request>(invocation));
    invocation.output.document(result);
    if (result.texts && (!result.texts->locales.empty() || !result.locales.empty()))
        printOverview(invocation.output, result);
    else if (result.locales.empty())
        invocation.output.line("No locale is recorded. A pull records those of the app.");
    else
        printLocales(invocation.output, result.locales);
    return ExitStatus::done;
}

std::string labelsOfFields(const std::vector<FieldType>& fields) {
    std::vector<std::string_view> labels;
    for (const FieldType field : fields)
        labels.push_back(shortLabelOf(field));
    return fmt::format("{}", fmt::join(labels, ", "));
}

void printRemoval(Output& output, const PlannedLocaleRemoval& removal) {
    if (removal.refusal)
        return output.line(fmt::format("{} stays: it {}", removal.locale, textOf(*removal.refusal)));
    output.line(removal.locale);
    if (removal.hasFolder)
        output.line(fmt::format("  here: {} ({}), moved into a backup",
                                counted(removal.localTexts.size(), "text"),
                                labelsOfFields(removal.localTexts)));
    if (!removal.unsent.empty())
        output.line(
            fmt::format("  edits that App Store Connect does not hold: {}", labelsOfFields(removal.unsent)));
    if (removal.hasVersionLocalization || removal.deletesAppInfo())
        output.line(fmt::format(
            "  on App Store Connect: {} ({}){}", counted(removal.storeTexts.size(), "text"),
            labelsOfFields(removal.storeTexts),
            removal.screenshotSets.empty()
                ? ""
                : fmt::format(", and the screenshots of {}", fmt::join(removal.screenshotSets, ", "))));
    if (!removal.sharedWith.empty())
        output.line(fmt::format("  name and subtitle stay on App Store Connect, as {} has the locale too",
                                fmt::join(removal.sharedWith, ", ")));
}

// What all locales that could not be removed share tells how the program ends.
ExitStatus statusOfRemovals(const std::vector<LocaleRemovalOutcome>& outcomes) {
    std::vector<ExitStatus> reasons;
    for (const LocaleRemovalOutcome& outcome : outcomes)
        if (outcome.refusal)
            reasons.push_back(*outcome.refusal == RemovalRefusal::nowhere ? ExitStatus::notFound
                                                                          : ExitStatus::refusedByState);
        else if (outcome.error)
            reasons.push_back(outcome.failure ? statusOf(failureKindOf(*outcome.failure))
                                              : ExitStatus::failed);
    if (reasons.empty()) return ExitStatus::done;
    if (reasons.size() < outcomes.size()) return ExitStatus::partlyDone;
    const bool shared = std::ranges::count(reasons, reasons.front()) == std::ranges::ssize(reasons);
    return shared ? reasons.front() : ExitStatus::failed;
}

void printOutcome(Output& output, const LocaleRemovalOutcome& outcome, RemovalPlace place) {
    if (outcome.refusal)
        return output.warning(fmt::format("{} stays: it {}", outcome.locale, textOf(*outcome.refusal)));
    if (outcome.error)
        output.warning(fmt::format("{}: {} Remove it again to go on.", outcome.locale, *outcome.error));
    if (outcome.removedFromAppStoreConnect)
        output.line(fmt::format("Removed {} from App Store Connect.", outcome.locale));
    if (outcome.movedTo) output.line(fmt::format("Moved {} to {}.", outcome.locale, *outcome.movedTo));
    if (place == RemovalPlace::local && outcome.movedTo)
        output.note(fmt::format("A pull brings {} back as long as App Store Connect has it; 'quorvel locale "
                                "disable {}' prevents that.",
                                outcome.locale, outcome.locale));
    if (place == RemovalPlace::appStoreConnect && outcome.removedFromAppStoreConnect)
        output.note(fmt::format("A push creates {} again as long as its folder is here.", outcome.locale));
}

ExitStatus removeLocales(Invocation& invocation) {
    Output& output = invocation.output;
    const Arguments& arguments = invocation.arguments;
    auto request = requestOf<PlanLocaleRemoval::Request>(invocation);
    request.locales = listOf(arguments, "LOCALE");
    if (arguments.has("--local") && arguments.has("--remote"))
        throw UsageError("--local and --remote exclude each other",
                         "Without both, the locale is removed on both sides.");
    if (arguments.has("--local")) request.place = RemovalPlace::local;
    if (arguments.has("--remote")) request.place = RemovalPlace::appStoreConnect;
    const auto planned = perform<PlanLocaleRemoval>(invocation, request);
    const LocaleRemovalPlan& plan = planned.plan;
    const auto printPlan = [&](Output& shown) {
        for (const PlannedLocaleRemoval& removal : plan.locales)
            printRemoval(shown, removal);
    };
    std::vector<std::string> names;
    std::vector<LocaleRemovalOutcome> refused;
    for (const PlannedLocaleRemoval& removal : plan.locales)
        if (removal.refusal)
            refused.push_back(
                {.locale = removal.locale, .movedTo = {}, .refusal = removal.refusal, .error = {}});
        else
            names.push_back(removal.locale);
    if (invocation.global.dryRun || names.empty()) {
        output.document(planned);
        printPlan(output);
        if (!names.empty()) output.note("Dry run: nothing was removed.");
        if (names.empty()) return statusOfRemovals(refused);
        return refused.empty() ? ExitStatus::done : ExitStatus::partlyDone;
    }
    const std::string where =
        plan.place == RemovalPlace::local ? "here"
        : plan.place == RemovalPlace::appStoreConnect
            ? fmt::format("on App Store Connect ({} {})", plan.app.displayName, plan.context)
            : fmt::format("here and on App Store Connect ({} {})", plan.app.displayName, plan.context);
    const Consent consent =
        askConsent(invocation, {fmt::format("Remove {} {}?", fmt::join(names, ", "), where),
                                "Nothing was removed.", printPlan});
    const auto result = perform<RemoveLocales>(invocation, {plan, invocation.global.workspace}, consent);
    output.document(result);
    for (const LocaleRemovalOutcome& outcome : result.report.outcomes)
        printOutcome(output, outcome, plan.place);
    if (result.report.historyProblem) output.warning(*result.report.historyProblem);
    if (result.report.run)
        output.note(
            fmt::format("'quorvel history revert {}' writes the texts that App Store Connect held into "
                        "files again.",
                        result.report.run->substr(0, 8)));
    checkCancellation();
    return statusOfRemovals(result.report.outcomes);
}

ExitStatus setLocales(Invocation& invocation) {
    auto request = requestOf<SetLocales::Request>(invocation);
    request.locales = listOf(invocation.arguments, "LOCALE");
    if (const auto mode = invocation.arguments.value("--safe-mode")) request.safeMode = *mode == "on";
    request.script = invocation.arguments.value("--script");
    if (request.script == "none") request.script = "";
    const auto result = perform<SetLocales>(invocation, request);
    invocation.output.document(result);
    printLocales(invocation.output, result.locales);
    return ExitStatus::done;
}

ExitStatus switchLocales(Invocation& invocation, bool enabled) {
    auto request = requestOf<SwitchLocales::Request>(invocation);
    request.locales = listOf(invocation.arguments, "LOCALE");
    request.enabled = enabled;
    const auto result = perform<SwitchLocales>(invocation, request);
    invocation.output.document(result);
    const std::string locales = counted(result.locales.size(), "locale");
    const std::string_view take = result.locales.size() == 1 ? "takes" : "take";
    invocation.output.line(
        enabled ? fmt::format("{} {} part in pull and push again.", locales, take)
                : fmt::format("{} no longer {} part in pull and push; the texts stay.", locales, take));
    return ExitStatus::done;
}

ExitStatus enableLocales(Invocation& invocation) {
    return switchLocales(invocation, true);
}

ExitStatus disableLocales(Invocation& invocation) {
    return switchLocales(invocation, false);
}

ArgumentSpec localeArgument(std::string_view description, ArgumentSpec::Count count) {
    return {"LOCALE", "LOCALE", description, {}, ArgumentSpec::Need::required, count};
}

ArgumentSpec newLocaleArgument() {
    ArgumentSpec locale = localeArgument("The locale, such as pt-BR", ArgumentSpec::Count::once);
    locale.suggestions = {appStoreLocales().begin(), appStoreLocales().end()};
    return locale;
}

} // namespace

std::vector<Command> localeCommands() {
    using Count = ArgumentSpec::Count;
    return {
        {.name = "locale", .summary = "Add, list and remove locales, and choose those that take part"},
        {.name = "locale add",
         .summary = "Add a locale; the next push creates it on App Store Connect",
         .arguments = {newLocaleArgument(), folderArgument()},
         .heeds = {"--app", "--workspace", "--context", "--dry-run"},
         .run = addLocale,
         .details = addLocaleText},
        {.name = "locale list",
         .summary = "List an app's locales and what is missing of each",
         .arguments = {folderArgument()},
         .heeds = {"--app", "--workspace", "--context"},
         .run = listLocales,
         .details = "Asks nobody: what App Store Connect holds is what the last pull brought."},
        {.name = "locale remove",
         .summary = "Remove locales here, into a backup, and on App Store Connect",
         .arguments = {localeArgument("The locales", Count::repeated),
                       {"--local", "", "Only the files here, which are moved under .brevant/kept"},
                       {"--remote", "", "Only on App Store Connect"},
                       folderArgument()},
         .heeds = {"--app", "--workspace", "--context", "--dry-run", "--yes"},
         .run = removeLocales,
         .details = "Shows first what would be lost: texts, edits that were not sent, screenshots. Name and "
                    "subtitle belong to the app's versions of all platforms and stay on App Store Connect as "
                    "long as an open version of another platform has the locale. What App Store Connect held "
                    "is in the history, and 'quorvel history revert' writes it into files again; screenshots "
                    "there are gone. The primary locale cannot be removed; with --local the source "
                    "locale, as nobody is asked.",
         .asksFirst = true},
        {.name = "locale enable",
         .summary = "Let locales take part in pull and push again",
         .arguments = {localeArgument("The locales", Count::repeated)},
         .heeds = {"--app", "--workspace"},
         .run = enableLocales},
        {.name = "locale disable",
         .summary = "Leave locales out of pull and push",
         .arguments = {localeArgument("The locales", Count::repeated)},
         .heeds = {"--app", "--workspace"},
         .run = disableLocales},
        {.name = "locale set",
         .summary = "Say how texts of locales are generated",
         .arguments = {localeArgument("The locales", Count::repeated),
                       {"--safe-mode", "MODE", "Whether generated texts never replace one", {"on", "off"}},
                       {"--script", "SCRIPT", "The script to write in, such as Latn; none forgets it"}},
         .heeds = {"--app", "--workspace"},
         .run = setLocales},
    };
}

} // namespace quorvel
