#include "Core/metadata/Locales.h"
#include "Platform/text/Counted.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/AppSettingsActions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

std::string codesOf(const std::vector<ManagedLocale>& locales, bool enabled) {
    std::vector<std::string> codes;
    for (const ManagedLocale& locale : locales)
        if (locale.enabled == enabled) codes.push_back(locale.code);
    return codes.empty() ? "none" : fmt::format("{}", fmt::join(codes, ", "));
}

std::string orNone(std::string_view text) {
    return text.empty() ? "none" : std::string(text);
}

// "high tide: Hochwasser (de-DE), marée haute (fr-FR); moon: lune (fr-FR)"
std::string glossaryText(const ManagedApp& app) {
    std::vector<std::string> terms;
    for (const auto& [term, renderings] : app.glossary) {
        std::vector<std::string> each;
        for (const auto& [locale, rendering] : renderings)
            each.push_back(fmt::format("{} ({})", rendering, locale));
        terms.push_back(fmt::format("{}: {}", term, fmt::join(each, ", ")));
    }
    return orNone(fmt::format("{}", fmt::join(terms, "; ")));
}

// "de-DE:high tide=Hochwasser"; a locale has no colon.
void addRendering(SetApp::Request& request, const std::string& given) {
    const std::size_t colon = given.find(':');
    const std::size_t equals = given.find('=', colon == given.npos ? 0 : colon);
    if (colon == given.npos || equals == given.npos)
        throw UsageError(fmt::format("--glossary {} is no rendering of a term", quotedWord(given)),
                         "Write it as LOCALE:TERM=RENDERING, such as \"de-DE:high tide=Hochwasser\".");
    request.glossary[given.substr(colon + 1, equals - colon - 1)][given.substr(0, colon)] =
        given.substr(equals + 1);
}

void printRules(Output& output, const std::vector<FieldRule>& rules) {
    Table table{.columns = {{"Field"}, {"Translate"}, {"Limit", Table::Align::right}, {"Own limit"}},
                .rows = {}};
    for (const FieldType field : storeTexts) {
        const auto rule = std::ranges::find(rules, rawValue(field), &FieldRule::fieldType);
        const bool isSet = rule != rules.end();
        table.rows.push_back({rawValue(field), isSet ? rule->translateMode : "–",
                              std::to_string(limitOf(field)),
                              isSet && rule->maxLength ? std::to_string(*rule->maxLength) : ""});
    }
    output.table(table);
}

std::string treeText(const ShowApp::Result& record) {
    if (!record.tree) return "none";
    return record.tree->layout == TreeLayout::platforms
               ? "another tool's, in place; a folder per platform"
               : fmt::format("another tool's, in place; its locales are those of {}/next",
                             platformFolderName(record.tree->platform));
}

void printApp(Invocation& invocation, const ShowApp::Result& record) {
    Output& output = invocation.output;
    const ManagedApp& app = record.app;
    Table table{.columns = {{"What"}, {"Value", Table::Align::left, Table::Fit::wrap}}, .rows = {}};
    table.rows = {{"Name", app.displayName},
                  {"Short name", app.slug},
                  {"Bundle ID", app.bundleId},
                  {"App Store ID", app.appStoreId},
                  {"Workspace", record.workspaceName.value_or("none")},
                  {"Folder", record.folder.empty() ? "not found" : record.folder},
                  {"Tree", treeText(record)},
                  {"Final line breaks", record.finalLineBreak ? std::string(rawValue(*record.finalLineBreak))
                                                              : std::string("unknown")},
                  {"Source locale", orNone(app.sourceLocale)},
                  {"Brand voice", orNone(app.brandVoice)},
                  {"Protected terms", orNone(fmt::format("{}", fmt::join(app.protectedTerms, ", ")))},
                  {"Glossary", glossaryText(app)},
                  {"Locales", codesOf(record.locales, true)},
                  {"Disabled", codesOf(record.locales, false)},
                  {"Recorded", shortTime(app.createdAt)},
                  {"Changed", shortTime(app.updatedAt)}};
    output.table(table);
    output.line();
    printRules(output, record.rules);
    if (record.gitIgnore) output.warning(record.gitIgnore->text());
}

