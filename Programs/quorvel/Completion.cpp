#include "Programs/quorvel/Completion.h"

#include "Programs/quorvel/Command.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <functional>

namespace quorvel {

namespace {

enum class Completes { words, files, folders, nothing };

Completes completionOf(const ArgumentSpec& argument) {
    if (!argument.choices.empty()) return Completes::words;
    if (argument.value == "FILE") return Completes::files;
    if (argument.value == "DIR" || argument.name == "DIR") return Completes::folders;
    return Completes::nothing;
}

struct Candidate {
    std::string_view word;
    std::string_view description;
};

// What may follow a command: its members, the values of its positional arguments, its options.
std::vector<Candidate> candidatesAfter(std::string_view name) {
    std::vector<Candidate> candidates;
    for (const Command& command : allCommands())
        if (command.parent() == name) candidates.push_back({command.lastWord(), command.summary});
    const Command* command = findCommand(name);
    if (!command) return candidates;
    for (const ArgumentSpec& argument : command->arguments) {
        if (!argument.isPositional()) candidates.push_back({argument.name, argument.description});
        if (argument.isPositional())
            for (const std::string_view choice : argument.choices)
                candidates.push_back({choice, argument.description});
    }
    return candidates;
}

// Calls `write` for each option that takes a value, with the command that it belongs to ("*" for all).
void forEachValue(const std::function<void(std::string_view, const ArgumentSpec&)>& write) {
    for (const Command& command : allCommands())
        for (const ArgumentSpec& argument : command.arguments)
            if (!argument.isPositional() && !argument.isFlag()) write(command.name, argument);
    for (const ArgumentSpec& argument : globalArguments())
        if (!argument.isFlag()) write("*", argument);
}

std::string singleQuoted(std::string_view text) {
    std::string result = "'";
    for (const char character : text)
        result += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return result + "'";
}

std::string namesAsPatterns() {
    std::vector<std::string> names;
    for (const Command& command : allCommands())
        names.push_back(singleQuoted(command.name));
    return fmt::format("{}", fmt::join(names, " | "));
}

std::string pattern(std::string_view command, std::string_view option) {
    return (command == "*" ? "*" : singleQuoted(command)) + ":" + std::string(option);
}

std::string bashScript() {
    std::string script =
        "# Completion of quorvel for bash.\n_quorvel() {\n"
        "    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}\n"
        "    local command= words= index word\n"
        "    for ((index = 1; index < COMP_CWORD; index++)); do\n"
        "        word=\"${command:+$command }${COMP_WORDS[index]}\"\n"
        "        case \"$word\" in\n";
    script += fmt::format("        {}) command=$word ;;\n", namesAsPatterns());
    script += "        esac\n    done\n    case \"$command:$previous\" in\n";
    forEachValue([&](std::string_view command, const ArgumentSpec& argument) {
        static constexpr std::string_view actions[] = {"-W \"{}\"", "-f", "-d", "-W ''"};
        const auto kind = completionOf(argument);
        const std::string action = kind == Completes::words
                                       ? fmt::format("-W \"{}\"", fmt::join(argument.choices, " "))
                                       : std::string(actions[static_cast<std::size_t>(kind)]);
        script += fmt::format("    {}) COMPREPLY=($(compgen {} -- \"$current\")); return ;;\n",
                              pattern(command, argument.name), action);
    });
    script += "    esac\n    case \"$command\" in\n";
    const auto add = [&](std::string_view name) {
        std::vector<std::string_view> words;
        for (const Candidate& candidate : candidatesAfter(name))
            words.push_back(candidate.word);
        script += fmt::format("    {}) words=\"{}\" ;;\n", singleQuoted(name), fmt::join(words, " "));
    };
    add("");
    for (const Command& command : allCommands())
        add(command.name);
    std::vector<std::string_view> globals;
    for (const ArgumentSpec& argument : globalArguments())
        globals.push_back(argument.name);
    return script + fmt::format("    esac\n    COMPREPLY=($(compgen -W \"$words {}\" -- \"$current\"))\n}}\n"
                                "complete -o bashdefault -o default -F _quorvel quorvel\n",
                                fmt::join(globals, " "));
}

std::string described(const std::vector<Candidate>& candidates) {
    std::vector<std::string> entries;
    for (const Candidate& candidate : candidates)
        entries.push_back(singleQuoted(fmt::format("{}:{}", candidate.word, candidate.description)));
    return fmt::format("{}", fmt::join(entries, " "));
}

std::string zshScript() {
    std::string script = "#compdef quorvel\n# Completion of quorvel for zsh.\n_quorvel() {\n"
                         "    local command= word index\n    local -a candidates\n"
                         "    for ((index = 2; index < CURRENT; index++)); do\n"
                         "        word=\"${command:+$command }${words[index]}\"\n"
                         "        case \"$word\" in\n";
    script += fmt::format("        ({}) command=$word ;;\n", namesAsPatterns());
    script += "        esac\n    done\n    case \"$command:${words[CURRENT - 1]}\" in\n";
    forEachValue([&](std::string_view command, const ArgumentSpec& argument) {
        std::string action;
        switch (completionOf(argument)) {
        case Completes::words:
            action = fmt::format("compadd -- {}", fmt::join(argument.choices, " "));
            break;
        case Completes::files:
            action = "_files";
            break;
        case Completes::folders:
            action = "_files -/";
            break;
        case Completes::nothing:
            action = "_message value";
            break;
        }
        script += fmt::format("    ({}) {}; return ;;\n", pattern(command, argument.name), action);
    });
    script += "    esac\n    case \"$command\" in\n";
    const auto add = [&](std::string_view name) {
        script += fmt::format("    ({}) candidates=({}) ;;\n", singleQuoted(name),
                              described(candidatesAfter(name)));
    };
    add("");
    for (const Command& command : allCommands())
        add(command.name);
    std::vector<Candidate> globals;
    for (const ArgumentSpec& argument : globalArguments())
        globals.push_back({argument.name, argument.description});
    return script + fmt::format("    esac\n    candidates+=({})\n    _describe quorvel candidates\n}}\n"
                                "if [ \"${{funcstack[1]}}\" = _quorvel ]; then\n    _quorvel \"$@\"\nelse\n"
                                "    compdef _quorvel quorvel\nfi\n",
                                described(globals));
}

std::string fishOption(const ArgumentSpec& argument) {
    std::string text = fmt::format(" -l {}", argument.name.substr(2));
    switch (argument.isFlag() ? Completes::nothing : completionOf(argument)) {
    case Completes::words:
        text += fmt::format(" -x -a {}", singleQuoted(fmt::format("{}", fmt::join(argument.choices, " "))));
        break;
    case Completes::files:
        text += " -r -F";
        break;
    case Completes::folders:
        text += " -x -a '(__fish_complete_directories)'";
        break;
    case Completes::nothing:
        text += argument.isFlag() ? "" : " -x";
        break;
    }
    return text + " -d " + singleQuoted(argument.description);
}

std::string fishScript() {
    std::string script =
        "# Completion of quorvel for fish.\nfunction __quorvel_command\n    set -l command ''\n"
        "    for word in (commandline -opc)[2..-1]\n"
        "        set -l longer (string trim \"$command $word\")\n"
        "        switch $longer\n            case";
    for (const Command& command : allCommands())
        script += " " + singleQuoted(command.name);
    script +=
        "\n                set command $longer\n        end\n    end\n    echo $command\nend\n"
        "function __quorvel_is\n    test (__quorvel_command) = \"$argv\"\nend\ncomplete -c quorvel -f\n";
    const auto condition = [](std::string_view name) {
        return fmt::format("complete -c quorvel -n {}", singleQuoted(fmt::format("__quorvel_is '{}'", name)));
    };
    for (const ArgumentSpec& argument : globalArguments())
        script += "complete -c quorvel" + fishOption(argument) + "\n";
    for (const Command& command : allCommands()) {
        script += fmt::format("{} -a {} -d {}\n", condition(command.parent()),
                              singleQuoted(command.lastWord()), singleQuoted(command.summary));
        for (const ArgumentSpec& argument : command.arguments) {
            if (!argument.isPositional())
                script += condition(command.name) + fishOption(argument) + "\n";
            else if (completionOf(argument) == Completes::folders)
                script += condition(command.name) + " -a '(__fish_complete_directories)'\n";
            else if (!argument.choices.empty())
                script += condition(command.name) + " -a " +
                          singleQuoted(fmt::format("{}", fmt::join(argument.choices, " "))) + "\n";
        }
    }
    return script;
}

} // namespace

std::string completionScript(std::string_view shell) {
    if (shell == "zsh") return zshScript();
    if (shell == "fish") return fishScript();
    return bashScript();
}

} // namespace quorvel
