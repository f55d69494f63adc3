#include "Programs/quorvel/Completion.h"

#include "Programs/quorvel/Command.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <functional>
#include <utility>

namespace quorvel {

namespace {

enum class Completes { words, files, folders, records, nothing };

// What the program itself is asked for when somebody completes a line.
std::string_view recordsFor(const ArgumentSpec& argument) {
    static constexpr std::pair<std::string_view, std::string_view> kinds[] = {
        {"APP", "apps"}, {"WORKSPACE", "workspaces"}, {"RUN", "runs"}, {"LOCALE", "locales"}};
    for (const auto& [value, kind] : kinds)
        if (argument.value == value) return kind;
    return {};
}

const std::vector<std::string_view>& wordsFor(const ArgumentSpec& argument) {
    return argument.choices.empty() ? argument.suggestions : argument.choices;
}

Completes completionOf(const ArgumentSpec& argument) {
    if (!wordsFor(argument).empty()) return Completes::words;
    if (!recordsFor(argument).empty()) return Completes::records;
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
            for (const std::string_view choice : wordsFor(argument))
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

// Calls `write` for each command with an argument that stands for records.
void forEachRecord(const std::function<void(std::string_view command, std::string_view kind)>& write) {
    for (const Command& command : allCommands())
        for (const ArgumentSpec& argument : command.arguments)
            if (argument.isPositional() && completionOf(argument) == Completes::records)
                write(command.name, recordsFor(argument));
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

std::string wordsOf(const std::vector<Candidate>& candidates) {
    std::vector<std::string_view> words;
    for (const Candidate& candidate : candidates)
        words.push_back(candidate.word);
    return fmt::format("{}", fmt::join(words, " "));
}

std::string described(const std::vector<Candidate>& candidates) {
    std::vector<std::string> entries;
    for (const Candidate& candidate : candidates)
        entries.push_back(singleQuoted(fmt::format("{}:{}", candidate.word, candidate.description)));
    return fmt::format("{}", fmt::join(entries, " "));
}

std::vector<Candidate> globalCandidates() {
    std::vector<Candidate> candidates;
    for (const ArgumentSpec& argument : globalArguments())
        candidates.push_back({argument.name, argument.description});
    return candidates;
}

// A branch of a shell's "case" for the start of the line and for each command.
std::string branches(const std::function<std::string(std::string_view command)>& branch) {
    std::string text = branch("");
    for (const Command& command : allCommands())
        text += branch(command.name);
    return text;
}

std::string bashValues() {
    std::string text;
    forEachValue([&](std::string_view command, const ArgumentSpec& argument) {
        static constexpr std::string_view actions[] = {"", "-f", "-d", "", "-W ''"};
        const auto kind = completionOf(argument);
        std::string action = fmt::format("COMPREPLY=($(compgen {} -- \"$current\"))",
                                         kind == Completes::words
                                             ? fmt::format("-W \"{}\"", fmt::join(wordsFor(argument), " "))
                                             : std::string(actions[static_cast<std::size_t>(kind)]));
        if (kind == Completes::records) action = fmt::format("_quorvel_records {}", recordsFor(argument));
        text += fmt::format("    {}) {}; return ;;\n", pattern(command, argument.name), action);
    });
    return text;
}

std::string bashRecords() {
    std::string text;
    forEachRecord([&](std::string_view command, std::string_view kind) {
        text += fmt::format("    {}) _quorvel_records {} ;;\n", singleQuoted(command), kind);
    });
    return text;
}

// Names come from outside, so they are compared here and quoted: compgen would expand what is in them.
std::string bashScript() {
    return fmt::format(
        R"sh(# Completion of quorvel for bash.
_quorvel_records() {{
    local value
    while IFS= read -r value; do
        [[ $value == "$current"* ]] && COMPREPLY+=("$(printf '%q' "$value")")
    done < <("${{COMP_WORDS[0]/#~\//$HOME/}}" completion values "$1" "${{given[@]}}" 2> /dev/null)
}}
_quorvel() {{
    local current=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}}
    local command= words= index word
    local -a given=(--quiet)
    for ((index = 1; index < COMP_CWORD; index++)); do
        word="${{command:+$command }}${{COMP_WORDS[index]}}"
        case "$word" in
        {}) command=$word ;;
        esac
        case "${{COMP_WORDS[index - 1]}}" in
        --app | --workspace | --home) given+=("${{COMP_WORDS[index - 1]}}" "${{COMP_WORDS[index]}}") ;;
        esac
    done
    case "$command:$previous" in
{}    esac
    case "$command" in
{}    esac
    COMPREPLY=($(compgen -W "$words {}" -- "$current"))
    case "$command" in
{}    esac
}}
complete -o bashdefault -o default -F _quorvel quorvel
)sh",
        namesAsPatterns(), bashValues(), branches([](std::string_view command) {
            return fmt::format("    {}) words=\"{}\" ;;\n", singleQuoted(command),
                               wordsOf(candidatesAfter(command)));
        }),
        wordsOf(globalCandidates()), bashRecords());
}

