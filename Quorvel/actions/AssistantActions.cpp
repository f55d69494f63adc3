#include "Quorvel/actions/AssistantActions.h"

#include "Core/assistants/MCPConfiguration.h"
#include "Core/assistants/MCPHandoff.h"
#include "Core/assistants/ServerProgram.h"
#include "Platform/text/Text.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/AssistantHandoff.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>

namespace quorvel {

namespace {

std::string requireServer(const RunningProgram& program) {
    const ServerProgram server = findServerProgram(program.path);
    if (!server.path) {
        std::string searched;
        for (const auto& path : server.searched)
            searched += fmt::format("{}{}", searched.empty() ? "" : ", ", escapeControls(path.native()));
        throw ApplicationError(
            FailureKind::toolMissing,
            "the assistant server \"quorvel-mcp\" is not installed beside this program",
            searched.empty() ? "It is not known where that lies."
                             : fmt::format("Looked for {}. Install both programs in one folder.", searched));
    }
    // JSON holds no other text.
    if (!isValidUTF8(server.path->native()))
        throw ApplicationError(FailureKind::failed,
                               fmt::format("the path {} is not in UTF-8, so that no assistant could start it",
                                           quotedWord(server.path->native())),
                               "Install the program in another folder.");
    return server.path->native();
}

std::string inShell(const std::string& word) {
    constexpr std::string_view plain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-./+,:@%";
    if (!word.empty() && word.find_first_not_of(plain) == word.npos) return word;
    std::string quoted = "'";
    for (const char character : word)
        quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return quoted + "'";
}

AssistantReport assistantReportOf(Application& application, const MCPClientInstaller& installer,
                                  MCPClient client) {
    AssistantReport report{.client = client,
                           .name = std::string(displayNameOf(client)),
                           .isDetected = isDetected(client, application.home()),
                           .configuration = configurationOf(client, application.home()).string()};
    try {
        const auto status = installer.status(client);
        report.status = status.kind;
        if (status.kind != MCPClientInstaller::Status::Kind::notInstalled)
            report.binaryPath = status.binaryPath;
    } catch (const MCPClientInstaller::InstallError& error) {
        report.failure = failureOf(error);
    }
    return report;
}

std::vector<AssistantChange>
changeEach(Application& application, const AssistantRequest& request,
           const std::function<MCPClientInstaller::Change(MCPClient, DryRun)>& change) {
    if (request.assistants.empty()) throw ApplicationError(FailureKind::badRequest, "say which assistants");
    std::vector<AssistantChange> changes;
    for (const MCPClient client : request.assistants) {
        if (std::ranges::find(changes, client, &AssistantChange::client) != changes.end()) continue;
        AssistantChange& report = changes.emplace_back(
            AssistantChange{.client = client,
                            .name = std::string(displayNameOf(client)),
                            .configuration = configurationOf(client, application.home()).string()});
        try {
            const auto done = change(client, request.dryRun ? DryRun::yes : DryRun::no);
            report.change = done.kind;
            report.makesFile = done.makesFile;
            report.previousPath = done.previousPath;
            if (done.target != done.file) report.target = done.target.lexically_normal().string();
        } catch (const MCPClientInstaller::InstallError& error) {
            report.failure = failureOf(error);
        }
    }
    if (!request.dryRun) refreshAssistantHandoff(application);
    return changes;
}

} // namespace

AssistantStatus::Result AssistantStatus::perform(Application& application, const Request& request,
                                                 const ActionProgress&, const RunningProgram& program) {
    const ServerProgram server = findServerProgram(program.path);
    const auto expected = server.searched.empty() ? std::filesystem::path() : server.searched.front();
    Result result{.server = server.path.value_or(expected).string(),
                  .serverIsThere = server.path.has_value(),
                  .permission = AssistantPermissionSetting(application.userDefaults()).permission()};
    if (const auto handoff = MCPHandoffStore(mcpFolder(application.home())).load())
        result.workspace = handoff->workspaceName;
    const MCPClientInstaller installer(result.server, application.home());
    for (const MCPClient client : allMCPClients)
        if (request.assistants.empty() ||
            std::ranges::find(request.assistants, client) != request.assistants.end())
            result.assistants.push_back(assistantReportOf(application, installer, client));
    return result;
}

ConnectAssistants::Result ConnectAssistants::perform(Application& application, const Request& request,
                                                     const ActionProgress&, const RunningProgram& program) {
    const MCPClientInstaller installer(requireServer(program), application.home());
    return {installer.binaryPath(), MCPConfiguration::entryFor(installer.binaryPath()),
            changeEach(application, request,
                       [&](MCPClient client, DryRun dryRun) { return installer.install(client, dryRun); })};
}

DisconnectAssistants::Result DisconnectAssistants::perform(Application& application, const Request& request,
                                                           const ActionProgress&) {
    const MCPClientInstaller installer("", application.home());
    return {changeEach(application, request,
                       [&](MCPClient client, DryRun dryRun) { return installer.uninstall(client, dryRun); })};
}

DescribeAssistantEntry::Result DescribeAssistantEntry::perform(Application&, const Request& request,
                                                               const ActionProgress&,
                                                               const RunningProgram& program) {
    const std::string server = requireServer(program);
    if (isBlank(request.name)) throw ApplicationError(FailureKind::badRequest, "the server needs a name");
    const auto entry = JSONValue::object({{request.name, MCPConfiguration::entryFor(server)}});
    return {server, JSONValue::object({{std::string(MCPConfiguration::serversKey), entry}}), inShell(server)};
}

SetAssistantPermission::Result
SetAssistantPermission::perform(Application& application, const Request& request, const ActionProgress&) {
    const AssistantPermissionSetting setting(application.userDefaults());
    const AssistantPermission before = setting.permission();
    setting.choose(request.permission);
    return {request.permission, before};
}

} // namespace quorvel
