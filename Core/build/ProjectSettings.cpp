#include "Core/build/ProjectSettings.h"

#include <algorithm>
#include <array>

namespace quorvel {

namespace {

bool isKeyCharacter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '_';
}

bool isSpace(char character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

std::size_t skipSpaces(std::string_view text, std::size_t at) {
    while (at < text.size() && isSpace(text[at]))
        ++at;
    return at;
}

// Whether the block of settings around `offset` belongs to a test target.
bool isInTestSettings(std::string_view project, std::size_t offset) {
    const auto start = project.rfind('{', offset);
    const auto end = project.find("};", offset);
    const std::string_view block = project.substr(
        start == std::string_view::npos ? 0 : start,
        end == std::string_view::npos ? end : end - (start == std::string_view::npos ? 0 : start));
    constexpr std::array<std::string_view, 3> marks = {"TEST_HOST", "TEST_TARGET_NAME", "BUNDLE_LOADER"};
    return std::ranges::any_of(
        marks, [&](std::string_view mark) { return block.find(mark) != std::string_view::npos; });
}

// The assignment at `offset`, where the key was found; nothing when it is none.
std::optional<ProjectSetting> assignmentAt(std::string_view project, std::size_t offset,
                                           std::size_t keyLength) {
    std::size_t at = skipSpaces(project, offset + keyLength);
    if (at >= project.size() || project[at] != '=') return std::nullopt;
    at = skipSpaces(project, at + 1);
    const bool isQuoted = at < project.size() && project[at] == '"';
    if (isQuoted) ++at;
    const auto end = project.find_first_of("\";\n", at);
    if (end == std::string_view::npos) return std::nullopt;
    std::string_view value = project.substr(at, end - at);
    while (!isQuoted && !value.empty() && isSpace(value.back()))
        value.remove_suffix(1);
    const std::size_t semicolon = skipSpaces(project, isQuoted && project[end] == '"' ? end + 1 : end);
    if (value.empty() || semicolon >= project.size() || project[semicolon] != ';') return std::nullopt;
    return ProjectSetting{std::string(value), offset, semicolon + 1 - offset,
                          isInTestSettings(project, offset)};
}

// Property lists of this form leave out the quotes around plain words.
std::string quotedWhereNeeded(std::string_view value) {
    const bool isPlain = !value.empty() && std::ranges::all_of(value, [](char character) {
        return isKeyCharacter(character) || character == '.' || character == '/';
    });
    return isPlain ? std::string(value) : '"' + std::string(value) + '"';
}

} // namespace

std::vector<ProjectSetting> settingsIn(std::string_view project, std::string_view key) {
    std::vector<ProjectSetting> settings;
    for (auto at = project.find(key); at != std::string_view::npos; at = project.find(key, at + key.size())) {
        if (at > 0 && isKeyCharacter(project[at - 1])) continue;
        if (auto setting = assignmentAt(project, at, key.size())) settings.push_back(std::move(*setting));
    }
    return settings;
}

std::optional<std::string> settingIn(std::string_view project, std::string_view key) {
    const auto settings = settingsIn(project, key);
    if (settings.empty()) return std::nullopt;
    const auto best = std::ranges::min_element(settings, {}, [](const ProjectSetting& setting) {
        return std::pair(setting.isOfTests, isSettingReference(setting.value));
    });
    return best->value;
}

std::string withSetting(std::string_view project, std::string_view key, std::string_view value) {
    std::string changed;
    changed.reserve(project.size() + 64);
    std::size_t copied = 0;
    for (const ProjectSetting& setting : settingsIn(project, key)) {
        changed += project.substr(copied, setting.offset - copied);
        changed += std::string(key) + " = " + quotedWhereNeeded(value) + ";";
        copied = setting.offset + setting.length;
    }
    return changed += project.substr(copied);
}

bool isSettingReference(std::string_view value) {
    return value.find("$(") != std::string_view::npos || value.find("${") != std::string_view::npos;
}

} // namespace quorvel
