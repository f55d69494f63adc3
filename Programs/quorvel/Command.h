// What a command of the program is: a value that the parser, the help and the completion all read.
#pragma once

#include "Programs/quorvel/ExitStatus.h"

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

struct Invocation;

/// An option ("--key-id"), a flag, or a positional argument ("DIR").
struct ArgumentSpec {
    enum class Need { optional, required };
    enum class Count { once, repeated };

    std::string_view name;
    std::string_view value; // what stands for the value in the help; empty for a flag
    std::string_view description;
    std::vector<std::string_view> choices = {}; // all values that it takes; any when empty
    Need need = Need::optional;
    Count count = Count::once;
    std::vector<std::string_view> suggestions = {}; // values that completion offers, though others are taken
    /// The choice that another spelling means; nothing where it means none.
    std::optional<std::string_view> (*choiceOf)(std::string_view) = nullptr;

    [[nodiscard]] bool isPositional() const { return !name.starts_with('-'); }
    [[nodiscard]] bool isFlag() const { return value.empty() && !isPositional(); }
    /// Whether one value may be several choices, separated by commas.
    [[nodiscard]] bool takesLists() const { return count == Count::repeated && !choices.empty(); }
};

/// The values that were given, by name.
class Arguments {
  public:
    void add(std::string_view name, std::vector<std::string> values);
    [[nodiscard]] bool has(std::string_view name) const { return given_.contains(name); }
    [[nodiscard]] std::optional<std::string> value(std::string_view name) const;
    [[nodiscard]] std::vector<std::string> values(std::string_view name) const;
    /// The value as a number between the bounds; nothing when it was not given. Throws `UsageError`.
    [[nodiscard]] std::optional<long> number(std::string_view name, long minimum, long maximum) const;

  private:
    std::map<std::string, std::vector<std::string>, std::less<>> given_;
};

/// A command, or the name of a group of commands (`run` is null then).
struct Command {
    std::string_view name; // such as "auth set"
    std::string_view summary;
    std::vector<ArgumentSpec> arguments = {};
    std::vector<std::string_view> heeds = {}; // the global options that matter to it, besides those of all
    ExitStatus (*run)(Invocation&) = nullptr;
    std::string_view details = {}; // further paragraphs of the help
    // Changes App Store Connect, or deletes: somebody at a terminal is asked first, else --yes is needed.
    bool asksFirst = false;

    /// The last word of the name, and the words before it.
    [[nodiscard]] std::string_view lastWord() const;
    [[nodiscard]] std::string_view parent() const;
};

/// The items of "de-DE,ja".
[[nodiscard]] std::vector<std::string> itemsOf(std::string_view list);

/// All commands and groups; a group stands before its members.
[[nodiscard]] std::span<const Command> allCommands();
[[nodiscard]] const Command* findCommand(std::string_view name);
/// The options that every command accepts, before or after its name.
[[nodiscard]] std::span<const ArgumentSpec> globalArguments();

} // namespace quorvel
