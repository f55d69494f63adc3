#include "Core/ai/translation/TextReplacement.h"

#include "Platform/text/Text.h"

namespace quorvel {

std::optional<std::filesystem::path> replaceText(const MetadataStore& store, std::string_view locale,
                                                 FieldType field, std::string_view text, Date moment) {
    const auto before = store.read(locale, field);
    if (before == text) return std::nullopt;
    std::optional<std::filesystem::path> kept;
    if (before && !isBlank(*before)) kept = store.keepBeside(locale, field, *before, moment);
    store.write(locale, field, text);
    return kept;
}

} // namespace quorvel
