#include "Quorvel/controllers/metadata/SecretExposure.h"

#include "Platform/process/ProcessRunner.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <filesystem>
#include <system_error>

namespace quorvel {

namespace {

// The top of the working tree that `folder` lies in.
std::optional<std::filesystem::path> workingTreeOf(const std::filesystem::path& folder) {
    std::error_code unreachable;
    for (auto place = std::filesystem::absolute(folder, unreachable); !place.empty();
         place = place.parent_path()) {
        if (std::filesystem::exists(place / ".git", unreachable)) return place;
        if (place == place.root_path()) break;
    }
    return std::nullopt;
}

bool isLeftOut(const std::filesystem::path& tree, const std::filesystem::path& file) try {
    return ProcessRunner::run({.executable = "git",
                               .arguments = {"-C", tree.native(), "-c", "core.fsmonitor=false",
                                             "check-ignore", "--quiet", "--", file.native()},
                               .environment = {{"GIT_OPTIONAL_LOCKS", "0"},
                                               {"GIT_TERMINAL_PROMPT", "0"},
                                               {"GIT_DIR", std::nullopt},
                                               {"GIT_WORK_TREE", std::nullopt}}})
        .succeeded();
} catch (const ProcessError&) {
    return false; // there is no git here
}

} // namespace

std::optional<std::string> exposedSecretText(const MetadataFolder& contextFolder) {
    constexpr FieldType secret = FieldType::demoAccountPassword;
    for (const TextSide side : {TextSide::local, TextSide::pulled}) {
        std::error_code unreachable;
        const auto file = contextFolder.fieldFile(pageLocale, secret, side);
        if (!std::filesystem::exists(file, unreachable) || std::filesystem::is_empty(file, unreachable))
            continue;
        const auto tree = workingTreeOf(contextFolder.rootURL);
        if (!tree) return std::nullopt;
        if (isLeftOut(*tree, std::filesystem::absolute(file, unreachable))) continue;
        return fmt::format("{} holds the demo account's password, and the git repository {} would take it. "
                           "Write a line \"{}\" into its .gitignore; a file that it holds already has to be "
                           "removed from it.",
                           escapeControls(file.native()), escapeControls(tree->native()),
                           file.filename().native());
    }
    return std::nullopt;
}

} // namespace quorvel
