#include "Core/ai/translation/TranslationPreparation.h"

#include "Core/ai/translation/TextTrimming.h"
#include "Core/metadata/FallbackTexts.h"
#include "Core/metadata/TextRemarks.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

// Single letters say nothing, but one Han character or syllable is a word; those are wide.
std::vector<std::string> wordsOf(const std::optional<std::string>& name,
                                 const std::optional<std::string>& subtitle) {
    std::vector<std::string> found;
    for (const auto& text : {name, subtitle})
        for (const std::string_view word : words(text ? std::string_view(*text) : std::string_view())) {
            const bool isTelling = graphemeCount(word) > 1 || displayWidth(word) > 1;
            if (isTelling && std::ranges::find(found, word) == found.end()) found.emplace_back(word);
        }
    return found;
}

std::optional<std::string> lineOf(const std::optional<std::string>& text) {
    return text ? std::optional(std::string(trim(*text))) : std::nullopt;
}

} // namespace

std::optional<std::string> wholePartsWithin(const std::string& text, const PreparedItem& prepared) {
    return prepared.item.field == FieldType::keywords ? wholeTermsWithin(text, prepared.limit)
                                                      : wholeWordsWithin(text, prepared.limit);
}

std::vector<TextFinding>
TranslationPreparation::findingsIn(const PreparedItem& prepared, std::string_view text,
                                   const std::optional<std::string>& stopReason) const {
    return quorvel::findingsIn({.item = prepared.item,
                                .sourceText = prepared.sourceText,
                                .text = text,
                                .limit = prepared.limit,
                                .brand = settings_.brand,
                                .stopReason = stopReason});
}

std::optional<std::string> TranslationPreparation::usablePartOf(const std::string& kept,
                                                                const PreparedItem& prepared) const {
    if (isBlank(kept) || hasFailure(findingsIn(prepared, kept))) return std::nullopt;
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
    if (const auto source = readTextThatCounts(store_.folder(), item.sourceLocale, item.field))
        prepared.sourceText = withoutFinalLineBreak(withoutByteOrderMark(*source));
    static_cast<void>(
        store_.folder().localeFolder(item.targetLocale)); // throws for one that may not become a path
    const LocaleSettings locale = settingsOf(item.targetLocale);
    prepared.isSafe = locale.aiSafeMode;
    prepared.skippedBecause = reasonToSkip(prepared);
    std::vector<std::string> keywordParts;
    if (item.field == FieldType::keywords) {
        KeywordContext context = keywordContext(item.targetLocale);
        keywordParts = context.parts();
        prepared.indexedTerms = std::move(context.indexedTerms);
    }
    prepared.key = TranslationCache::key({.model = model_,
                                          .sourceText = prepared.sourceText,
                                          .targetLocale = item.targetLocale,
                                          .field = item.field,
                                          .brand = settings_.brand,
                                          .preferredScript = locale.preferredScript.value_or(""),
                                          .keywordContext = std::move(keywordParts)});
    return prepared;
}

TranslationPreparation::KeywordContext
TranslationPreparation::keywordContext(const std::string& locale) const {
    KeywordContext context{.name = lineOf(store_.read(locale, FieldType::name)),
                           .subtitle = lineOf(store_.read(locale, FieldType::subtitle)),
                           .indexedTerms = {}};
    const auto given = settings_.indexedTerms.find(locale);
    context.indexedTerms =
        given == settings_.indexedTerms.end() ? wordsOf(context.name, context.subtitle) : given->second;
    return context;
}

std::vector<std::string> TranslationPreparation::KeywordContext::parts() const {
    std::vector<std::string> parts{name.value_or(""), subtitle.value_or("")};
    parts.insert(parts.end(), indexedTerms.begin(), indexedTerms.end());
    return parts;
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
    KeywordContext context = keywordContext(locale);
    return PromptBuilder::keywords({.locale = locale,
                                    .limit = prepared.limit,
                                    .appName = std::move(context.name),
                                    .appSubtitle = std::move(context.subtitle),
                                    .brand = settings_.brand,
                                    .indexedTerms = std::move(context.indexedTerms),
                                    .referenceKeywords = prepared.sourceText,
                                    .preferredScript = settingsOf(locale).preferredScript});
}

} // namespace quorvel
