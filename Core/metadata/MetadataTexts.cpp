#include "Core/metadata/MetadataTexts.h"

#include <fmt/format.h>

namespace quorvel {

std::string localeFolderFailedText(std::string_view error) {
    return fmt::format("Could not create locale folder: {}", error);
}

std::string metadataFolderFailedText(std::string_view folder, std::string_view error) {
    return fmt::format("Could not create metadata folder {}: {}", folder, error);
}

} // namespace quorvel
