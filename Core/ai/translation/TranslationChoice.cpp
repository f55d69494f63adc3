#include "Core/ai/translation/TranslationChoice.h"

#include "Platform/text/Text.h"

#include <algorithm>

namespace quorvel {

namespace {

bool isTranslated(FieldType field, std::span<const FieldRule> rules) {
    return std::ranges::none_of(rules, [&](const FieldRule& rule) {
        return rule.fieldTypeValue() == field && rule.translateModeValue() == TranslateMode::off;
    });
}

std::string textOf(const LocaleTexts& texts, const std::string& locale, FieldType field) {
    const auto found = texts.find(locale);
    return found == texts.end() ? "" : found->second[field].value_or("");
}

} // namespace

bool isStale(std::string_view text, std::string_view sourceLocale, std::string_view sourceText,
             const std::optional<TranslationOrigin>& origin) {
    if (isBlank(text)) return true;
    // A translation of another locale's text says nothing of this one.
    if (!origin || origin->sourceLocale.value_or(std::string(sourceLocale)) != sourceLocale) return false;
    const TranslationOrigin now = TranslationOrigin::of(sourceText, text);
    // A text that differs from the known translation was edited.
    return origin->source != now.source && origin->translation == now.translation;
}

std::vector<TranslationItem> chooseItems(const LocaleTexts& texts, const TranslationOrigins& origins,
                                         const TranslationWish& wish) {
    std::vector<TranslationItem> items;
    for (const std::string& locale : wish.targetLocales)
        for (const FieldType field : allFieldTypes) {
            const bool isWanted =
                wish.fields.empty() || std::ranges::find(wish.fields, field) != wish.fields.end();
            const std::string source = textOf(texts, wish.sourceLocale, field);
            if (locale == wish.sourceLocale || !isWanted || !isTranslated(field, wish.rules) ||
                isBlank(source))
                continue;
            if (wish.which == TranslationWish::Which::all ||
                isStale(textOf(texts, locale, field), wish.sourceLocale, source, origins.find(locale, field)))
                items.push_back({wish.sourceLocale, locale, field});
        }
    return items;
}

} // namespace quorvel
