#include "Core/ai/translation/TextReplacement.h"

#include "Platform/text/Text.h"

namespace quorvel {

std::optional<std::filesystem::path> replaceText(const MetadataStore& store, std::string_view locale,
                                                 FieldType field, std::string_view text, Date moment) {
    std::optional<std::filesystem::path> kept;
    store.update(locale, field, [&](const std::optional<std::string>& before) -> std::optional<std::string> {
        if (before == text) return std::nullopt;
        if (before && !isBlank(*before)) kept = store.keepBeside(locale, field, *before, moment);
        return std::string(text);
    });
    return kept;
}

} // namespace quorvel
