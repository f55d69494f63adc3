#include "Programs/quorvel/Workspaces.h"

#include "Core/records/RecordError.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Spelling.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace quorvel {

namespace {

constexpr std::string_view firstWorkspaceName = "My apps";

// Another process may make its first import at the same time.
ManagedWorkspace createUnlessMade(const WorkspaceRecords& workspaces, std::string_view name) {
    try {
        return workspaces.create(name);
    } catch (const RecordError&) {
        if (auto made = workspaces.locate(name)) return *made;
        throw;
    }
}

} // namespace

ManagedWorkspace requireWorkspace(Invocation& invocation, std::string_view wanted) {
    std::vector<ManagedWorkspace> known;
    if (invocation.composition.hasRecords()) {
        if (auto found = invocation.composition.workspaces().locate(wanted)) return *found;
        known = invocation.composition.workspaces().all();
    }
    std::vector<std::string_view> names;
    for (const ManagedWorkspace& workspace : known)
        names.push_back(workspace.name);
    const auto nearest = nearestSpelling(wanted, names);
    throw CommandError(ExitStatus::notFound, fmt::format("there is no workspace {}", quotedWord(wanted)),
                       nearest         ? fmt::format("Did you mean {}?", *nearest)
                       : names.empty() ? "Make one with 'quorvel workspaces create NAME'."
                                       : fmt::format("There are {}.", fmt::join(names, ", ")));
}

std::optional<ManagedWorkspace> currentWorkspace(Invocation& invocation) {
    if (invocation.global.workspace) return requireWorkspace(invocation, *invocation.global.workspace);
    if (!invocation.composition.hasRecords()) return std::nullopt;
    const auto all = invocation.composition.workspaces().all();
    if (const auto active = invocation.composition.activeWorkspace().id())
        for (const ManagedWorkspace& workspace : all)
            if (workspace.id == *active) return workspace;
    return all.size() == 1 ? std::optional(all.front()) : std::nullopt;
}

ManagedWorkspace workspaceForImport(Invocation& invocation) {
    if (auto current = currentWorkspace(invocation)) return *current;
    const WorkspaceRecords workspaces = invocation.composition.workspaces();
    if (!workspaces.all().empty())
        throw UsageError("say into which workspace with --workspace",
                         "'quorvel workspaces use NAME' chooses one for all commands.");
    const ManagedWorkspace made = createUnlessMade(workspaces, firstWorkspaceName);
    invocation.composition.activeWorkspace().choose(made.id);
    invocation.output.note(fmt::format("Made the workspace \"{}\".", made.name));
    return made;
}

KeyOwner currentKeyOwner(Invocation& invocation) {
    const auto workspace = currentWorkspace(invocation);
    return {.appID = {}, .workspaceID = workspace ? std::optional(workspace->id) : std::nullopt};
}

std::string callInWorkspace(Invocation& invocation) {
    const auto& given = invocation.global.workspace;
    return given ? callInWorkspace(invocation, *given) : "quorvel";
}

std::string callInWorkspace(Invocation& invocation, std::string_view wanted) {
    const ManagedWorkspace meant = requireWorkspace(invocation, wanted);
    if (invocation.composition.activeWorkspace().id() == meant.id) return "quorvel";
    const bool isWord = meant.name.find_first_of(" '\"\\$`&;|<>()*?!#~") == std::string::npos;
    return fmt::format("quorvel --workspace {}", isWord ? meant.name : fmt::format("\"{}\"", meant.name));
}

void confirmRemoval(Invocation& invocation, std::string_view question) {
    Output& output = invocation.output;
    if (invocation.global.yes) return;
    if (!output.canAsk())
        throw UsageError(fmt::format("\"{}\" needs --yes where nobody can be asked", invocation.command.name),
                         "Nothing was changed.");
    if (!output.confirm(question)) throw CommandError(ExitStatus::failed, "Nothing was changed.");
}

} // namespace quorvel
