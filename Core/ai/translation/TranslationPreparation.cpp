#include "Core/ai/translation/TranslationPreparation.h"

#include "Core/ai/translation/TextTrimming.h"
#include "Core/metadata/TextRemarks.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

std::vector<std::string> wordsOf(const std::optional<std::string>& name,
                                 const std::optional<std::string>& subtitle) {
    std::vector<std::string> words;
    for (const auto& text : {name, subtitle})
        for (const std::string_view segment :
             wordSegments(text ? std::string_view(*text) : std::string_view())) {
            const bool isWord = !isBlank(segment) && graphemeCount(segment) > 1;
            if (isWord && std::ranges::find(words, segment) == words.end()) words.emplace_back(segment);
        }
    return words;
}

std::optional<std::string> lineOf(const std::optional<std::string>& text) {
    return text ? std::optional(std::string(trim(*text))) : std::nullopt;
}

} // namespace

std::optional<std::string> wholePartsWithin(const std::string& text, const PreparedItem& prepared) {
    return prepared.item.field == FieldType::keywords ? wholeTermsWithin(text, prepared.limit)
                                                      : wholeWordsWithin(text, prepared.limit);
}

std::optional<std::string> usablePartOf(const std::string& kept, const PreparedItem& prepared) {
    if (isBlank(kept)) return std::nullopt;
    auto part = wholePartsWithin(kept, prepared);
    // Less than half of what there is room for says too little to be worth keeping.
    if (part && part->size() < kept.size() && graphemeCount(*part) * 2 < prepared.limit) return std::nullopt;
    return part;
}

LocaleSettings TranslationPreparation::settingsOf(const std::string& locale) const {
    const auto found = settings_.locales.find(locale);
    return found == settings_.locales.end() ? LocaleSettings{} : found->second;
}

std::optional<std::string> TranslationPreparation::reasonToSkip(const PreparedItem& prepared) const {
    const auto& [source, target, field] = prepared.item;
    const std::string_view label = shortLabelOf(field);
    if (isBlank(prepared.sourceText)) return fmt::format("{} of {} is empty — skipped.", label, source);
    if (target == source) return fmt::format("{} is the source locale — skipped.", target);
    if (prepared.isSafe && !isBlank(store_.read(target, field).value_or("")))
        return fmt::format("{} of {} has a text, which the locale's safe mode keeps — skipped.", label,
                           target);
    return std::nullopt;
}

PreparedItem TranslationPreparation::prepare(const TranslationItem& item) const {
    PreparedItem prepared{.item = item, .limit = TranslationPipeline::limitFor(item.field, settings_)};
    if (const auto source = store_.read(item.sourceLocale, item.field))
        prepared.sourceText = withoutFinalLineBreak(withoutByteOrderMark(*source));
    static_cast<void>(
        store_.folder().localeFolder(item.targetLocale)); // throws for one that may not become a path
    const LocaleSettings locale = settingsOf(item.targetLocale);
    prepared.isSafe = locale.aiSafeMode;
    prepared.skippedBecause = reasonToSkip(prepared);
    prepared.key = TranslationCache::key({.model = model_,
                                          .sourceText = prepared.sourceText,
                                          .targetLocale = item.targetLocale,
                                          .field = item.field,
                                          .brand = settings_.brand,
                                          .preferredScript = locale.preferredScript.value_or("")});
    return prepared;
}

PromptBuilder::Prompt TranslationPreparation::promptFor(const PreparedItem& prepared) const {
    if (prepared.item.field == FieldType::keywords) return keywordsPrompt(prepared);
    return PromptBuilder::translation(
        {.item = prepared.item,
         .sourceText = prepared.sourceText,
         .limit = prepared.limit,
         .brand = settings_.brand,
         .preferredScript = settingsOf(prepared.item.targetLocale).preferredScript});
}

PromptBuilder::Prompt TranslationPreparation::keywordsPrompt(const PreparedItem& prepared) const {
    const std::string& locale = prepared.item.targetLocale;
    const auto name = lineOf(store_.read(locale, FieldType::name));
    const auto subtitle = lineOf(store_.read(locale, FieldType::subtitle));
    const auto given = settings_.indexedTerms.find(locale);
    return PromptBuilder::keywords(
        {.locale = locale,
         .limit = prepared.limit,
         .appName = name,
         .appSubtitle = subtitle,
         .brand = settings_.brand,
         .indexedTerms = given == settings_.indexedTerms.end() ? wordsOf(name, subtitle) : given->second,
         .referenceKeywords = prepared.sourceText,
         .preferredScript = settingsOf(locale).preferredScript});
}

} // namespace quorvel