ExitStatus showApp(Invocation& invocation) {
    auto request = requestOf<ShowApp::Request>(invocation);
    if (const auto wanted = invocation.arguments.value("APP")) request.app = wanted;
    const auto result = perform<ShowApp>(invocation, request);
    invocation.output.document(result);
    printApp(invocation, result);
    return ExitStatus::done;
}

ExitStatus setApp(Invocation& invocation) {
    const Arguments& arguments = invocation.arguments;
    auto request = requestOf<SetApp::Request>(invocation);
    request.app = *arguments.value("APP");
    if (const auto tree = arguments.value("--tree")) request.tree = *tree == "none" ? "" : *tree;
    request.platform = arguments.value("--platform");
    request.sourceLocale = arguments.value("--source-locale");
    request.brandVoice = arguments.value("--brand-voice");
    if (arguments.has("--protected-term")) request.protectedTerms = arguments.values("--protected-term");
    if (const auto rule = arguments.value("--final-line-break"))
        request.finalLineBreak = *fromRawValue<FinalLineBreak>(*rule);
    for (const std::string& rendering : arguments.values("--glossary"))
        addRendering(request, rendering);
    for (const std::string& what : arguments.values("--clear"))
        request.clear.push_back(*fromRawValue<AppSetting>(what));
    const auto result = perform<SetApp>(invocation, request);
    invocation.output.document(result);
    printApp(invocation, result);
    return ExitStatus::done;
}

template <typename Action>
ExitStatus showRules(Invocation& invocation, const typename Action::Request& request) {
    const auto result = perform<Action>(invocation, request);
    invocation.output.document(result);
    printRules(invocation.output, result.rules);
    return ExitStatus::done;
}

ExitStatus listRules(Invocation& invocation) {
    return showRules<ListRules>(invocation, requestOf<ListRules::Request>(invocation));
}

ExitStatus setRule(Invocation& invocation) {
    auto request = requestOf<SetRule::Request>(invocation);
    request.field = *fromRawValue<FieldType>(*invocation.arguments.value("FIELD"));
    request.translate = *fromRawValue<TranslateMode>(*invocation.arguments.value("--translate"));
    const auto standard = static_cast<long>(limitOf(request.field));
    if (const auto limit = invocation.arguments.number("--max", 1, standard)) request.maxLength = *limit;
    return showRules<SetRule>(invocation, request);
}

ExitStatus resetRule(Invocation& invocation) {
    auto request = requestOf<ResetRule::Request>(invocation);
    request.field = *fromRawValue<FieldType>(*invocation.arguments.value("FIELD"));
    return showRules<ResetRule>(invocation, request);
}

} // namespace

std::vector<Command> appSettingsCommands() {
    using Count = ArgumentSpec::Count;
    using Need = ArgumentSpec::Need;
    const ArgumentSpec field = fieldArgument(Fields::ofStoreTexts);
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
                       {"--tree", "DIR",
                        "A tree of another tool, to be worked on where it is; \"none\" goes back"},
                       {"--platform",
                        "NAME",
                        "The platform of the tree's locales, where the app has several",
                        {"ios", "macos", "tvos", "visionos"}},
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
                       {"--final-line-break",
                        "RULE",
                        "Whether a line break at the end of a text file counts and is sent",
                        {"keep", "strip"}},
                       {"--glossary",
                        "ENTRY",
                        "A term's rendering, as LOCALE:TERM=RENDERING; without RENDERING it is forgotten",
                        {},
                        Need::optional,
                        Count::repeated},
                       {"--clear",
                        "WHAT",
                        "Forget this setting",
                        {"brand-voice", "protected-terms", "folder", "glossary"},
                        Need::optional,
                        Count::repeated}},
         .heeds = {"--workspace"},
         .run = setApp,
         .details =
             "The texts in the former folder stay where they are. A tree keeps its files; this program adds "
             "the folder .brevant to it, which belongs into .gitignore, as in "
             "'quorvel apps set com.example.app --tree store/metadata'. --final-line-break strip is for "
             "folders whose editors end each file with a line break; it holds for a tree unless it is set."},
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
                        "An own limit, below the App Store's, for translations and generated keywords; "
                        "a push knows the store's alone"}},
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
