#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataTexts.h"
#include "Programs/quorvel/AppLookup.h"
#include "Programs/quorvel/AppTarget.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/MetadataRecords.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

ExitStatus addLocale(Invocation& invocation) {
    const std::string locale = *invocation.arguments.value("LOCALE");
    if (!isAppStoreLocale(locale)) {
        const auto nearest = nearestAppStoreLocale(locale);
        throw UsageError(fmt::format("{} is no App Store locale", quotedWord(locale)),
                         nearest ? fmt::format("Did you mean {}?", *nearest)
                                 : fmt::format("The locales are {}.", fmt::join(appStoreLocales(), ", ")));
    }
    AppTarget target(invocation, AppTarget::Reach::account);
    const auto context = target.givenContext();
    const auto added = target.controller()->addLocale(
        locale, context ? std::optional(context->text()) : std::nullopt, dryRunOf(invocation.global));
    invocation.output.document(added);
    Output& output = invocation.output;
    if (added.existed)
        output.line(fmt::format("{} is there already, in {}.", locale, added.folder));
    else if (invocation.global.dryRun)
        output.line(fmt::format("Would add {} in {}; dry run: nothing was written.", locale, added.folder));
    else
        output.line(fmt::format("Added {}: write its texts in {} ({}). The next push creates the "
                                "localization on App Store Connect.",
                                locale, added.folder, shortLimitsText));
    return ExitStatus::done;
}

ExitStatus listLocales(Invocation& invocation) {
    const ManagedApp app = requireRecordedApp(invocation);
    const auto locales = invocation.composition.apps().locales(app.id);
    invocation.output.document(locales);
    Table table{.columns = {{"Locale"}, {"Takes part"}}, .rows = {}};
    for (const ManagedLocale& locale : locales)
        table.rows.push_back(
            {locale.code, locale.enabled ? Table::Cell{"yes", Style::green} : Table::Cell{"no", Style::dim}});
    if (locales.empty())
        invocation.output.line("No locale is recorded. A pull records those of the app.");
    else
        invocation.output.table(table);
    return ExitStatus::done;
}

ExitStatus switchLocales(Invocation& invocation, bool enabled) {
    const ManagedApp app = requireRecordedApp(invocation);
    const AppRecords apps = invocation.composition.apps();
    const auto known = apps.locales(app.id);
    std::vector<ManagedLocale> changed;
    for (const std::string& code : invocation.arguments.values("LOCALE")) {
        if (std::ranges::find(changed, code, &ManagedLocale::code) != changed.end()) continue;
        const auto found = std::ranges::find(known, code, &ManagedLocale::code);
        if (found == known.end())
            throw CommandError(
                ExitStatus::notFound,
                fmt::format("{} does not manage the locale {}", app.displayName, quotedWord(code)),
                "'quorvel locale list' lists those that it does.");
        changed.push_back(*found);
        changed.back().enabled = enabled;
    }
    apps.setLocales(app.id, changed);
    invocation.output.document(changed);
    invocation.output.line(
        enabled ? fmt::format("{} {} part in pull and push again.", counted(changed.size(), "locale"),
                              changed.size() == 1 ? "takes" : "take")
                : fmt::format("{} no longer {} part in pull and push; the texts stay.",
                              counted(changed.size(), "locale"), changed.size() == 1 ? "takes" : "take"));
    return ExitStatus::done;
}

ExitStatus enableLocales(Invocation& invocation) {
    return switchLocales(invocation, true);
}

ExitStatus disableLocales(Invocation& invocation) {
    return switchLocales(invocation, false);
}

ArgumentSpec localeArgument(std::string_view description, ArgumentSpec::Count count) {
    return {"LOCALE",
            "LOCALE",
            description,
            {},
            ArgumentSpec::Need::required,
            count,
            {appStoreLocales().begin(), appStoreLocales().end()}};
}

} // namespace

std::vector<Command> localeCommands() {
    using Count = ArgumentSpec::Count;
    return {
        {.name = "locale", .summary = "Add locales, and choose those that take part"},
        {.name = "locale add",
         .summary = "Add a locale; the next push creates it on App Store Connect",
         .arguments = {localeArgument("The locale, such as pt-BR", Count::once), folderArgument()},
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
    };
}

} // namespace quorvel
