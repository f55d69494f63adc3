#include "Core/metadata/MetadataTexts.h"

#include <fmt/format.h>

namespace quorvel {

std::string notPulledText(std::string_view context) {
    return fmt::format(
        "Nothing is known here of what App Store Connect holds for {}: it was not pulled yet, or "
        "its copies are gone. So every text counts as changed; a push replaces none that App "
        "Store Connect holds otherwise. Pull to compare.",
        context);
}

std::string noFolderText(std::size_t count, std::string_view locales) {
    return fmt::format("{} {} on App Store Connect but {} no folder here. Removing a folder removes nothing "
                       "there; a pull brings it back.",
                       locales, count == 1 ? "is" : "are", count == 1 ? "has" : "have");
}

std::string localeFolderFailedText(std::string_view error) {
    return fmt::format("Could not create locale folder: {}", error);
}

std::string metadataFolderFailedText(std::string_view folder, std::string_view error) {
    return fmt::format("Could not create metadata folder {}: {}", folder, error);
}

} // namespace quorvel
