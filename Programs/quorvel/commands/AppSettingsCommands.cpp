#include "Core/metadata/Locales.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/AppLookup.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/commands/AppOverviews.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/MetadataRecords.h"
#include "Quorvel/workspace/AppFolder.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

struct AppRecord {
    ManagedApp app;
    std::optional<std::string> workspaceName;
    std::string folder;
    std::vector<ManagedLocale> locales;
    std::vector<FieldRule> rules;
    QUORVEL_RECORD(AppRecord, app, workspaceName, folder, locales, rules)
};

AppRecord recordOf(Invocation& invocation, const ManagedApp& app) {
    const AppRecords apps = invocation.composition.apps();
    const AppOverview overview = overviewsOf(invocation, {app}, PendingChanges::leave).front();
    return {app, overview.workspaceName, overview.folder, apps.locales(app.id), apps.rules(app.id)};
}

std::string codesOf(const std::vector<ManagedLocale>& locales, bool enabled) {
    std::vector<std::string> codes;
    for (const ManagedLocale& locale : locales)
        if (locale.enabled == enabled) codes.push_back(locale.code);
    return codes.empty() ? "none" : fmt::format("{}", fmt::join(codes, ", "));
}

std::string orNone(std::string_view text) {
    return text.empty() ? "none" : std::string(text);
}

void printRules(Output& output, const std::vector<FieldRule>& rules) {
    Table table{.columns = {{"Field"}, {"Translate"}, {"Limit", Table::Align::right}, {"Own limit"}},
                .rows = {}};
    for (const FieldType field : allFieldTypes) {
        const auto rule = std::ranges::find(rules, rawValue(field), &FieldRule::fieldType);
        const bool isSet = rule != rules.end();
        table.rows.push_back({rawValue(field), isSet ? rule->translateMode : "–",
                              std::to_string(limitOf(field)),
                              isSet && rule->maxLength ? std::to_string(*rule->maxLength) : ""});
    }
    output.table(table);
}

void printApp(Invocation& invocation, const AppRecord& record) {
    Output& output = invocation.output;
    const ManagedApp& app = record.app;
    Table table{.columns = {{"What"}, {"Value", Table::Align::left, Table::Fit::wrap}}, .rows = {}};
    table.rows = {{"Name", app.displayName},
                  {"Short name", app.slug},
                  {"Bundle ID", app.bundleId},
                  {"App Store ID", app.appStoreId},
                  {"Workspace", record.workspaceName.value_or("none")},
                  {"Folder", record.folder.empty() ? "not found" : record.folder},
                  {"Source locale", orNone(app.sourceLocale)},
                  {"Brand voice", orNone(app.brandVoice)},
                  {"Protected terms", orNone(fmt::format("{}", fmt::join(app.protectedTerms, ", ")))},
                  {"Glossary", counted(app.glossary.size(), "term")},
                  {"Locales", codesOf(record.locales, true)},
                  {"Disabled", codesOf(record.locales, false)},
                  {"Recorded", shortTime(app.createdAt)},
                  {"Changed", shortTime(app.updatedAt)}};
    output.table(table);
    output.line();
    printRules(output, record.rules);
}

ExitStatus showApp(Invocation& invocation) {
    const auto wanted = invocation.arguments.value("APP");
    const AppRecord record = recordOf(invocation, wanted ? requireRecordedApp(invocation, *wanted)
                                                         : requireRecordedApp(invocation));
    invocation.output.document(record);
    printApp(invocation, record);
    return ExitStatus::done;
}

void clear(ManagedApp& app, std::string_view what) {
    if (what == "brand-voice") app.brandVoice.clear();
    if (what == "protected-terms") app.protectedTerms.clear();
    if (what == "folder") app.metadataFolderBookmark.reset();
}

