// What the assistant server is told of the application: the workspace that it serves, and how apps are built.
#pragma once

#include "Core/build/BuildConfig.h"
#include "Platform/files/Home.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// The workspace that the server is to serve.
struct MCPHandoff {
    static constexpr std::int64_t currentVersion = 1;
    std::int64_t version = currentVersion;
    std::string workspaceNamespace; // the workspace's id, the scope of its key
    std::string workspaceName;
    QUORVEL_RECORD(MCPHandoff, version, workspaceNamespace, workspaceName)
    bool operator==(const MCPHandoff&) const = default;
};

/// All apps' build settings.
struct MCPBuildConfigsBlob {
    static constexpr std::int64_t currentVersion = 1;
    std::int64_t version = currentVersion;
    std::map<std::string, BuildConfig> configs; // by `keyOf`
    QUORVEL_RECORD(MCPBuildConfigsBlob, version, configs)

    /// The app's short name, with "/macos" behind it for builds for macOS.
    [[nodiscard]] static std::string keyOf(std::string_view slug, TargetPlatform platform);
    bool operator==(const MCPBuildConfigsBlob&) const = default;
};

/// The application's support folder, which holds the files of both stores.
[[nodiscard]] std::filesystem::path mcpFolder(const Home& home);

/// One JSON file of a store, for its owner only. Every function blocks; a value.
template <typename Content>
class MCPFile {
  public:
    MCPFile(const std::filesystem::path& directory, std::string_view name) : file_(directory / name) {}

    [[nodiscard]] const std::filesystem::path& file() const { return file_; }
    /// Nothing for a file that is missing, cannot be read or was written by a newer version.
    [[nodiscard]] std::optional<Content> load() const;
    /// Writes the file in one step, unless it holds the content already; nothing removes it. Throws
    /// `FileError`.
    void save(const std::optional<Content>& content) const;

  private:
    std::filesystem::path file_;
};

struct MCPHandoffStore : MCPFile<MCPHandoff> {
    explicit MCPHandoffStore(const std::filesystem::path& directory)
        : MCPFile(directory, "mcp-handoff.json") {}
};

struct MCPBuildConfigStore : MCPFile<MCPBuildConfigsBlob> {
    explicit MCPBuildConfigStore(const std::filesystem::path& directory)
        : MCPFile(directory, "mcp-build-configs.json") {}
};

extern template class MCPFile<MCPHandoff>;
extern template class MCPFile<MCPBuildConfigsBlob>;

} // namespace quorvel
