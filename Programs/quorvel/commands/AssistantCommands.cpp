#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/FindProgram.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Quorvel/actions/AssistantActions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

namespace {

using EntryStatus = MCPClientInstaller::Status::Kind;
using EntryChange = MCPClientInstaller::Change::Kind;

RunningProgram runningProgramOf(const Invocation& invocation) {
    return {runningProgram(invocation.surroundings)};
}

std::string_view meaningOf(AssistantPermission permission) {
    switch (permission) {
    case AssistantPermission::readOnly:
        return "may look and change nothing";
    case AssistantPermission::edits:
        return "may change local files and records, and send nothing";
    case AssistantPermission::all:
        break;
    }
    return "may also change App Store Connect, each time with a plan first";
}

Table::Cell stateCell(const AssistantReport& assistant) {
    if (!assistant.status) return {"cannot be read", Style::red};
    switch (*assistant.status) {
    case EntryStatus::installed:
        return {"connected", Style::green};
    case EntryStatus::installedButStale:
        return {"other path", Style::yellow};
    case EntryStatus::notInstalled:
        break;
    }
    return {"not connected"};
}

ExitStatus showAssistants(Invocation& invocation) {
    const auto result =
        AssistantStatus::perform(invocation.application, {}, {}, runningProgramOf(invocation));
    Output& output = invocation.output;
    output.document(result);
    Table table{.columns = {{"Assistant"},
                            {"Found"},
                            {"State"},
                            {"Configuration", Table::Align::left, Table::Fit::wrap}},
                .rows = {}};
    for (const AssistantReport& assistant : result.assistants)
        table.rows.push_back({rawValue(assistant.client), assistant.isDetected ? "yes" : "no",
                              stateCell(assistant), assistant.configuration});
    output.table(table);
    for (const AssistantReport& assistant : result.assistants) {
        if (assistant.status == EntryStatus::installedButStale)
            output.warning(fmt::format("{} starts {}. 'quorvel assistants connect {}' replaces that.",
                                       assistant.name,
                                       assistant.binaryPath->empty() ? "no program" : *assistant.binaryPath,
                                       rawValue(assistant.client)));
        if (!assistant.failure) continue;
        const ErrorReport report = reportOf(*assistant.failure);
        output.warning(fmt::format("{}: {}{}", assistant.name, report.text,
                                   report.hint.empty() ? "" : fmt::format(" ({})", report.hint)));
    }
    output.line();
    output.line(
        fmt::format("Assistants {} ({}).", meaningOf(result.permission), rawValue(result.permission)));
    output.line(result.workspace ? fmt::format("They are served the workspace \"{}\".", *result.workspace)
                                 : "They are served no workspace, as none is active.");
    if (result.serverIsThere)
        output.line(fmt::format("The server is {}.", result.server));
    else
        output.warning(fmt::format("There is no server {}. Install it beside this program.", result.server));
    return ExitStatus::done;
}

std::string changeLine(const AssistantChange& change, bool isDryRun, const std::string& server) {
    const std::string place = change.target
                                  ? fmt::format("{} (a link to {})", change.configuration, *change.target)
                                  : change.configuration;
    const auto line = [&](std::string_view done, std::string_view planned) {
        return fmt::format("{}: {} {}", change.name, isDryRun ? planned : done, place);
    };
    switch (change.change.value_or(EntryChange::unchanged)) {
    case EntryChange::added:
        return change.makesFile ? line("made", "would make") : line("added to", "would add to");
    case EntryChange::replaced:
        return line("replaced in", "would replace in") +
               (change.previousPath == server ? ", where it had other settings"
                : change.previousPath && !change.previousPath->empty()
                    ? fmt::format(", where it started {}", *change.previousPath)
                    : ", where it started no program");
    case EntryChange::removed:
        return line("removed from", "would remove from");
    case EntryChange::unchanged:
        break;
    }
    return server.empty() ? fmt::format("{}: not connected in {}", change.name, place)
                          : fmt::format("{}: connected already in {}", change.name, place);
}

std::vector<std::string> changedNames(const std::vector<AssistantChange>& changes) {
    std::vector<std::string> names;
    for (const AssistantChange& change : changes)
        if (change.change.value_or(EntryChange::unchanged) != EntryChange::unchanged)
            names.push_back(change.name);
    return names;
}

// As of other commands: what all failures share, or that a part failed.
ExitStatus printEntryChanges(Invocation& invocation, const std::vector<AssistantChange>& changes,
                             const std::string& server) {
    Output& output = invocation.output;
    std::vector<ExitStatus> failures;
    for (const AssistantChange& change : changes) {
        if (!change.failure) {
            output.line(changeLine(change, invocation.global.dryRun, server));
            continue;
        }
        const ErrorReport report = reportOf(*change.failure);
        output.error(fmt::format("{}: {}", change.name, report.text), report.hint);
        failures.push_back(report.status);
    }
    if (failures.empty()) return ExitStatus::done;
    const bool isShared = std::ranges::count(failures, failures.front()) == std::ssize(failures);
    return failures.size() == changes.size() && isShared ? failures.front() : ExitStatus::partlyDone;
}

AssistantRequest assistantRequestOf(const Invocation& invocation) {
    auto request = requestOf<AssistantRequest>(invocation);
    for (const std::string& name : listOf(invocation.arguments, "CLIENT"))
        if (const auto client = fromRawValue<MCPClient>(name)) request.assistants.push_back(*client);
    return request;
}

std::string indentedJSON(const JSONValue& value) {
    return encodeJSON(value, {JSONLayout::pretty, JSONKeyOrder::declared});
}

ExitStatus connectAssistants(Invocation& invocation) {
    const auto result = ConnectAssistants::perform(invocation.application, assistantRequestOf(invocation), {},
                                                   runningProgramOf(invocation));
    Output& output = invocation.output;
    output.document(result);
    const auto names = changedNames(result.changes);
    if (!names.empty()) {
        output.line(
            fmt::format("The entry under \"mcpServers\"{}:", invocation.global.dryRun ? " would be" : ""));
        output.verbatim("\"quorvel\": " + indentedJSON(result.entry));
    }
    const ExitStatus status = printEntryChanges(invocation, result.changes, result.server);
    if (!names.empty() && !invocation.global.dryRun)
        output.note(fmt::format("Restart {}: an assistant reads its configuration when it starts.",
                                fmt::join(names, ", ")));
    return status;
}

ExitStatus disconnectAssistants(Invocation& invocation) {
    const auto result = perform<DisconnectAssistants>(invocation, assistantRequestOf(invocation));
    Output& output = invocation.output;
    output.document(result);
    const ExitStatus status = printEntryChanges(invocation, result.changes, "");
    if (const auto names = changedNames(result.changes); !names.empty() && !invocation.global.dryRun)
        output.note(fmt::format("Restart {}, which may still run the server.", fmt::join(names, ", ")));
    return status;
}

ExitStatus printAssistantEntry(Invocation& invocation) {
    DescribeAssistantEntry::Request request;
    request.name = invocation.arguments.value("--name").value_or(request.name);
    const auto result =
        DescribeAssistantEntry::perform(invocation.application, request, {}, runningProgramOf(invocation));
    Output& output = invocation.output;
    output.document(result);
    output.verbatim(indentedJSON(result.configuration));
    output.note(
        fmt::format("This is for assistants that keep servers as JSON. Those that ask for a command take {} "
                    "without arguments: it speaks over standard input and output.",
                    result.commandLine));
    return ExitStatus::done;
}

ExitStatus allowAssistants(Invocation& invocation) {
    const auto wanted = fromRawValue<AssistantPermission>(*invocation.arguments.value("LEVEL"));
    const auto result = perform<SetAssistantPermission>(invocation, {wanted.value()});
    invocation.output.document(result);
    invocation.output.line(
        fmt::format("Assistants {} ({}).", meaningOf(result.permission), rawValue(result.permission)));
    return ExitStatus::done;
}

ArgumentSpec clientArgument() {
    std::vector<std::string_view> names;
    for (const auto& [client, name] : RawValues<MCPClient>::values)
        names.push_back(name);
    return {"CLIENT",
            "CLIENT",
            "The assistants",
            names,
            ArgumentSpec::Need::required,
            ArgumentSpec::Count::repeated};
}

ArgumentSpec levelArgument() {
    std::vector<std::string_view> names;
    for (const auto& [permission, name] : RawValues<AssistantPermission>::values)
        names.push_back(name);
    return {"LEVEL", "LEVEL", "What assistants may do", names, ArgumentSpec::Need::required};
}

} // namespace

