#include "Core/assistants/MCPHandoff.h"

#include "Platform/files/Files.h"

namespace quorvel {

std::string MCPBuildConfigsBlob::keyOf(std::string_view slug, TargetPlatform platform) {
    return std::string(slug) + (platform == TargetPlatform::macOS ? "/macos" : "");
}

std::filesystem::path mcpFolder(const Home& home) {
    return home.applicationSupport() / "Brevant";
}

template <typename Content>
std::optional<Content> MCPFile<Content>::load() const {
    try {
        const auto text = readFile(file_);
        if (!text) return std::nullopt;
        auto content = decodeJSON<Content>(*text);
        return content.version <= Content::currentVersion ? std::optional(std::move(content)) : std::nullopt;
    } catch (const FileError&) {
        return std::nullopt;
    } catch (const JSONError&) {
        return std::nullopt;
    }
}

template <typename Content>
void MCPFile<Content>::save(const std::optional<Content>& content) const {
    if (!content) {
        removeFile(file_);
    } else if (load() != content) {
        createFolders(file_.parent_path(), FolderMode::secret);
        writeFileAtomically(file_, encodeJSON(*content, JSONFormat::stateFile()) + "\n", FileMode::secret);
    }
}

template class MCPFile<MCPHandoff>;
template class MCPFile<MCPBuildConfigsBlob>;

} // namespace quorvel
