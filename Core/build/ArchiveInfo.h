// What an archive says of the app in it.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace quorvel {

/// The version and the build number that an upload of an archive will have, whatever set them.
struct ArchiveInfo {
    std::optional<std::string> marketingVersion;
    std::optional<std::string> buildNumber;
    bool operator==(const ArchiveInfo&) const = default;
};

/// Reads the archive's Info.plist; what it does not tell, or tells in another form than XML, is left out.
[[nodiscard]] ArchiveInfo archiveInfoOf(const std::filesystem::path& archive);

} // namespace quorvel
