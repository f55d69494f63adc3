#include "Core/ai/translation/EnglishLocaleExpansion.h"

#include "Core/ai/ClaudeError.h"
#include "Core/ai/ClaudePricing.h"
#include "Core/ai/JSONAnswer.h"
#include "Core/ai/translation/OverLimitTexts.h"
#include "Core/ai/translation/ReplyText.h"
#include "Core/ai/translation/TextReplacement.h"
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

EnglishLocaleExpansion::Entry fit(std::string_view locale, std::string_view field, std::size_t limit) {
    EnglishLocaleExpansion::Entry entry{.locale = std::string(locale), .keywordsField = tidyKeywords(field)};
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

} // namespace

PromptBuilder::Prompt EnglishLocaleExpansion::prompt(const Input& input) {
    std::string user = fmt::format("Base keywords field (en-US):\n{}", input.baseKeywords);
    if (!isBlank(input.appName)) user += fmt::format("\n\nApp name: {}", input.appName);
    if (!isBlank(input.appSubtitle)) user += fmt::format("\n\nApp subtitle: {}", input.appSubtitle);
    if (!isBlank(input.brand.brandVoice)) user += fmt::format("\n\nBrand voice: {}", input.brand.brandVoice);
    return {std::string(systemPrompt), std::move(user)};
}

EnglishLocaleExpansion::Result EnglishLocaleExpansion::expand(const Input& input) const {
    PromptBuilder::Prompt words = prompt(input);
    const ClaudeResponse response = claude_->send({.model = model_,
                                                   .maxTokens = maxOutputTokens,
                                                   .system = std::move(words.system),
                                                   .messages = {{"user", std::move(words.user)}},
                                                   .responseFormat = "json_object"});
    const Reply reply = decodeAnswer<Reply>(response.text());
    const auto [inputTokens, outputTokens] = response.usage;
    Result result{.rationale = reply.rationale.value_or(""),
                  .inputTokens = inputTokens,
                  .outputTokens = outputTokens,
                  .costUSD = response.fromCache ? 0 : ClaudePricing::cost(model_, inputTokens, outputTokens)};
    for (const std::string_view locale : locales)
        for (const Reply::Entry& entry : reply.entries)
            if (entry.locale == locale && !tidyKeywords(entry.keywords_field).empty()) {
                result.entries.push_back(fit(locale, entry.keywords_field, input.limit));
                break;
            }
    if (result.entries.empty())
        throw ClaudeError(ClaudeError::Decoding{"the answer holds no keywords for any English locale"});
    return result;
}

std::vector<EnglishLocaleExpansion::Entry>
EnglishLocaleExpansion::write(const MetadataFolder& folder, std::vector<Entry> entries,
                              const std::map<std::string, LocaleSettings>& settings, Date moment) {
    constexpr FieldType keywords = FieldType::keywords;
    const MetadataStore store(folder);
    for (Entry& entry : entries) {
        const auto locale = settings.find(entry.locale);
        entry.skipped = locale != settings.end() && locale->second.aiSafeMode &&
                        !isBlank(store.read(entry.locale, keywords).value_or(""));
        if (entry.skipped) continue;
        if (const auto kept = replaceText(store, entry.locale, keywords, entry.keywordsField, moment))
            entry.kept = kept->native();
    }
    return entries;
}

} // namespace quorvel
