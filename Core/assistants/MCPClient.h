// The AI assistants that this program registers its server with.
#pragma once

#include "Platform/files/Home.h"
#include "Platform/json/RawValue.h"

#include <array>
#include <filesystem>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvel {

enum class MCPClient { claudeCode, claudeDesktop, cursor, windsurf };

template <>
struct RawValues<MCPClient> {
    static constexpr std::pair<MCPClient, std::string_view> values[] = {
        {MCPClient::claudeCode, "claude-code"},
        {MCPClient::claudeDesktop, "claude-desktop"},
        {MCPClient::cursor, "cursor"},
        {MCPClient::windsurf, "windsurf"},
    };
};

inline constexpr std::array allMCPClients = {MCPClient::claudeCode, MCPClient::claudeDesktop,
                                             MCPClient::cursor, MCPClient::windsurf};

[[nodiscard]] std::string_view displayNameOf(MCPClient client);

/// The file in which the client keeps its servers; it need not exist. Where a client keeps it in another
/// folder on Linux, that one counts as soon as it is there and the usual one is not.
[[nodiscard]] std::filesystem::path configurationOf(MCPClient client, const Home& home);

/// Where clients are looked for; a test has its own.
struct MCPClientPlaces {
    std::filesystem::path applications = "/Applications";
    std::vector<std::filesystem::path> commandFolders = {"/usr/bin", "/usr/local/bin", "/opt/homebrew/bin"};
};

/// Whether the client seems to be installed: by its application, its command, or what it left in the home.
[[nodiscard]] bool isDetected(MCPClient client, const Home& home, const MCPClientPlaces& places = {});

} // namespace quorvel
