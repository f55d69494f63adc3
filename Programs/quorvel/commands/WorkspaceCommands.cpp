#include "Programs/quorvel/AppLookup.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Workspaces.h"
#include "Programs/quorvel/commands/AppOverviews.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/MetadataRecords.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

struct WorkspaceRecord {
    std::string id;
    std::string name;
    Date createdAt;
    bool isActive = false;
    std::int64_t apps = 0;
    std::int64_t attentionCount = 0;
    QUORVEL_RECORD(WorkspaceRecord, id, name, createdAt, isActive, apps, attentionCount)
};

WorkspaceRecord recordOf(Invocation& invocation, const ManagedWorkspace& workspace) {
    const auto active = currentWorkspace(invocation);
    const auto apps = invocation.composition.apps().inWorkspace(workspace.id);
    WorkspaceRecord record{workspace.id,        workspace.name,
                           workspace.createdAt, active && active->id == workspace.id,
                           std::ssize(apps),    0};
    for (const AppOverview& overview : overviewsOf(invocation, apps, PendingChanges::leave))
        record.attentionCount += overview.attentionCount;
    return record;
}

ExitStatus listWorkspaces(Invocation& invocation) {
    std::vector<WorkspaceRecord> records;
    if (invocation.composition.hasRecords())
        for (const ManagedWorkspace& workspace : invocation.composition.workspaces().all())
            records.push_back(recordOf(invocation, workspace));
    Output& output = invocation.output;
    output.document(records);
    Table table{.columns = {{""}, {"Name"}, {"Apps", Table::Align::right}, {"Attention"}}, .rows = {}};
    for (const WorkspaceRecord& record : records)
        table.rows.push_back({record.isActive ? "*" : "",
                              record.name,
                              std::to_string(record.apps),
                              {attentionText(record.attentionCount), Style::yellow}});
    if (records.empty())
        output.line("There is no workspace yet. The first import of an app makes one.");
    else
        output.table(table);
    return ExitStatus::done;
}

// What was done to a workspace, in either form.
ExitStatus report(Invocation& invocation, const ManagedWorkspace& workspace, std::string_view text) {
    invocation.output.document(recordOf(invocation, workspace));
    invocation.output.line(text);
    return ExitStatus::done;
}

ManagedWorkspace namedWorkspace(Invocation& invocation) {
    return requireWorkspace(invocation, *invocation.arguments.value("NAME"));
}

void choose(Invocation& invocation, const std::optional<std::string>& workspaceID) {
    if (!invocation.composition.activeWorkspace().choose(workspaceID))
        throw CommandError(ExitStatus::failed, "the choice of the workspace could not be stored",
                           "--workspace names one for a single command.");
}

ExitStatus createWorkspace(Invocation& invocation) {
    const bool isFirst = !currentWorkspace(invocation);
    const ManagedWorkspace made =
        invocation.composition.workspaces().create(*invocation.arguments.value("NAME"));
    if (isFirst) choose(invocation, made.id);
    return report(
        invocation, made,
        isFirst ? fmt::format("Made the workspace \"{}\" and chose it.", made.name)
                : fmt::format("Made the workspace \"{}\"; 'quorvel workspaces use' chooses it.", made.name));
}

ExitStatus renameWorkspace(Invocation& invocation) {
    ManagedWorkspace workspace = namedWorkspace(invocation);
    const std::string before = workspace.name;
    invocation.composition.workspaces().rename(workspace.id, *invocation.arguments.value("NEW"));
    workspace = invocation.composition.workspaces().find(workspace.id).value_or(workspace);
    return report(invocation, workspace, fmt::format("\"{}\" is now named \"{}\".", before, workspace.name));
}

ExitStatus useWorkspace(Invocation& invocation) {
    const ManagedWorkspace workspace = namedWorkspace(invocation);
    choose(invocation, workspace.id);
    return report(invocation, workspace,
                  fmt::format("Commands now work in the workspace \"{}\".", workspace.name));
}

ExitStatus deleteWorkspace(Invocation& invocation) {
    const ManagedWorkspace workspace = namedWorkspace(invocation);
    WorkspaceRecord record = recordOf(invocation, workspace);
    const std::string apps = counted(static_cast<std::size_t>(record.apps), "app");
    confirmRemoval(invocation, fmt::format("Delete the workspace \"{}\"? Its {} {}, without a workspace.",
                                           workspace.name, apps, record.apps == 1 ? "stays" : "stay"));
    Composition& composition = invocation.composition;
    composition.workspaces().remove(workspace.id);
    if (composition.activeWorkspace().id() == workspace.id) composition.activeWorkspace().choose({});
    const bool hadKey = forgetScope(composition.keychain(), workspace.id);
    invocation.output.document(record);
    invocation.output.line(fmt::format("The workspace \"{}\" is deleted{}.", workspace.name,
                                       hadKey ? " and its key forgotten" : ""));
    if (record.isActive && !invocation.global.workspace) {
        const auto active = currentWorkspace(invocation);
        invocation.output.note(active ? fmt::format("The workspace \"{}\" is active now.", active->name)
                                      : "No workspace is active now; 'quorvel workspaces use' chooses one.");
    }
    if (record.apps > 0)
        invocation.output.note(fmt::format("Its {} {}: 'quorvel apps --all' lists, 'quorvel apps move' "
                                           "moves.",
                                           apps, record.apps == 1 ? "stays" : "stay"));
    return ExitStatus::done;
}

ArgumentSpec nameArgument(std::string_view description) {
    return {"NAME", "NAME", description, {}, ArgumentSpec::Need::required};
}

} // namespace

std::vector<Command> workspaceCommands() {
    return {
        {.name = "workspaces",
         .summary = "List workspaces, the groups of apps that commands work in",
         .run = listWorkspaces,
         .details = "The one marked * is active: its apps are listed and its key is used, unless --workspace "
                    "names another."},
        {.name = "workspaces create",
         .summary = "Make a workspace",
         .arguments = {nameArgument("Its name")},
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
         .run = deleteWorkspace},
    };
}

} // namespace quorvel
