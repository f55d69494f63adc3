#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataTexts.h"
#include "Platform/text/Counted.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Quorvel/actions/LocaleActions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

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

ExitStatus listLocales(Invocation& invocation) {
    const auto result = perform<ListLocales>(invocation, requestOf<ListLocales::Request>(invocation));
    invocation.output.document(result);
    if (result.locales.empty())
        invocation.output.line("No locale is recorded. A pull records those of the app.");
    else
        printLocales(invocation.output, result.locales);
    return ExitStatus::done;
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
        {.name = "locale", .summary = "Add locales, and choose those that take part"},
        {.name = "locale add",
         .summary = "Add a locale; the next push creates it on App Store Connect",
         .arguments = {newLocaleArgument(), folderArgument()},
         .heeds = {"--app", "--workspace", "--context", "--dry-run"},
         .run = addLocale,
         .details = addLocaleText},
        {.name = "locale list",
         .summary = "List the locales that an app manages",
         .heeds = {"--app", "--workspace"},
         .run = listLocales},
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
