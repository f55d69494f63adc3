#include "Core/metadata/Locales.h"
#include "Platform/text/Counted.h"
#include "Platform/text/Spelling.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Completion.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Help.h"
#include "Programs/quorvel/ManualPages.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Quorvel/actions/ActionCatalogue.h"
#include "Quorvel/actions/AppActions.h"
#include "Quorvel/actions/HistoryActions.h"
#include "Quorvel/actions/LocaleActions.h"
#include "Quorvel/actions/WorkspaceActions.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace quorvel {

namespace {

struct CompletionRecord {
    std::string shell;
    std::string script;
    QUORVEL_RECORD(CompletionRecord, shell, script)
};

ExitStatus printCompletion(Invocation& invocation) {
    const std::string shell = *invocation.arguments.value("SHELL");
    const std::string script = completionScript(shell);
    invocation.output.document(CompletionRecord{shell, script});
    if (!invocation.output.isJSON()) invocation.output.raw(script);
    return ExitStatus::done;
}

struct CompletionValues {
    std::vector<std::string> values;
    QUORVEL_RECORD(CompletionValues, values)
};

// The locales of the app that is meant; all of the App Store where none is.
std::vector<std::string> localesFor(Invocation& invocation) {
    try {
        std::vector<std::string> codes;
        for (const auto& locale :
             perform<ListLocales>(invocation, requestOf<ListLocales::Request>(invocation)).locales)
            codes.push_back(locale.code);
        if (!codes.empty()) return codes;
    } catch (
        const std::exception&) { // there is no such app, nobody said which, or its folder is not to be read
    }
    return {appStoreLocales().begin(), appStoreLocales().end()};
}

std::vector<std::string> runsFor(Invocation& invocation) {
    std::vector<std::string> runs;
    for (const HistoryRun& run : perform<ListRuns>(invocation, requestOf<ListRuns::Request>(invocation)).runs)
        runs.push_back(run.shortName);
    if (!runs.empty()) runs.insert(runs.begin(), "last");
    return runs;
}

// Asks nobody, and nothing but the records.
std::vector<std::string> completionValues(Invocation& invocation, std::string_view kind) {
    if (kind == "locales") return localesFor(invocation);
    if (kind == "runs") return runsFor(invocation);
    std::vector<std::string> values;
    if (kind == "apps")
        for (const AppOverview& app :
             perform<ListApps>(invocation, requestOf<ListApps::Request>(invocation)).apps)
            values.push_back(app.slug);
    else
        for (const auto& workspace : perform<ListWorkspaces>(invocation, {}).workspaces)
            values.push_back(workspace.name);
    return values;
}

ExitStatus printValues(Invocation& invocation) {
    const CompletionValues found{completionValues(invocation, *invocation.arguments.value("KIND"))};
    invocation.output.document(found);
    for (const std::string& value : found.values)
        invocation.output.verbatim(onOneLine(value));
    return ExitStatus::done;
}

struct ManualPagesRecord {
    std::vector<std::string> files;
    QUORVEL_RECORD(ManualPagesRecord, files)
};

ExitStatus writeManual(Invocation& invocation, const std::filesystem::path& folder) {
    ManualPagesRecord written;
    for (const auto& file : writeManualPages(folder))
        written.files.push_back(file.string());
    invocation.output.document(written);
    invocation.output.line(fmt::format("{} in {}.", counted(written.files.size(), "manual page"),
                                       escapeControls(folder.string())));
    return ExitStatus::done;
}

ExitStatus printHelp(Invocation& invocation) {
    if (const auto folder = invocation.arguments.value("--manual-pages"))
        return writeManual(invocation, *folder);
    const std::string name = fmt::format("{}", fmt::join(invocation.arguments.values("COMMAND"), " "));
    const Command* command = findCommand(name);
    if (!command && !name.empty()) {
        std::vector<std::string_view> names;
        for (const Command& known : allCommands())
            names.push_back(known.name);
        const auto nearest = nearestSpelling(name, names);
        throw UsageError(fmt::format("unknown command {}", quotedWord(name)),
                         nearest ? fmt::format("Did you mean {}?", *nearest) : "See 'quorvel --help'.");
    }
    return showHelp(invocation.output, command);
}

struct ActionSchema {
    std::string name;
    std::string title;
    Effect effect = Effect::none;
    JSONValue request;
    JSONValue result;
    QUORVEL_RECORD(ActionSchema, name, title, effect, request, result)
};

ExitStatus printSchema(Invocation& invocation) {
    Output& output = invocation.output;
    const std::string name = *invocation.arguments.value("ACTION");
    const ActionDescription* action = findAction(name);
    if (!action) {
        std::vector<std::string_view> names;
        for (const ActionDescription& known : allActions())
            names.push_back(known.info.name);
        const auto nearest = nearestSpelling(name, names);
        throw CommandError(ExitStatus::notFound, fmt::format("there is no action {}", quotedWord(name)),
                           nearest ? fmt::format("Did you mean {}?", *nearest)
                                   : "'quorvel schema' lists the actions.");
    }
    const ActionSchema schema{std::string(action->info.name), std::string(action->info.title),
                              action->info.effect, action->requestSchema(), action->resultSchema()};
    output.document(schema);
    if (!output.isJSON()) output.raw(encodeJSON(schema, {JSONLayout::pretty, JSONKeyOrder::declared}) + "\n");
    return ExitStatus::done;
}

struct ActionList {
    struct Entry {
        std::string name;
        std::string title;
        Effect effect = Effect::none;
        QUORVEL_RECORD(Entry, name, title, effect)
    };
    std::vector<Entry> actions;
    QUORVEL_RECORD(ActionList, actions)
};

ExitStatus listSchemas(Invocation& invocation) {
    ActionList list;
    Table table{.columns = {{"Action"}, {"Changes"}, {"What", Table::Align::left, Table::Fit::wrap}},
                .rows = {}};
    for (const ActionDescription& action : allActions()) {
        const ActionInfo& info = action.info;
        list.actions.push_back({std::string(info.name), std::string(info.title), info.effect});
        table.rows.push_back({info.name, rawValue(info.effect), info.title});
    }
    invocation.output.document(list);
    invocation.output.table(table);
    return ExitStatus::done;
}

ExitStatus showSchemas(Invocation& invocation) {
    return invocation.arguments.has("ACTION") ? printSchema(invocation) : listSchemas(invocation);
}

} // namespace

