#include "Quorvel/application/AssistantHandoff.h"

#include "Core/assistants/MCPHandoff.h"
#include "Core/build/BuildConfigStore.h"
#include "Platform/files/FileLock.h"
#include "Platform/log/Log.h"
#include "Quorvel/application/AppDirectory.h"
#include "Quorvel/application/Application.h"

#include <exception>
#include <filesystem>
#include <optional>

namespace quorvel {

namespace {

std::optional<MCPHandoff> currentHandoff(Application& application) {
    const auto workspace = AppDirectory(application, {}).workspace();
    if (!workspace) return std::nullopt;
    return MCPHandoff{.workspaceNamespace = workspace->id, .workspaceName = workspace->name};
}

std::optional<MCPBuildConfigsBlob> currentBuildConfigs(Application& application) {
    MCPBuildConfigsBlob blob;
    const BuildConfigStore store(application.userDefaults());
    for (const ManagedApp& app : application.apps().all())
        for (const TargetPlatform platform : allTargetPlatforms)
            if (auto config = store.load(app.id, platform))
                blob.configs.emplace(MCPBuildConfigsBlob::keyOf(app.slug, platform), std::move(*config));
    return blob.configs.empty() ? std::nullopt : std::optional(std::move(blob));
}

} // namespace

void refreshAssistantHandoff(Application& application) {
    try {
        if (!application.hasRecords()) return;
        const auto folder = mcpFolder(application.home());
        createFolders(folder, FolderMode::secret);
        // Whoever writes last has also looked last.
        const FileLock lock(folder / ".mcp-handoff.lock");
        MCPHandoffStore(folder).save(currentHandoff(application));
        MCPBuildConfigStore(folder).save(currentBuildConfigs(application));
    } catch (const std::exception& error) {
        Logger("AssistantHandoff").error(std::string("Couldn't hand over to assistants: ") + error.what());
    }
}

} // namespace quorvel
