#include "Core/metadata/MetadataTexts.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

std::string notPulledText(std::string_view context) {
    return fmt::format(
        "Nothing is known here of what App Store Connect holds for {}: "
        "it was not pulled yet, or its copies are gone. "
        "So every text counts as changed; a push replaces none that App Store Connect holds otherwise. "
        "Pull to compare, or have the push overwrite: it shows first what it would replace.",
        context);
}

std::string noFolderText(const std::vector<std::string>& locales) {
    return fmt::format("{} {} on App Store Connect but {} no folder here. "
                       "Removing a folder removes nothing there; a pull brings it back.",
                       someOf(locales), locales.size() == 1 ? "is" : "are",
                       locales.size() == 1 ? "has" : "have");
}

std::string backAgainText(const std::vector<std::string>& locales) {
    return fmt::format("{} had no folder here and {} back, as App Store Connect has {}. "
                       "Disable a locale to leave it out of pulls.",
                       someOf(locales), locales.size() == 1 ? "is" : "are",
                       locales.size() == 1 ? "it" : "them");
}

std::string misnamedText(const std::vector<std::string>& paths, std::string_view reason) {
    return paths.size() == 1 ? fmt::format("{} {}. No push takes it.", paths.front(), reason)
                             : fmt::format("No push takes these {} entries ({}): each {}.", paths.size(),
                                           someOf(paths), reason);
}

std::string someOf(const std::vector<std::string>& names) {
    constexpr std::size_t namedAtMost = 5;
    const std::size_t named = std::min(names.size(), namedAtMost);
    std::string list =
        fmt::format("{}", fmt::join(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(named), ", "));
    if (names.size() > named) list += fmt::format(" and {} more", names.size() - named);
    return list;
}

std::string localeFolderFailedText(std::string_view error) {
    return fmt::format("Could not create locale folder: {}", error);
}

std::string metadataFolderFailedText(std::string_view folder, std::string_view error) {
    return fmt::format("Could not create metadata folder {}: {}", folder, error);
}

} // namespace quorvel