std::vector<Command> shellCommands() {
    return {
        {.name = "help",
         .summary = "Show the help of the program or of a command",
         .arguments = {{"COMMAND",
                        "COMMAND",
                        "The command, such as auth set",
                        {},
                        ArgumentSpec::Need::optional,
                        ArgumentSpec::Count::repeated},
                       {"--manual-pages", "DIR", "Write the manual pages of all commands into this folder"}},
         .run = printHelp},
        {.name = "schema",
         .summary = "List the actions, or print the JSON Schema of an action's request and result",
         .arguments = {{"ACTION", "ACTION", "The action, such as push_texts"}},
         .run = showSchemas,
         .details = "A command performs one action, or a preparing one and then the one that it prepares; "
                    "--json prints the result of the last."},
        {.name = "completion",
         .summary = "Print a script with which a shell completes commands, options and recorded names",
         .arguments =
             {{"SHELL", "SHELL", "The shell", {"bash", "zsh", "fish"}, ArgumentSpec::Need::required}},
         .run = printCompletion,
         .details = "bash: source <(quorvel completion bash)\n"
                    "zsh: quorvel completion zsh > ~/.zfunc/_quorvel, with ~/.zfunc in fpath\n"
                    "fish: quorvel completion fish > ~/.config/fish/completions/quorvel.fish"},
        {.name = "completion values",
         .summary = "Print what is recorded here, a value per line, as the scripts of the shells ask for it",
         .arguments = {{"KIND",
                        "KIND",
                        "What is completed",
                        {"apps", "workspaces", "runs", "locales"},
                        ArgumentSpec::Need::required}},
         .heeds = {"--app", "--workspace"},
         .run = printValues},
    };
}

} // namespace quorvel
