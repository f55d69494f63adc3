#include "Quorvel/monitor/SeenStates.h"

#include "Platform/files/Files.h"
#include "Platform/text/Text.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

std::filesystem::path moveAside(const std::filesystem::path& file) {
    std::filesystem::path aside = file;
    aside += ".damaged";
    std::error_code error;
    std::filesystem::rename(file, aside, error);
    if (error) throw FileError(file, "is damaged and cannot be moved aside", error.value());
    return aside;
}

struct FormatOnly {
    std::int64_t formatVersion = 0;
    QUORVEL_RECORD(FormatOnly, formatVersion)
};

} // namespace

const SeenStates::Versions* SeenStates::of(std::string_view appID) const {
    const auto found = apps.find(std::string(appID));
    return found == apps.end() ? nullptr : &found->second;
}

LoadedStates loadSeenStates(const std::filesystem::path& file) {
    const auto text = readFile(file);
    if (!text) return {};
    try {
        const auto format = decodeJSON<FormatOnly>(*text).formatVersion;
        if (format > SeenStates::currentFormat)
            throw ApplicationError(FailureKind::failed,
                                   fmt::format("{} was written by a newer version of this program",
                                               escapeControls(file.native())),
                                   "Update this one, or remove the file to begin anew.");
        if (format == SeenStates::currentFormat) return {decodeJSON<SeenStates>(*text), {}};
    } catch (const JSONError&) {
        // told by what is returned
    }
    return {{}, moveAside(file)};
}

void saveSeenStates(const std::filesystem::path& file, const SeenStates& states) {
    writeFileAtomically(file, encodeJSON(states, JSONFormat::stateFile()) + "\n", FileMode::secret);
}

} // namespace quorvel
