#include "Programs/quorvel/Completion.h"
#include "Programs/quorvel/Invocation.h"
#include "Programs/quorvel/commands/Groups.h"

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

} // namespace

std::vector<Command> shellCommands() {
    return {
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
