#include "Core/ai/translation/EnglishLocaleExpansion.h"

#include "Core/ai/ClaudeAsker.h"
#include "Core/ai/ClaudeError.h"
#include "Core/ai/translation/GeneratedTexts.h"
#include "Core/ai/translation/KeywordList.h"
#include "Core/ai/translation/OverLimitTexts.h"
#include "Core/ai/translation/TextTrimming.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

constexpr std::int64_t maxOutputTokens = 2048;

constexpr std::string_view systemPrompt =
    R"(You are an App Store Optimisation specialist working the **English locale expansion** trick: Apple's App Store Connect lets you store a separate 100-char keywords field per locale (en-US, en-GB, en-AU, en-CA), and each locale's field is what Apple indexes for users in that region. Filling all four with **different but coordinated** keywords gives the app effectively 400 chars of indexing for English-speaking users worldwide.

Your job: given a base keywords field for en-US, produce per-locale variants that:

1. Keep the top 2–3 highest-priority terms in every locale (those    are core, you can't afford to skip them anywhere).
2. Use region-specific vocabulary when meaningful: en-GB/en-AU use    "colour" / "organise" / "favourite" / "holiday" / "CV"; en-US/en-CA    use "color" / "organize" / "favorite" / "vacation" / "resume".
3. Spend the remaining ~70 chars per locale on different long-tail    terms — so each locale uniquely carries some keywords. Don't    just translate; pick different angles.
4. Each locale's value MUST be ≤ 100 chars and use comma-separated    format with NO spaces after commas.

Output requirement: respond with ONLY a JSON object — no prose, no code fences. Schema:

{
  "entries": [
    {"locale": "en-US", "keywords_field": "term1,term2,…"},
    {"locale": "en-GB", "keywords_field": "term1,term2,…"},
    ...
  ],
  "rationale": "one paragraph explaining the per-locale trade-offs"
})";

struct Reply {
    struct Entry {
        std::string locale;
        std::string keywords_field;
        QUORVEL_RECORD(Entry, locale, keywords_field)
    };
    std::vector<Entry> entries;
    std::optional<std::string> rationale;
    QUORVEL_RECORD(Reply, entries, rationale)
};

EnglishLocaleExpansion::Entry fit(const std::string& locale, std::string keywords, std::size_t limit) {
    EnglishLocaleExpansion::Entry entry{.locale = locale, .keywordsField = std::move(keywords)};
    const std::size_t length = graphemeCount(entry.keywordsField);
    if (length <= limit) return entry;
    const auto whole = wholeTermsWithin(entry.keywordsField, limit);
    entry.keywordsField = whole ? *whole : trimToBoundary(entry.keywordsField, limit);
    entry.warning = warningFor({.field = FieldType::keywords,
                                .limit = limit,
                                .before = length,
                                .after = graphemeCount(entry.keywordsField),
                                .from = CutText::From::firstAnswer});
    return entry;
}

std::vector<EnglishLocaleExpansion::Entry> entriesOf(const Reply& reply,
                                                     const EnglishLocaleExpansion::Input& input) {
    std::vector<EnglishLocaleExpansion::Entry> entries;
    for (const std::string& locale : input.choice.filled) {
        const auto known = input.indexedTexts.find(locale);
        const std::vector<std::string> indexed =
            known == input.indexedTexts.end() ? std::vector{input.appName, input.appSubtitle} : known->second;
        for (const Reply::Entry& entry : reply.entries) {
            if (entry.locale != locale) continue;
            std::string keywords = tidyKeywords(entry.keywords_field, indexed);
            if (keywords.empty()) continue;
            entries.push_back(fit(locale, std::move(keywords), input.limit));
            break;
        }
    }
    return entries;
}

const std::string baseLocale(EnglishLocaleExpansion::locales.front());

