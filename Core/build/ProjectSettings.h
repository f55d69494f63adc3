// Build settings in the text of a project.pbxproj.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// One assignment `KEY = value;` of a project file.
struct ProjectSetting {
    std::string value;      // without quotes
    std::size_t offset = 0; // of the assignment in the text
    std::size_t length = 0; // up to and with its semicolon
    bool isOfTests = false; // in a block of settings of a test target
    bool operator==(const ProjectSetting&) const = default;
};

/// All assignments of `key`, in order. Keys that only end or start with `key` are others.
[[nodiscard]] std::vector<ProjectSetting> settingsIn(std::string_view project, std::string_view key);

/// The value that stands for the app: the first that no test target sets and that is no reference, else the
/// first that no test target sets, else the first; nothing when there is none.
[[nodiscard]] std::optional<std::string> settingIn(std::string_view project, std::string_view key);

/// `project` with every assignment of `key` set to `value`; every other byte stays.
[[nodiscard]] std::string withSetting(std::string_view project, std::string_view key, std::string_view value);

/// Whether `value` refers to another setting, such as "$(FLUTTER_BUILD_NUMBER)".
[[nodiscard]] bool isSettingReference(std::string_view value);

} // namespace quorvel
