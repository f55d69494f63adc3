#include "Core/build/ArchiveInfo.h"

#include "Platform/files/Files.h"
#include "Platform/text/Text.h"

#include <string_view>

namespace quorvel {

namespace {

// A version has no character that XML would escape.
std::optional<std::string> plistText(std::string_view plist, std::string_view key) {
    const std::string start = "<key>" + std::string(key) + "</key>";
    auto at = plist.find(start);
    if (at == std::string_view::npos) return std::nullopt;
    const std::string_view rest = trim(plist.substr(at + start.size()));
    constexpr std::string_view open = "<string>";
    at = rest.find("</string>");
    if (!rest.starts_with(open) || at == std::string_view::npos) return std::nullopt;
    return std::string(trim(rest.substr(open.size(), at - open.size())));
}

} // namespace

ArchiveInfo archiveInfoOf(const std::filesystem::path& archive) {
    try {
        const std::string plist = readFile(archive / "Info.plist").value_or("");
        return {plistText(plist, "CFBundleShortVersionString"), plistText(plist, "CFBundleVersion")};
    } catch (const FileError&) { // the project's own values have to do
        return {};
    }
}

} // namespace quorvel
