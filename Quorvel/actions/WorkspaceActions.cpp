#include "Quorvel/actions/WorkspaceActions.h"

#include "Quorvel/application/Application.h"
#include "Quorvel/application/AssistantHandoff.h"
#include "Quorvel/application/Failure.h"

namespace quorvel {

namespace {

WorkspaceReport workspaceReportOf(Application& application, const ManagedWorkspace& workspace,
                                  const std::optional<std::string>& named = {}) {
    const auto active = AppDirectory(application, {{}, named}).workspace();
    const auto apps = application.apps().inWorkspace(workspace.id);
    WorkspaceReport report{.id = workspace.id,
                           .name = workspace.name,
                           .createdAt = workspace.createdAt,
                           .isActive = active && active->id == workspace.id,
                           .apps = std::ssize(apps)};
    if (apps.empty()) return report;
    const auto state = application.index().state();
    for (const ManagedApp& app : apps)
        if (const auto found = state->summaries.find(app.id); found != state->summaries.end())
            report.attentionCount += found->second.attentionCount();
    return report;
}

ManagedWorkspace requireNamed(Application& application, const std::string& name) {
    return AppDirectory(application, {}).requireWorkspace(name);
}

void choose(Application& application, const std::string& id) {
    if (!application.activeWorkspace().choose(id))
        throw ApplicationError(FailureKind::failed, "the choice of the workspace could not be stored",
                               "Name the workspace with each request instead.");
    refreshAssistantHandoff(application);
}

} // namespace

ListWorkspaces::Result ListWorkspaces::perform(Application& application, const Request& request,
                                               const ActionProgress&) {
    Result result;
    if (application.hasRecords())
        for (const ManagedWorkspace& workspace : application.workspaces().all())
            result.workspaces.push_back(workspaceReportOf(application, workspace, request.workspace));
    return result;
}

CreateWorkspace::Result CreateWorkspace::perform(Application& application, const Request& request,
                                                 const ActionProgress&) {
    const bool isFirst = !AppDirectory(application, {}).workspace();
    const ManagedWorkspace made = application.workspaces().create(request.name);
    if (isFirst)
        choose(application, made.id);
    else
        refreshAssistantHandoff(application); // one that was the only one may not be any more
    return {workspaceReportOf(application, made)};
}

RenameWorkspace::Result RenameWorkspace::perform(Application& application, const Request& request,
                                                 const ActionProgress&) {
    const ManagedWorkspace workspace = requireNamed(application, request.name);
    application.workspaces().rename(workspace.id, request.newName);
    refreshAssistantHandoff(application);
    return {workspaceReportOf(application, requireNamed(application, workspace.id)), workspace.name};
}

UseWorkspace::Result UseWorkspace::perform(Application& application, const Request& request,
                                           const ActionProgress&) {
    const ManagedWorkspace workspace = requireNamed(application, request.name);
    choose(application, workspace.id);
    return {workspaceReportOf(application, workspace)};
}

PlanWorkspaceDeletion::Result PlanWorkspaceDeletion::perform(Application& application, const Request& request,
                                                             const ActionProgress&) {
    return {workspaceReportOf(application, requireNamed(application, request.name))};
}

DeleteWorkspace::Result DeleteWorkspace::perform(Application& application, const Request& request,
                                                 const ActionProgress&) {
    const ManagedWorkspace workspace = requireNamed(application, request.workspace.id);
    application.workspaces().remove(workspace.id);
    if (application.activeWorkspace().id() == workspace.id) application.activeWorkspace().choose({});
    refreshAssistantHandoff(application);
    Result result{request.workspace, application.keychain().removeScope(workspace.id), std::nullopt};
    if (const auto active = AppDirectory(application, {}).workspace()) result.activeWorkspace = active->name;
    return result;
}

} // namespace quorvel
