#include "Core/ai/translation/TextReplacement.h"

#include "Platform/text/Text.h"

namespace quorvel {

void replaceText(const MetadataStore& store, std::string_view locale, FieldType field, std::string_view text,
                 Date moment) {
    const auto before = store.read(locale, field);
    if (before == text) return;
    if (before && !isBlank(*before)) static_cast<void>(store.keepBeside(locale, field, *before, moment));
    store.write(locale, field, text);
}

} // namespace quorvel
