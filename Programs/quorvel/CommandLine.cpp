#include "Programs/quorvel/CommandLine.h"

#include "Platform/text/Spelling.h"
#include "Programs/quorvel/Errors.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

constexpr std::string_view endOfOptions = "--";
constexpr ArgumentSpec versionFlag{"--version", "", "Prints the version"};

void add(CLI::App& app, const ArgumentSpec& argument) {
    std::string name(argument.name);
    if (argument.name == "--help") name = "-h,--help";
    if (argument.isFlag()) {
        app.add_flag(name);
        return;
    }
    // Repetitions are judged below, where the message can name them.
    auto* option = app.add_option(name, CLI::callback_t([](const CLI::results_t&) { return true; }));
    const bool takesMore = argument.isPositional() && argument.count == ArgumentSpec::Count::repeated;
    option->expected(1)->allow_extra_args(takesMore)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

// The choices that the values name, in whatever spelling; what is none stays for the check to refuse.
std::vector<std::string> choicesIn(const ArgumentSpec& spec, const std::vector<std::string>& values) {
    std::vector<std::string> choices;
    for (const std::string& value : values)
        for (std::string& item : spec.takesLists() ? itemsOf(value) : std::vector{value}) {
            const auto meant = spec.choiceOf ? spec.choiceOf(item) : std::nullopt;
            choices.push_back(meant ? std::string(*meant) : std::move(item));
        }
    return choices;
}

void collect(const CLI::App& app, std::span<const ArgumentSpec> specs, Arguments& arguments) {
    for (const ArgumentSpec& spec : specs) {
        const CLI::Option* option = app.get_option_no_throw(std::string(spec.name));
        if (!option || option->count() == 0) continue;
        if (spec.choices.empty())
            arguments.add(spec.name, option->results());
        else
            arguments.add(spec.name, choicesIn(spec, option->results()));
    }
}

// The tree of commands; the options of one are made only when it is named.
class Tree {
  public:
    Tree() : root_("", "quorvel") {
        configure(root_);
        for (const ArgumentSpec& argument : globalArguments())
            add(root_, argument);
        add(root_, versionFlag);
        for (const Command& command : allCommands())
            addCommand(command);
    }

    ParsedLine parse(const std::vector<std::string>& words) {
        std::vector<std::string> reversed(words.rbegin(), words.rend());
        root_.parse(std::move(reversed));
        ParsedLine line{.command = named()};
        collect(root_, globalArguments(), line.arguments);
        if (line.command) collect(*apps_.at(line.command->name), line.command->arguments, line.arguments);
        line.wantsVersion = root_.get_option(std::string(versionFlag.name))->count() > 0;
        refuseUnknown(line, root_.remaining(true), words);
        return line;
    }

  private:
    static void configure(CLI::App& app) {
        app.set_help_flag();
        app.allow_extras();
        app.require_subcommand(0, 1); // behind one, the names of others are plain words
    }

    void addCommand(const Command& command) {
        CLI::App& parent = command.parent().empty() ? root_ : *apps_.at(command.parent());
        CLI::App* app = parent.add_subcommand(std::string(command.lastWord()));
        configure(*app);
        app->fallthrough();
        app->preparse_callback([app, &command](std::size_t) {
            for (const ArgumentSpec& argument : command.arguments)
                add(*app, argument);
        });
        apps_[command.name] = app;
    }

    const Command* named() const {
        const Command* found = nullptr;
        for (const Command& command : allCommands())
            if (apps_.at(command.name)->parsed()) found = &command;
        return found;
    }

    void refuseUnknown(const ParsedLine& line, std::vector<std::string> unknown,
                       const std::vector<std::string>& words) const {
        std::erase(unknown, endOfOptions);
        if (unknown.empty()) return;
        const std::string& word = unknown.front();
        const std::string name = word.substr(0, word.find('='));
        std::vector<std::string_view> known;
        const auto end = std::ranges::find(words, endOfOptions);
        const bool isOption =
            word.size() > 1 && word.front() == '-' && std::find(words.begin(), end, word) != end;
        const bool takesSubcommand = !line.command || !line.command->run;
        if (isOption) {
            for (const auto specs : {globalArguments(), line.command ? std::span(line.command->arguments)
                                                                     : std::span<const ArgumentSpec>{}})
                for (const ArgumentSpec& spec : specs)
                    if (!spec.isPositional()) known.push_back(spec.name);
        } else {
            for (const Command& command : allCommands())
                if (command.parent() == (line.command ? line.command->name : ""))
                    known.push_back(command.lastWord());
        }
        const auto nearest = nearestSpelling(name, known);
        const std::string_view kind = isOption ? "option" : takesSubcommand ? "command" : "argument";
        throw UsageError(fmt::format("unknown {} {}{}", kind, quotedWord(isOption ? name : word),
                                     line.command ? fmt::format(" of \"{}\"", line.command->name) : ""),
                         nearest ? fmt::format("Did you mean {}?", *nearest)
                                 : fmt::format("See 'quorvel{}{} --help'.", line.command ? " " : "",
                                               line.command ? line.command->name : ""));
    }

    CLI::App root_;
    std::map<std::string_view, CLI::App*> apps_;
};

void checkChoice(const ArgumentSpec& spec, const std::string& value) {
    if (spec.choices.empty() || std::ranges::find(spec.choices, value) != spec.choices.end()) return;
    const auto nearest = nearestSpelling(value, spec.choices);
    throw UsageError(fmt::format("{} is no value of {}", quotedWord(value), spec.name),
                     nearest ? fmt::format("Did you mean {}?", *nearest)
                             : fmt::format("It takes one of: {}.", fmt::join(spec.choices, ", ")));
}

bool isOption(std::string_view word, const Command* command) {
    const auto isIn = [&](std::span<const ArgumentSpec> specs) {
        return std::ranges::find(specs, word, &ArgumentSpec::name) != specs.end();
    };
    return word.starts_with("--") && (isIn(globalArguments()) || (command && isIn(command->arguments)));
}

void checkArguments(std::span<const ArgumentSpec> specs, const ParsedLine& line,
                    const std::vector<std::string>& words) {
    const auto end = std::ranges::find(words, endOfOptions);
    for (const ArgumentSpec& spec : specs) {
        const auto values = line.arguments.values(spec.name);
        if (values.empty() && spec.need == ArgumentSpec::Need::required)
            throw UsageError(fmt::format("\"{}\" needs {}", line.command->name,
                                         spec.isPositional() ? std::string(spec.name)
                                                             : fmt::format("{} {}", spec.name, spec.value)),
                             fmt::format("See 'quorvel {} --help'.", line.command->name));
        if (spec.isFlag()) {
            const std::string withValue = fmt::format("{}=", spec.name);
            if (std::any_of(words.begin(), end,
                            [&](const std::string& word) { return word.starts_with(withValue); }))
                throw UsageError(fmt::format("{} takes no value", spec.name));
            continue;
        }
        if (values.size() > 1 && spec.count == ArgumentSpec::Count::once)
            throw UsageError(fmt::format("{} is given more than once", spec.name));
        for (const std::string& value : values) {
            if (value.empty()) throw UsageError(fmt::format("the value of {} is empty", spec.name));
            if (isOption(value, line.command) && std::find(words.begin(), end, value) != end)
                throw UsageError(
                    fmt::format("{} needs a value, and {} is an option", spec.name, quotedWord(value)));
            checkChoice(spec, value);
        }
    }
}

// An unset variable behind an option ("--app=") must not swallow the next word, nor an option be a value.
void refuseMissingValues(const std::vector<std::string>& words) {
    for (const std::string& word : words) {
        if (word == endOfOptions) return;
        if (word.starts_with("--") && word.ends_with('=') && word.find('=') == word.size() - 1)
            throw UsageError(fmt::format("the value of {} is empty",
                                         quotedWord(std::string_view(word).substr(0, word.size() - 1))));
    }
}

} // namespace

ParsedLine parseCommandLine(const std::vector<std::string>& words) {
    refuseMissingValues(words);
    ParsedLine line;
    try {
        line = Tree().parse(words);
    } catch (const CLI::ArgumentMismatch& error) {
        const std::string text = error.what(); // "--app: 1 required TEXT missing"
        throw UsageError(fmt::format("{} needs a value", text.substr(0, text.find(':'))));
    } catch (const CLI::Error& error) {
        throw UsageError(error.what());
    }
    if (line.arguments.has("--help") || line.wantsVersion) return line;
    checkArguments(globalArguments(), line, words);
    if (line.command) checkArguments(line.command->arguments, line, words);
    return line;
}

} // namespace quorvel
