#include "Programs/quorvel/Command.h"

#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/GlobalOptions.h"
#include "Programs/quorvel/commands/Groups.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace quorvel {

void Arguments::add(std::string_view name, std::vector<std::string> values) {
    auto& known = given_[std::string(name)];
    known.insert(known.end(), std::make_move_iterator(values.begin()), std::make_move_iterator(values.end()));
}

std::optional<std::string> Arguments::value(std::string_view name) const {
    const auto found = given_.find(name);
    if (found == given_.end() || found->second.empty()) return std::nullopt;
    return found->second.front();
}

std::vector<std::string> Arguments::values(std::string_view name) const {
    const auto found = given_.find(name);
    return found == given_.end() ? std::vector<std::string>{} : found->second;
}

std::optional<long> Arguments::number(std::string_view name, long minimum, long maximum) const {
    const auto text = value(name);
    if (!text) return std::nullopt;
    long number = 0;
    const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), number);
    if (error != std::errc{} || end != text->data() + text->size() || number < minimum || number > maximum)
        throw UsageError(fmt::format("{} is no value of {}", quotedWord(*text), name),
                         fmt::format("It takes a whole number from {} to {}.", minimum, maximum));
    return number;
}

std::vector<std::string> itemsOf(std::string_view list) {
    std::vector<std::string> items;
    while (true) {
        const std::size_t end = std::min(list.find(','), list.size());
        const std::string_view item = trim(list.substr(0, end));
        if (!item.empty()) items.emplace_back(item);
        if (end == list.size()) break;
        list.remove_prefix(end + 1);
    }
    if (items.empty()) items.emplace_back(); // for who checks it: a list of nothing is no missing option
    return items;
}

std::string_view Command::lastWord() const {
    return name.substr(name.rfind(' ') + 1);
}

std::string_view Command::parent() const {
    const std::size_t end = name.rfind(' ');
    return end == std::string_view::npos ? std::string_view{} : name.substr(0, end);
}

std::span<const Command> allCommands() {
    static const std::vector<Command> commands = [] {
        std::vector<Command> all;
        for (const auto& group : commandGroups)
            for (Command& command : group())
                all.push_back(std::move(command));
        return all;
    }();
    return commands;
}

const Command* findCommand(std::string_view name) {
    const auto commands = allCommands();
    const auto found = std::ranges::find(commands, name, &Command::name);
    return found == commands.end() ? nullptr : &*found;
}

std::span<const ArgumentSpec> globalArguments() {
    static const std::vector<ArgumentSpec> arguments = {
        {"--help", "", "Show help and do nothing else"},
        {"--json", "", "Print exactly one JSON document on standard output"},
        {"--quiet", "", "No messages beside the result"},
        {"--verbose", "", "Tell on standard error what is sent and how much of the quota is left"},
        {"--no-color", "", "No colours"},
        {"--yes", "", "Answer every question with yes"},
        {"--dry-run", "", "Show the changes that would be made and make none, where a command lists it"},
        {"--workspace", "WORKSPACE", "The workspace to work in, instead of the active one"},
        {"--app", "APP",
         "The app: bundle id, App Store id, short name or name; the only recorded one when left out"},
        {"--context",
         "PLATFORM/SLOT",
         "The version to work on: ios, macos, tvos or visionos, and next or live, such as ios/next. "
         "Each is pulled into its own folder; only next takes a push",
         {},
         ArgumentSpec::Need::optional,
         ArgumentSpec::Count::once,
         {"ios/next", "ios/live", "macos/next", "macos/live", "tvos/next", "tvos/live", "visionos/next",
          "visionos/live"}},
        {"--key-id", "ID", "Key ID of the API key, instead of the environment's or the stored one"},
        {"--issuer-id", "ID", "Issuer ID of the API key"},
        {"--p8", "FILE", "The key's .p8 file; - reads it from standard input"},
        {"--home", "DIR", "Use this folder in place of your home folder"},
        {"--endpoints", "FILE", "Use the service addresses that this file names"},
        {"--ca-file", "FILE",
         "Trust the certificate authorities in this PEM file, as SSL_CERT_FILE and CURL_CA_BUNDLE do"},
        {"--proxy", "URL", "Connect through this proxy, as HTTPS_PROXY does; a password belongs there"},
        {"--max-wait", "MINUTES", "Wait at most so long in all when a service asks to wait (15)"},
    };
    return arguments;
}

GlobalOptions GlobalOptions::from(const Arguments& arguments) {
    return {.json = arguments.has("--json"),
            .quiet = arguments.has("--quiet"),
            .verbose = arguments.has("--verbose"),
            .noColor = arguments.has("--no-color"),
            .yes = arguments.has("--yes"),
            .dryRun = arguments.has("--dry-run"),
            .home = arguments.value("--home"),
            .endpoints = arguments.value("--endpoints"),
            .workspace = arguments.value("--workspace"),
            .app = arguments.value("--app"),
            .context = arguments.value("--context"),
            .keyID = arguments.value("--key-id"),
            .issuerID = arguments.value("--issuer-id"),
            .privateKeyFile = arguments.value("--p8"),
            .certificateFile = arguments.value("--ca-file"),
            .proxy = arguments.value("--proxy"),
            .maximumWait = arguments.number("--max-wait", 1, 24 * 60)};
}

} // namespace quorvel
