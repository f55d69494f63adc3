// Workspaces, the groups of apps that requests work in.
#pragma once

#include "Quorvel/actions/Target.h"

namespace quorvel {

struct WorkspaceReport {
    std::string id;
    std::string name;
    Date createdAt;
    bool isActive = false;
    std::int64_t apps = 0;
    std::int64_t attentionCount = 0; // versions that wait for their developer
    QUORVEL_RECORD(WorkspaceReport, id, name, createdAt, isActive, apps, attentionCount)
};

inline constexpr JSONMember workspaceNameMember{"name", "The workspace's name or id.", JSONMember::required};

struct ListWorkspaces {
    static constexpr ActionInfo info{"list_workspaces",
                                     "List workspaces, the groups of apps that commands work in"};
    struct Request {
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, workspace)
        static constexpr JSONMember members[] = {workspaceMember};
    };
    struct Result {
        std::vector<WorkspaceReport> workspaces;
        QUORVEL_RECORD(Result, workspaces)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// What was done to one workspace.
struct WorkspaceResult {
    WorkspaceReport workspace;
    QUORVEL_RECORD(WorkspaceResult, workspace)
};

struct CreateWorkspace {
    static constexpr ActionInfo info{"create_workspace", "Make a workspace", Effect::localFiles};
    struct Request {
        std::string name;
        QUORVEL_RECORD(Request, name)
        static constexpr JSONMember members[] = {{"name", "Its name.", JSONMember::required}};
    };
    using Result = WorkspaceResult; // the first one becomes active
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct RenameWorkspace {
    static constexpr ActionInfo info{"rename_workspace", "Give a workspace another name", Effect::localFiles};
    struct Request {
        std::string name;
        std::string newName;
        QUORVEL_RECORD(Request, name, newName)
        static constexpr JSONMember members[] = {workspaceNameMember,
                                                 {"newName", "Its new name.", JSONMember::required}};
    };
    struct Result {
        WorkspaceReport workspace;
        std::string before;
        QUORVEL_RECORD(Result, workspace, before)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct UseWorkspace {
    static constexpr ActionInfo info{"use_workspace", "Choose the workspace that commands work in",
                                     Effect::localFiles};
    struct Request {
        std::string name;
        QUORVEL_RECORD(Request, name)
        static constexpr JSONMember members[] = {workspaceNameMember};
    };
    using Result = WorkspaceResult;
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct PlanWorkspaceDeletion {
    static constexpr ActionInfo info{"plan_workspace_deletion", "Show what deleting a workspace would take"};
    using Request = UseWorkspace::Request;
    using Result = WorkspaceResult;
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct DeleteWorkspace {
    static constexpr ActionInfo info{"delete_workspace",
                                     "Delete a workspace and its key; its apps stay, without a workspace",
                                     Effect::deletion};
    struct Request {
        WorkspaceReport workspace;
        QUORVEL_RECORD(Request, workspace)
        static constexpr JSONMember members[] = {
            {"workspace", "The workspace, as plan_workspace_deletion showed it.", JSONMember::required}};
    };
    struct Result {
        WorkspaceReport workspace;
        bool hadKey = false;                        // which is forgotten
        std::optional<std::string> activeWorkspace; // from now on
        QUORVEL_RECORD(Result, workspace, hadKey, activeWorkspace)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
