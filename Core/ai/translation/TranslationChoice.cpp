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

bool isWanted(FieldType field, const TranslationWish& wish) {
    const bool isNamed = wish.fields.empty() || std::ranges::find(wish.fields, field) != wish.fields.end();
    return isNamed && isTranslated(field, wish.rules);
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

std::vector<UnreadableText> unreadableFor(const ReadTexts& texts, const TranslationWish& wish) {
    std::vector<UnreadableText> unreadable = texts.unreadable;
    std::erase_if(unreadable, [&](const UnreadableText& text) {
        const bool isConcerned =
            text.locale == wish.sourceLocale ||
            std::ranges::find(wish.targetLocales, text.locale) != wish.targetLocales.end();
        return !isConcerned || !isWanted(text.field, wish);
    });
    return unreadable;
}

std::vector<TranslationItem> chooseItems(const ReadTexts& read, const TranslationOrigins& origins,
                                         const TranslationWish& wish) {
    const LocaleTexts& texts = read.texts;
    std::vector<TranslationItem> items;
    for (const std::string& locale : wish.targetLocales)
        for (const FieldType field : storeTexts) {
            const std::string source = textOf(texts, wish.sourceLocale, field);
            if (locale == wish.sourceLocale || !isWanted(field, wish) || isBlank(source)) continue;
            // What cannot be read cannot be written over either, and its answer would be paid for in vain.
            if (std::ranges::find(read.unreadable, FieldKey{locale, field}, &UnreadableText::key) !=
                read.unreadable.end())
                continue;
            if (wish.which == TranslationWish::Which::all ||
                isStale(textOf(texts, locale, field), wish.sourceLocale, source, origins.find(locale, field)))
                items.push_back({wish.sourceLocale, locale, field});
        }
    return items;
}

} // namespace quorvel
