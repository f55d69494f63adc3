#include "Platform/text/Counted.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/WorkspaceActions.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

ExitStatus listWorkspaces(Invocation& invocation) {
    const auto result = perform<ListWorkspaces>(invocation, requestOf<ListWorkspaces::Request>(invocation));
    Output& output = invocation.output;
    output.document(result);
    Table table{.columns = {{""}, {"Name"}, {"Apps", Table::Align::right}, {"Attention"}}, .rows = {}};
    for (const WorkspaceReport& workspace : result.workspaces)
        table.rows.push_back({workspace.isActive ? "*" : "",
                              workspace.name,
                              std::to_string(workspace.apps),
                              {attentionText(workspace.attentionCount), Style::yellow}});
    if (result.workspaces.empty())
        output.line("There is no workspace yet. The first import of an app makes one.");
    else
        output.table(table);
    return ExitStatus::done;
}

std::string nameOf(const Invocation& invocation) {
    return *invocation.arguments.value("NAME");
}

template <typename Result>
ExitStatus show(Invocation& invocation, const Result& result, std::string_view text) {
    invocation.output.document(result);
    invocation.output.line(text);
    return ExitStatus::done;
}

ExitStatus createWorkspace(Invocation& invocation) {
    const auto result = perform<CreateWorkspace>(invocation, {nameOf(invocation)});
    const auto& [id, name, createdAt, isActive, apps, attention] = result.workspace;
    return show(invocation, result,
                isActive
                    ? fmt::format("Made the workspace \"{}\" and chose it.", name)
                    : fmt::format("Made the workspace \"{}\"; 'quorvel workspaces use' chooses it.", name));
}

ExitStatus renameWorkspace(Invocation& invocation) {
    const auto result =
        perform<RenameWorkspace>(invocation, {nameOf(invocation), *invocation.arguments.value("NEW")});
    return show(invocation, result,
                fmt::format("\"{}\" is now named \"{}\".", result.before, result.workspace.name));
}

ExitStatus useWorkspace(Invocation& invocation) {
    const auto result = perform<UseWorkspace>(invocation, {nameOf(invocation)});
    return show(invocation, result,
                fmt::format("Commands now work in the workspace \"{}\".", result.workspace.name));
}

ExitStatus deleteWorkspace(Invocation& invocation) {
    const WorkspaceReport workspace =
        perform<PlanWorkspaceDeletion>(invocation, {nameOf(invocation)}).workspace;
    const std::string apps = counted(static_cast<std::size_t>(workspace.apps), "app");
    const std::string_view stay = workspace.apps == 1 ? "stays" : "stay";
    const Consent consent =
        askConsent(invocation, {fmt::format("Delete the workspace \"{}\"? Its {} {}, without a workspace.",
                                            workspace.name, apps, stay)});
    const auto result = perform<DeleteWorkspace>(invocation, {workspace}, consent);
    Output& output = invocation.output;
    output.document(result);
    output.line(fmt::format("The workspace \"{}\" is deleted{}.", workspace.name,
                            result.hadKey ? " and its key forgotten" : ""));
    if (workspace.isActive && !invocation.global.workspace)
        output.note(result.activeWorkspace
                        ? fmt::format("The workspace \"{}\" is active now.", *result.activeWorkspace)
                        : "No workspace is active now; 'quorvel workspaces use' chooses one.");
    if (workspace.apps > 0)
        output.note(
            fmt::format("Its {} {}: 'quorvel apps --all' lists, 'quorvel apps move' moves.", apps, stay));
    return ExitStatus::done;
}

ArgumentSpec nameArgument(std::string_view description, std::string_view value = "WORKSPACE") {
    return {"NAME", value, description, {}, ArgumentSpec::Need::required};
}

} // namespace

std::vector<Command> workspaceCommands() {
    return {
        {.name = "workspaces",
         .summary = "List workspaces, the groups of apps that commands work in",
         .run = listWorkspaces,
         .details = "The one marked * is active: its apps are listed and its key is used, "
                    "unless --workspace names another."},
        {.name = "workspaces create",
         .summary = "Make a workspace",
         .arguments = {nameArgument("Its name", "NAME")},
         .run = createWorkspace},
        {.name = "workspaces rename",
         .summary = "Give a workspace another name",
         .arguments = {nameArgument("The workspace"),
                       {"NEW", "NEW", "Its new name", {}, ArgumentSpec::Need::required}},
         .run = renameWorkspace},
        {.name = "workspaces use",
         .summary = "Choose the workspace that commands work in",
         .arguments = {nameArgument("The workspace")},
         .run = useWorkspace},
        {.name = "workspaces delete",
         .summary = "Delete a workspace and its key; its apps stay, without a workspace",
         .arguments = {nameArgument("The workspace")},
         .heeds = {"--yes"},
         .run = deleteWorkspace,
         .asksFirst = true},
    };
}

} // namespace quorvel