ExitStatus setApp(Invocation& invocation) {
    const Arguments& arguments = invocation.arguments;
    ManagedApp app = requireRecordedApp(invocation, *arguments.value("APP"));
    const ManagedApp before = app;
    for (const std::string& what : arguments.values("--clear"))
        clear(app, what);
    if (const auto voice = arguments.value("--brand-voice")) app.brandVoice = *voice;
    if (arguments.has("--protected-term")) app.protectedTerms = arguments.values("--protected-term");
    if (const auto locale = arguments.value("--source-locale")) {
        if (!isAppStoreLocale(*locale)) {
            const auto nearest = nearestAppStoreLocale(*locale);
            throw UsageError(fmt::format("{} is no App Store locale", quotedWord(*locale)),
                             nearest ? fmt::format("Did you mean {}?", *nearest) : "");
        }
        app.sourceLocale = *locale;
    }
    const AppRecords apps = invocation.composition.apps();
    apps.together([&] { // a folder that is refused leaves the rest as it was
        if (app != before) app = apps.update(app);
        if (const auto folder = arguments.value("--folder"))
            app = chooseAppFolder(
                app, MetadataFolder{(invocation.surroundings.workingFolder / *folder).lexically_normal()},
                invocation.composition.home(), apps);
    });
    if (app == before) throw UsageError("\"apps set\" changes nothing", "See 'quorvel apps set --help'.");
    const AppRecord record = recordOf(invocation, app);
    invocation.output.document(record);
    printApp(invocation, record);
    return ExitStatus::done;
}

ExitStatus listRules(Invocation& invocation) {
    const ManagedApp app = requireRecordedApp(invocation);
    const auto rules = invocation.composition.apps().rules(app.id);
    invocation.output.document(rules);
    printRules(invocation.output, rules);
    return ExitStatus::done;
}

ExitStatus setRule(Invocation& invocation) {
    const ManagedApp app = requireRecordedApp(invocation);
    const FieldType field = *fromRawValue<FieldType>(*invocation.arguments.value("FIELD"));
    const AppRecords apps = invocation.composition.apps();
    const auto standard = static_cast<long>(limitOf(field));
    const auto limit = invocation.arguments.number("--max", 1, standard);
    const auto mode = fromRawValue<TranslateMode>(*invocation.arguments.value("--translate"));
    apps.setRule(app.id,
                 FieldRule::of(field, *mode, limit ? std::optional<std::int64_t>(*limit) : std::nullopt));
    return listRules(invocation);
}

ExitStatus resetRule(Invocation& invocation) {
    const ManagedApp app = requireRecordedApp(invocation);
    invocation.composition.apps().removeRule(app.id,
                                             *fromRawValue<FieldType>(*invocation.arguments.value("FIELD")));
    return listRules(invocation);
}

} // namespace

std::vector<Command> appSettingsCommands() {
    using Count = ArgumentSpec::Count;
    using Need = ArgumentSpec::Need;
    std::vector<std::string_view> fields;
    for (const FieldType field : allFieldTypes)
        fields.push_back(rawValue(field));
    const ArgumentSpec field = {"FIELD", "FIELD", "The field", fields, Need::required};
    return {
        {.name = "apps show",
         .summary = "Show everything that is recorded of an app",
         .arguments = {{"APP", "APP", "The app"}},
         .heeds = {"--app", "--workspace"},
         .run = showApp},
        {.name = "apps set",
         .summary = "Change what is recorded of an app",
         .arguments = {{"APP", "APP", "The app", {}, Need::required},
                       {"--folder", "DIR", "Its metadata folder from now on"},
                       {"--source-locale",
                        "LOCALE",
                        "The locale from which translations start",
                        {},
                        Need::optional,
                        Count::once,
                        {appStoreLocales().begin(), appStoreLocales().end()}},
                       {"--brand-voice", "TEXT", "The tone of its texts, in your words"},
                       {"--protected-term",
                        "TERM",
                        "A term that stays untranslated; replaces the former ones",
                        {},
                        Need::optional,
                        Count::repeated},
                       {"--clear",
                        "WHAT",
                        "Forget this setting",
                        {"brand-voice", "protected-terms", "folder"},
                        Need::optional,
                        Count::repeated}},
         .heeds = {"--workspace"},
         .run = setApp,
         .details = "The texts in the former folder stay where they are."},
        {.name = "rules",
         .summary = "Show the rules of an app's fields",
         .heeds = {"--app", "--workspace"},
         .run = listRules},
        {.name = "rules set",
         .summary = "Say how a field is translated, and how long a translation may be",
         .arguments = {field,
                       {"--translate",
                        "MODE",
                        "Whether and how it is translated",
                        {"off", "on", "optimized"},
                        Need::required},
                       {"--max", "NUMBER",
                        "An own limit, below the App Store's, for translations and generated keywords; a "
                        "push knows the "
                        "store's alone"}},
         .heeds = {"--app", "--workspace"},
         .run = setRule},
        {.name = "rules reset",
         .summary = "Forget the rule of a field",
         .arguments = {field},
         .heeds = {"--app", "--workspace"},
         .run = resetRule},
    };
}

} // namespace quorvel
