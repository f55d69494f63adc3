// Which texts are worth translating.
#pragma once

#include "Core/ai/translation/Translation.h"
#include "Core/ai/translation/TranslationOrigins.h"
#include "Core/metadata/FieldRule.h"
#include "Core/metadata/FieldTexts.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

struct TranslationWish {
    std::string sourceLocale;
    std::vector<std::string> targetLocales;
    std::vector<FieldType> fields; // all when empty
    std::vector<FieldRule> rules;  // of the app
    enum class Which {
        stale, // those without a text, and those translated from an older source text and not edited since,
               // by whomever
        all,
    } which = Which::stale;
};

/// Whether a text is empty, or was translated from another text of the source locale and not edited since.
[[nodiscard]] bool isStale(std::string_view text, std::string_view sourceLocale, std::string_view sourceText,
                           const std::optional<TranslationOrigin>& origin);

/// The items of the wish that have a source text, locale by locale in the order of the fields. A field whose
/// rule says `off` is left out, and so is the source locale.
[[nodiscard]] std::vector<TranslationItem>
chooseItems(const ReadTexts& read, const TranslationOrigins& origins, const TranslationWish& wish);
/// The files among the texts of the wish that cannot be read, and so are left out.
[[nodiscard]] std::vector<UnreadableText> unreadableFor(const ReadTexts& texts, const TranslationWish& wish);

} // namespace quorvel
