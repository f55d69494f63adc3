#include "Programs/quorvel/Completion.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Help.h"
#include "Programs/quorvel/Invocation.h"
#include "Programs/quorvel/Spelling.h"
#include "Programs/quorvel/commands/Groups.h"

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