std::vector<Command> assistantCommands() {
    return {
        {.name = "assistants", .summary = "Connect AI assistants on this machine to your apps"},
        {.name = "assistants status",
         .summary = "Show which AI assistants are connected and what they may do",
         .run = showAssistants,
         .details = "An assistant whose entry names another path, because the program was moved, shows as "
                    "\"other path\" until it is connected again."},
        {.name = "assistants connect",
         .summary = "Register the server with AI assistants",
         .arguments = {clientArgument()},
         .heeds = {"--dry-run"},
         .run = connectAssistants,
         .details =
             "Writes the entry \"quorvel\" into the assistant's configuration and changes nothing else in it, "
             "to the byte; a symbolic link stays one. A file that is not JSON (with comments, for example) "
             "is refused and left alone: 'quorvel assistants print' shows what to add by hand. Status 7 "
             "when some of several failed.\n\n"
             "Example: quorvel assistants connect claude-code cursor"},
        {.name = "assistants disconnect",
         .summary = "Remove the server from AI assistants' configurations",
         .arguments = {clientArgument()},
         .heeds = {"--dry-run"},
         .run = disconnectAssistants,
         .details = "Example: quorvel assistants disconnect cursor"},
        {.name = "assistants print",
         .summary = "Print what any other assistant needs to start the server",
         .arguments = {{"--name", "NAME", "What the assistant is to call the server (quorvel)"}},
         .run = printAssistantEntry,
         .details = "Example: quorvel assistants print"},
        {.name = "assistants allow",
         .summary = "Choose what AI assistants may do",
         .arguments = {levelArgument()},
         .run = allowAssistants,
         .details =
             "read-only: look and change nothing. edits, which is so by itself: change local texts and "
             "records, but send nothing. all: also change App Store Connect, in two steps with a plan "
             "between them.\n\n"
             "Example: quorvel assistants allow read-only"},
    };
}

} // namespace quorvel
