#include "Platform/text/Spelling.h"
#include "Programs/quorvel/Completion.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Help.h"
#include "Programs/quorvel/Invocation.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Quorvel/actions/ActionCatalogue.h"

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

ExitStatus printHelp(Invocation& invocation) {
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
                        ArgumentSpec::Count::repeated}},
         .run = printHelp},
        {.name = "schema",
         .summary = "List the actions, or print the JSON Schema of an action's request and result",
         .arguments = {{"ACTION", "ACTION", "The action, such as push_texts"}},
         .run = showSchemas,
         .details = "A command performs one action, or a preparing one and then the one that it prepares; "
                    "--json prints the result of the last."},
        {.name = "completion",
         .summary = "Print a script with which a shell completes commands and options",
         .arguments =
             {{"SHELL", "SHELL", "The shell", {"bash", "zsh", "fish"}, ArgumentSpec::Need::required}},
         .run = printCompletion,
         .details = "bash: source <(quorvel completion bash)\n"
                    "zsh: quorvel completion zsh > ~/.zfunc/_quorvel, with ~/.zfunc in fpath\n"
                    "fish: quorvel completion fish > ~/.config/fish/completions/quorvel.fish"},
    };
}

} // namespace quorvel