std::string zshValues() {
    std::string text;
    forEachValue([&](std::string_view command, const ArgumentSpec& argument) {
        static constexpr std::string_view actions[] = {"", "_files", "_files -/", "", "_message value"};
        const auto kind = completionOf(argument);
        const std::string action =
            kind == Completes::words     ? fmt::format("compadd -- {}", fmt::join(wordsFor(argument), " "))
            : kind == Completes::records ? fmt::format("_quorvel_records {}", recordsFor(argument))
                                         : std::string(actions[static_cast<std::size_t>(kind)]);
        text += fmt::format("    ({}) {}; return ;;\n", pattern(command, argument.name), action);
    });
    return text;
}

std::string zshRecords() {
    std::string text;
    forEachRecord([&](std::string_view command, std::string_view kind) {
        text += fmt::format("    ({}) _quorvel_records {} ;;\n", singleQuoted(command), kind);
    });
    return text;
}

std::string zshScript() {
    return fmt::format(
        R"sh(#compdef quorvel
# Completion of quorvel for zsh.
_quorvel_records() {{
    local -a values
    values=("${{(@f)$(${{~words[1]}} completion values $1 $given 2> /dev/null)}}")
    compadd -a values
}}
_quorvel() {{
    local command= word index
    local -a candidates given
    given=(--quiet)
    for ((index = 2; index < CURRENT; index++)); do
        word="${{command:+$command }}${{words[index]}}"
        case "$word" in
        ({}) command=$word ;;
        esac
        case "${{words[index - 1]}}" in
        (--app | --workspace | --home) given+=("${{(Q)words[index - 1]}}" "${{(Q)words[index]}}") ;;
        esac
    done
    case "$command:${{words[CURRENT - 1]}}" in
{}    esac
    case "$command" in
{}    esac
    candidates+=({})
    _describe quorvel candidates
    case "$command" in
{}    esac
}}
if [ "${{funcstack[1]}}" = _quorvel ]; then
    _quorvel "$@"
else
    compdef _quorvel quorvel
fi
)sh",
        namesAsPatterns(), zshValues(), branches([](std::string_view command) {
            return fmt::format("    ({}) candidates=({}) ;;\n", singleQuoted(command),
                               described(candidatesAfter(command)));
        }),
        described(globalCandidates()), zshRecords());
}

std::string fishOption(const ArgumentSpec& argument) {
    std::string text = fmt::format(" -l {}", argument.name.substr(2));
    switch (argument.isFlag() ? Completes::nothing : completionOf(argument)) {
    case Completes::words:
        text += fmt::format(" -x -a {}", singleQuoted(fmt::format("{}", fmt::join(wordsFor(argument), " "))));
        break;
    case Completes::files:
        text += " -r -F";
        break;
    case Completes::folders:
        text += " -x -a '(__fish_complete_directories)'";
        break;
    case Completes::records:
        text += fmt::format(" -x -a '(__quorvel_records {})'", recordsFor(argument));
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
    script += "\n                set command $longer\n        end\n    end\n    echo $command\nend\n"
              "function __quorvel_is\n    test (__quorvel_command) = \"$argv\"\nend\n"
              "function __quorvel_records\n    set -l words (commandline -opc)\n    set -l given --quiet\n"
              "    for index in (seq 2 (math (count $words) - 1))\n"
              "        switch $words[$index]\n            case --app --workspace --home\n"
              "                set -a given $words[$index] $words[(math $index + 1)]\n        end\n    end\n"
              "    eval $words[1] completion values $argv (string escape -- $given) 2>/dev/null\nend\n"
              "complete -c quorvel -f\n";
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
            else if (completionOf(argument) == Completes::records)
                script += condition(command.name) +
                          fmt::format(" -a '(__quorvel_records {})'\n", recordsFor(argument));
            else if (completionOf(argument) == Completes::folders)
                script += condition(command.name) + " -a '(__fish_complete_directories)'\n";
            else if (!wordsFor(argument).empty())
                script += condition(command.name) + " -a " +
                          singleQuoted(fmt::format("{}", fmt::join(wordsFor(argument), " "))) + "\n";
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
