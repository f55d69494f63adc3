#include "Core/metadata/ContextsStore.h"

#include "Platform/files/Files.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

bool PersistedContexts::areOf(const std::vector<std::string>& versionIDs) const {
    return contexts.empty() || std::ranges::any_of(contexts, [&](const PlatformContext& context) {
               return std::ranges::find(versionIDs, context.versionId) != versionIDs.end();
           });
}

ContextsStore::ContextsStore(MetadataFolder appFolder, Clock clock)
    : folder_(std::move(appFolder)), clock_(std::move(clock)) {}

std::optional<PersistedContexts> ContextsStore::load() const {
    try {
        const auto text = readFile(folder_.contextsFile());
        return text ? std::optional(decodeJSON<PersistedContexts>(*text)) : std::nullopt;
    } catch (const JSONError& error) {
        // The file is only a memory of the last pull.
        logger_.warningOnce(fmt::format("{}: is damaged and not used ({}). The next pull writes it anew.",
                                        escapeControls(folder_.contextsFile().native()), error.what()));
    } catch (const FileError& error) {
        logger_.warningOnce(fmt::format(
            "{}. The contexts of the last pull are not known until it can be read.", error.what()));
    }
    return std::nullopt;
}

void ContextsStore::save(const std::vector<PlatformContext>& contexts,
                         const std::optional<std::string>& selectedContextId) const {
    createFolders(folder_.privateFolder());
    const PersistedContexts persisted{clock_(), contexts, selectedContextId};
    writeFileAtomically(folder_.contextsFile(), encodeJSON(persisted, JSONFormat::stateFile()));
}

} // namespace quorvel