// Why the locale keeps its keywords; nothing for one that is to be written.
std::optional<KeywordsKept> reasonToKeep(const std::string& locale, const MetadataStore& store,
                                         const TranslationOrigins& origins,
                                         const std::map<std::string, LocaleSettings>& settings,
                                         TranslationWish::Which which) {
    const auto found = settings.find(locale);
    const LocaleSettings own = found == settings.end() ? LocaleSettings{} : found->second;
    if (!own.enabled) return KeywordsKept::disabled;
    const std::string keywords = store.read(locale, FieldType::keywords).value_or("");
    if (isBlank(keywords)) return std::nullopt;
    if (own.aiSafeMode) return KeywordsKept::safeMode;
    if (which == TranslationWish::Which::all) return std::nullopt;
    const std::string baseKeywords = store.read(baseLocale, FieldType::keywords).value_or("");
    const bool isOutdated = locale != baseLocale && isStale(keywords, baseLocale, baseKeywords,
                                                            origins.find(locale, FieldType::keywords));
    return isOutdated ? std::nullopt : std::optional(KeywordsKept::upToDate);
}

} // namespace

EnglishLocaleExpansion::Choice
EnglishLocaleExpansion::choose(const MetadataStore& store,
                               const std::map<std::string, LocaleSettings>& settings,
                               TranslationWish::Which which) {
    const TranslationOrigins origins = TranslationOrigins::load(store.folder());
    Choice choice;
    for (const std::string_view each : locales) {
        const std::string locale(each);
        if (const auto reason = reasonToKeep(locale, store, origins, settings, which))
            choice.kept.push_back(
                {locale, *reason, std::string(trim(store.read(locale, FieldType::keywords).value_or("")))});
        else
            choice.filled.push_back(locale);
    }
    return choice;
}

PromptBuilder::Prompt EnglishLocaleExpansion::prompt(const Input& input) {
    std::string user = fmt::format("Base keywords field ({}):\n{}", baseLocale, input.baseKeywords);
    if (!isBlank(input.appName)) user += fmt::format("\n\nApp name: {}", input.appName);
    if (!isBlank(input.appSubtitle)) user += fmt::format("\n\nApp subtitle: {}", input.appSubtitle);
    if (!isBlank(input.brand.brandVoice)) user += fmt::format("\n\nBrand voice: {}", input.brand.brandVoice);
    std::string kept;
    for (const KeptLocale& locale : input.choice.kept)
        if (locale.locale != baseLocale && !locale.keywords.empty())
            kept += fmt::format("\n{}: {}", locale.locale, locale.keywords);
    if (!kept.empty()) user += "\n\nFields that stay as they are; choose other long-tail terms:" + kept;
    return {std::string(systemPrompt), std::move(user)};
}

EnglishLocaleExpansion::Result EnglishLocaleExpansion::expand(const Input& input) const {
    PromptBuilder::Prompt words = prompt(input);
    ClaudeAsker asker(*claude_);
    Result result;
    const auto reply = asker.askForJSON<Reply>(
        {.model = model_,
         .maxTokens = maxOutputTokens,
         .system = std::move(words.system),
         .messages = {{"user", std::move(words.user)}},
         .keptAnswers = input.keptAnswers,
         .feature = "translation"},
        [&](const Reply& answer) {
            result.entries = entriesOf(answer, input);
            if (result.entries.empty())
                throw ClaudeError(ClaudeError::Decoding{
                    "the answer holds no keywords for any of the English locales that were asked for"});
        });
    result.rationale = reply.rationale.value_or("");
    result.cost = asker.cost();
    return result;
}

std::vector<EnglishLocaleExpansion::Entry>
EnglishLocaleExpansion::write(const MetadataStore& store, std::vector<Entry> entries,
                              const std::map<std::string, LocaleSettings>& settings,
                              TranslationWish::Which which, Date moment) {
    constexpr FieldType keywords = FieldType::keywords;
    TranslationOrigins origins = TranslationOrigins::load(store.folder());
    GeneratedTexts generated(store, moment);
    for (Entry& entry : entries) {
        entry.skipped = reasonToKeep(entry.locale, store, origins, settings, which).has_value();
        if (entry.skipped) continue;
        const auto written = generated.write(entry.locale, keywords, entry.keywordsField,
                                             entry.warning ? ReviewMark::cut : ReviewMark::generated);
        if (written.kept) entry.kept = written.kept->native();
    }
    // The base's list may be a new one; the others were made with it.
    const std::string baseKeywords = store.read(baseLocale, keywords).value_or("");
    for (const Entry& entry : entries)
        if (!entry.skipped && entry.locale != baseLocale)
            origins.note(entry.locale, keywords, baseKeywords, entry.keywordsField, baseLocale);
    origins.save(store.folder());
    return entries;
}

} // namespace quorvel
