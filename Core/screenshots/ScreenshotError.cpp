#include "Core/screenshots/ScreenshotError.h"

#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

ScreenshotError ScreenshotError::readOnlyVersion(std::string_view versionString) {
    return {Kind::readOnlyVersion, fmt::format("Push refused — {} is not in an editable state. "
                                               "Switch to a Next/Prepare-for-submission context.",
                                               escapeControls(versionString))};
}

ScreenshotError ScreenshotError::badCatalog(const std::filesystem::path& file, std::string_view problem,
                                            AssetKind kind) {
    return {Kind::badCatalog,
            fmt::format("{}: the {} catalogue is damaged ({}). Pull the {} again.", shownPath(file),
                        traitsOf(kind).one, escapeControls(problem), traitsOf(kind).many)};
}

ScreenshotError ScreenshotError::newerCatalog(const std::filesystem::path& file, AssetKind kind) {
    return {Kind::newerCatalog, fmt::format("{}: the {} catalogue was written by a newer version of Quorvel. "
                                            "Update Quorvel, or remove the file and pull the {} again.",
                                            shownPath(file), traitsOf(kind).one, traitsOf(kind).many)};
}

ScreenshotError ScreenshotError::noFolder(const std::filesystem::path& folder, AssetKind kind) {
    const AssetTraits traits = traitsOf(kind);
    std::string name(traits.many);
    name.front() = static_cast<char>(name.front() - 'a' + 'A');
    return {Kind::noFolder,
            fmt::format("{}: there is no such folder. {} belong into <locale>/<display type> under it, "
                        "such as {}.",
                        shownPath(folder), name, traits.folderExample)};
}

ScreenshotError ScreenshotError::ownFolder(const std::filesystem::path& folder, AssetKind kind) {
    return {Kind::ownFolder, fmt::format("{}: these are the app's own {}, which are there already. "
                                         "Name the folder that another tool keeps its {} in.",
                                         shownPath(folder), traitsOf(kind).many, traitsOf(kind).many)};
}

std::string shownPath(const std::filesystem::path& path) {
    return escapeControls(repairUTF8(path.native()));
}

std::string setText(std::string_view locale, std::string_view displayType) {
    return escapeControls(fmt::format("{} {}", locale, displayType));
}

} // namespace quorvel
