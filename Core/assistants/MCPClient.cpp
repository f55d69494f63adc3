#include "Core/assistants/MCPClient.h"

#include <unistd.h>

#include <algorithm>
#include <system_error>

namespace quorvel {

namespace {

struct ClientFacts {
    MCPClient client;
    std::string_view displayName;
    std::string_view configuration;              // in the home folder
    std::string_view linuxConfiguration;         // where that is another one there
    std::string_view application;                // on macOS
    std::string_view command;                    // in a command folder
    std::array<std::string_view, 2> traces = {}; // in the home folder
};

constexpr ClientFacts clients[] = {
    {.client = MCPClient::claudeCode,
     .displayName = "Claude Code",
     .configuration = ".claude.json",
     .command = "claude",
     .traces = {".claude", ".claude.json"}},
    {.client = MCPClient::claudeDesktop,
     .displayName = "Claude Desktop",
     .configuration = "Library/Application Support/Claude/claude_desktop_config.json",
     .linuxConfiguration = ".config/Claude/claude_desktop_config.json",
     .application = "Claude.app",
     .command = "claude-desktop",
     .traces = {".config/Claude"}},
    {.client = MCPClient::cursor,
     .displayName = "Cursor",
     .configuration = ".cursor/mcp.json",
     .application = "Cursor.app",
     .command = "cursor",
     .traces = {".config/Cursor"}},
    {.client = MCPClient::windsurf,
     .displayName = "Windsurf",
     .configuration = ".codeium/windsurf/mcp_config.json",
     .application = "Windsurf.app",
     .command = "windsurf",
     .traces = {".config/Windsurf"}},
};

const ClientFacts& factsOf(MCPClient client) {
    return *std::ranges::find(clients, client, &ClientFacts::client);
}

bool isThere(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::exists(path, ignored);
}

bool isExecutable(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored) && ::access(path.c_str(), X_OK) == 0;
}

} // namespace

std::string_view displayNameOf(MCPClient client) {
    return factsOf(client).displayName;
}

std::filesystem::path configurationOf(MCPClient client, const Home& home) {
    const ClientFacts& facts = factsOf(client);
    const auto usual = home.root / facts.configuration;
    if (facts.linuxConfiguration.empty() || isThere(usual.parent_path())) return usual;
    const auto other = home.root / facts.linuxConfiguration;
    return isThere(other.parent_path()) ? other : usual;
}

bool isDetected(MCPClient client, const Home& home, const MCPClientPlaces& places) {
    const ClientFacts& facts = factsOf(client);
    if (!facts.application.empty() && isThere(places.applications / facts.application)) return true;
    const auto hasCommand = [&](const auto& folder) { return isExecutable(folder / facts.command); };
    if (std::ranges::any_of(places.commandFolders, hasCommand)) return true;
    return std::ranges::any_of(
        facts.traces, [&](std::string_view trace) { return !trace.empty() && isThere(home.root / trace); });
}

} // namespace quorvel
