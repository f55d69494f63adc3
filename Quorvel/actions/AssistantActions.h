// The AI assistants that the server is registered with, and what they may do.
//
// What the server must never offer to an assistant as a tool: all actions of this file that change something.
#pragma once

#include "Core/assistants/MCPClientInstaller.h"
#include "Quorvel/actions/Action.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/settings/AssistantPermission.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// The running program, absolute, as its user calls it: the server lies beside it. Handed in by a face
/// instead of being a member of requests, as a description must not name programs that assistants will start.
struct RunningProgram {
    std::filesystem::path path;
};

struct AssistantReport {
    MCPClient client = MCPClient::claudeCode;
    std::string name;
    bool isDetected = false;
    std::string configuration;                              // its file
    std::optional<MCPClientInstaller::Status::Kind> status; // none with a failure
    std::optional<std::string> binaryPath;                  // in the entry
    std::optional<Failure> failure;
    QUORVEL_RECORD(AssistantReport, client, name, isDetected, configuration, status, binaryPath, failure)
};

struct AssistantStatus {
    static constexpr ActionInfo info{"assistant_status",
                                     "Show which AI assistants are connected and what they may do"};
    struct Request {
        std::vector<MCPClient> assistants;
        QUORVEL_RECORD(Request, assistants)
        static constexpr JSONMember members[] = {
            {"assistants", "Only these, instead of all that are known."}};
    };
    struct Result {
        std::string server; // where it is, or where it is missing
        bool serverIsThere = false;
        AssistantPermission permission = AssistantPermission::edits;
        std::optional<std::string> workspace; // that is served
        std::vector<AssistantReport> assistants;
        QUORVEL_RECORD(Result, server, serverIsThere, permission, workspace, assistants)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {},
                                        const RunningProgram& program = {});
};

struct AssistantRequest {
    std::vector<MCPClient> assistants;
    bool dryRun = false;
    QUORVEL_RECORD(AssistantRequest, assistants, dryRun)
    static constexpr JSONMember members[] = {
        {"assistants", "The assistants, such as claude-code.", JSONMember::required},
        {"dryRun", "Show what would be done and change nothing."}};
};

struct AssistantChange {
    MCPClient client = MCPClient::claudeCode;
    std::string name;
    std::string configuration;                              // its file
    std::optional<std::string> target;                      // where that leads, for a link
    std::optional<MCPClientInstaller::Change::Kind> change; // none with a failure
    bool makesFile = false;
    std::optional<std::string> previousPath; // in the entry before
    std::optional<Failure> failure;
    QUORVEL_RECORD(AssistantChange, client, name, configuration, target, change, makesFile, previousPath,
                   failure)
};

/// Each assistant for itself: one that fails is listed with its failure and stops none.
struct ConnectAssistants {
    static constexpr ActionInfo info{"connect_assistants", "Register the server with AI assistants",
                                     Effect::localFiles};
    using Request = AssistantRequest;
    struct Result {
        std::string server;
        JSONValue entry; // what the configurations hold then
        std::vector<AssistantChange> changes;
        QUORVEL_RECORD(Result, server, entry, changes)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {},
                                        const RunningProgram& program = {});
};

struct DisconnectAssistants {
    static constexpr ActionInfo info{
        "disconnect_assistants", "Remove the server from AI assistants' configurations", Effect::localFiles};
    using Request = AssistantRequest;
    struct Result {
        std::vector<AssistantChange> changes;
        QUORVEL_RECORD(Result, changes)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// For assistants that are not among the known ones.
struct DescribeAssistantEntry {
    static constexpr ActionInfo info{"describe_assistant_entry",
                                     "Show what any AI assistant's configuration needs to start the server"};
    struct Request {
        std::string name = "quorvel";
        QUORVEL_RECORD(Request, name)
        static constexpr JSONMember members[] = {
            {"name", "What the assistant is to call the server; quorvel when left out."}};
    };
    struct Result {
        std::string server;
        JSONValue configuration; // {"mcpServers": {NAME: …}}
        std::string commandLine; // for a shell
        QUORVEL_RECORD(Result, server, configuration, commandLine)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {},
                                        const RunningProgram& program = {});
};

struct SetAssistantPermission {
    static constexpr ActionInfo info{"set_assistant_permission", "Choose what AI assistants may do",
                                     Effect::localFiles};
    struct Request {
        AssistantPermission permission = AssistantPermission::edits;
        QUORVEL_RECORD(Request, permission)
        static constexpr JSONMember members[] = {
            {"permission", "read-only, edits (local files, nothing is sent) or all.", JSONMember::required}};
    };
    struct Result {
        AssistantPermission permission = AssistantPermission::edits;
        AssistantPermission before = AssistantPermission::edits;
        QUORVEL_RECORD(Result, permission, before)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
