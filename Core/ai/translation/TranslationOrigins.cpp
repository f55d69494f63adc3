#include "Core/ai/translation/TranslationOrigins.h"

#include "Core/metadata/TextRemarks.h"
#include "Platform/crypto/Digest.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

std::filesystem::path fileOf(const MetadataFolder& folder) {
    return folder.privateFolder() / "translations.json";
}

} // namespace

TranslationOrigin TranslationOrigin::of(std::string_view sourceText, std::string_view translation) {
    const auto digest = [](std::string_view text) {
        return sha256Hex(withoutFinalLineBreak(withoutByteOrderMark(text)));
    };
    return {digest(sourceText), digest(translation)};
}

TranslationOrigins TranslationOrigins::load(const MetadataFolder& folder) {
    TranslationOrigins origins;
    const auto text = readFile(fileOf(folder));
    if (!text) return origins;
    try {
        origins.origins_ = decodeJSON<decltype(origins.origins_)>(*text);
    } catch (const JSONError& error) {
        Logger("TranslationOrigins")
            .warning(fmt::format("{} is damaged ({}) and counts as empty",
                                 escapeControls(fileOf(folder).native()), error.what()));
    }
    return origins;
}

void TranslationOrigins::save(const MetadataFolder& folder) const {
    createFolders(folder.privateFolder());
    writeFileAtomically(fileOf(folder), encodeJSON(origins_, JSONFormat::stateFile()) + "\n",
                        FileMode::shared, Durability::later);
}

void TranslationOrigins::note(std::string_view locale, FieldType field, std::string_view sourceText,
                              std::string_view translation) {
    origins_[std::string(locale)][std::string(rawValue(field))] =
        TranslationOrigin::of(sourceText, translation);
}

std::optional<TranslationOrigin> TranslationOrigins::find(std::string_view locale, FieldType field) const {
    const auto fields = origins_.find(std::string(locale));
    if (fields == origins_.end()) return std::nullopt;
    const auto found = fields->second.find(std::string(rawValue(field)));
    return found == fields->second.end() ? std::nullopt : std::optional(found->second);
}

} // namespace quorvel
