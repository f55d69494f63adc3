#include "Core/screenshots/ScreenshotError.h"

#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

ScreenshotError ScreenshotError::readOnlyVersion(std::string_view versionString) {
    return {Kind::readOnlyVersion, fmt::format("Push refused — {} is not in an editable state. "
                                               "Switch to a Next/Prepare-for-submission context.",
                                               escapeControls(versionString))};
}

ScreenshotError ScreenshotError::badCatalog(const std::filesystem::path& file, std::string_view problem) {
    return {Kind::badCatalog,
            fmt::format("{}: the screenshot catalogue is damaged ({}). Pull the screenshots again.",
                        shownPath(file), escapeControls(problem))};
}

ScreenshotError ScreenshotError::newerCatalog(const std::filesystem::path& file) {
    return {Kind::newerCatalog,
            fmt::format("{}: the screenshot catalogue was written by a newer version of Quorvel. "
                        "Update Quorvel, or remove the file and pull the screenshots again.",
                        shownPath(file))};
}

ScreenshotError ScreenshotError::noFolder(const std::filesystem::path& folder) {
    return {
        Kind::noFolder,
        fmt::format("{}: there is no such folder. Screenshots belong into <locale>/<display type> under it, "
                    "such as en-US/iphone-67.",
                    shownPath(folder))};
}

ScreenshotError ScreenshotError::ownFolder(const std::filesystem::path& folder) {
    return {Kind::ownFolder, fmt::format("{}: these are the app's own screenshots, which are there already. "
                                         "Name the folder that another tool keeps its screenshots in.",
                                         shownPath(folder))};
}

std::string shownPath(const std::filesystem::path& path) {
    return escapeControls(repairUTF8(path.native()));
}

std::string setText(std::string_view locale, std::string_view displayType) {
    return escapeControls(fmt::format("{} {}", locale, displayType));
}

} // namespace quorvel
