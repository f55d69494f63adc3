#include "Quorvel/controllers/metadata/SecretExposure.h"

#include "Core/build/notes/GitRepoReader.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <filesystem>
#include <system_error>

namespace quorvel {

namespace {

bool isTakenByGit(const std::filesystem::path& file) {
    try {
        return GitRepoReader().takes(file);
    } catch (const GitRepoError&) { // without git nobody commits it here
        return false;
    }
}

} // namespace

std::optional<ExposedSecret> exposedSecret(const MetadataFolder& contextFolder) {
    constexpr FieldType secret = FieldType::demoAccountPassword;
    for (const TextSide side : {TextSide::local, TextSide::pulled}) {
        std::error_code unreachable;
        const auto file = contextFolder.fieldFile(pageLocale, secret, side);
        if (!std::filesystem::is_regular_file(file, unreachable)) continue;
        if (isBlank(readFile(file).value_or("")) || !isTakenByGit(file)) continue;
        return ExposedSecret{
            file.native(),
            fmt::format(
                "{} holds the demo account's password, and the git repository around it would take it. "
                "Write a line \"{}\" into its .gitignore; a file that it holds already has to be "
                "removed from it.",
                escapeControls(file.native()), file.filename().native())};
    }
    return std::nullopt;
}

} // namespace quorvel
