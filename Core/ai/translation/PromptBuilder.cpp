#include "Core/ai/translation/PromptBuilder.h"

#include "Core/ai/translation/LocaleNotes.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

struct FieldWords {
    std::string_view label;
    std::string_view guidance;
};

// In the order of `FieldType`.
constexpr FieldWords fieldWords[] = {
    {"app name",
     R"(- The app name is a brand. Only translate if the existing name has a meaningful localized form; otherwise keep verbatim.
- No emoji.
- Title-case the way the source does.)"},
    {"subtitle", R"(- Punchy positioning statement, not a translation of the description.
- Avoid trailing periods.
- Mirror the energy and tone of the source.)"},
    {"description", R"(- Preserve paragraph structure and bullet lists from the source.
- Adapt cultural references to local equivalents.
- Keep all section headers/marketing claims grounded in the source.
- Mirror line breaks.)"},
    {"promotional text", R"(- Single short paragraph, marketing-tone, current and timely.
- No emoji unless the source uses them.
- Mirror the urgency level of the source.)"},
    {"release notes (\"What's New\")", R"(- Match the source's level of detail.
- Keep version numbers and bullet structure intact.
- Use locale-natural phrasing for "Bug fixes and improvements" and similar boilerplate.)"},
    {"keywords",
     R"(- This is the keywords prompt path; use the dedicated keywords prompt rather than translating.)"},
};

constexpr std::string_view tightFieldRule = R"(
• This is a TIGHT 30-char field. If your draft is over, do NOT abbreviate; DROP entire words/items until you fit. A shorter, complete phrase beats an awkward truncation every time.)";

constexpr std::string_view translationSystem = R"(ABSOLUTE CHARACTER LIMIT — READ FIRST
════════════════════════════════════════════════════════════
The output for this {field} MUST be ≤ {limit} characters.
Apple's App Store Connect rejects ANY submission that exceeds this. There is no tolerance — {tooMany} characters is broken.

How to comply:
1. Draft a version that conveys the meaning.
2. Count its characters (including spaces and punctuation).
3. If the count exceeds {limit}, rewrite it shorter and repeat step 2.
4. Only output once the count is ≤ {limit}
════════════════════════════════════════════════════════════

You are a senior App Store localization expert with deep ASO knowledge for the {locale} market. Your translations sound native and culturally appropriate. You never translate brand names or protected terms.

Brand context:
{voice}

Protected terms (keep verbatim, do not translate):
{protectedTerms}

Glossary (use these exact translations when the source matches):
{glossary}

Rules for {field}:
{guidance}{tightFieldRule}

Locale notes:
{notes}{scriptRule})";

constexpr std::string_view translationUser = R"(Translate the following {field} from {source} to {target}:

---
{text}
---

Output ONLY the translated text. No explanations, no quotes, no markdown.
Reminder: ≤ {limit} characters. Count before you respond.)";

constexpr std::string_view keywordsSystem = R"(ABSOLUTE CHARACTER LIMIT — READ FIRST
════════════════════════════════════════════════════════════
The comma-separated keywords string MUST be ≤ {limit} characters total (including commas, NO spaces after commas).
Apple's App Store Connect rejects ANY submission that exceeds this. There is no tolerance — {tooMany} characters is broken.

How to comply:
1. Draft a candidate list, ordered by descending search volume.
2. Count all characters (every comma counts as 1).
3. If the count exceeds {limit}, drop the lowest-value term entirely and recount. Repeat until the count is ≤ {limit}.
4. Never abbreviate words to fit — fewer complete keywords beat more truncated ones.
════════════════════════════════════════════════════════════

You are a senior ASO specialist for the {locale} App Store market.

App context:
- App name: {name}
- App subtitle: {subtitle}
{voice}

Already indexed by Apple, exclude from keywords:
{indexedTerms}

Reference English keywords (do NOT translate; generate fresh local terms that match how {locale} users actually search):
{reference}

Rules:
- Comma-separated, no spaces after commas.
- No words from the app name or subtitle (Apple already indexes those).
- No stop-words in the target locale.
- No singular+plural duplicates.
- Order by descending search volume (best guess for the locale).
- Use locale-native terms users actually type, not literal translations of English keywords.{scriptRule})";

constexpr std::string_view keywordsUser = R"(Generate the optimized keywords field for the {locale} App Store.

Output ONLY the comma-separated keyword string. No explanations, no quotes, no markdown.
Reminder: ≤ {limit} characters total. Count before you respond.)";

constexpr std::string_view keywordsRetry = R"(
The previous attempt was {} characters; the hard limit is {}. Drop low-impact terms and try again.)";

constexpr std::string_view condensingRetry = R"(
The previous attempt was {} characters — {} over the hard limit of {}. Condense aggressively while preserving the core meaning.)";

constexpr std::string_view droppingRetry = R"(
The previous attempt was {} characters — {} over the hard limit of {}. The limit is non-negotiable. If the source is comma-separated, DROP the lowest-value item entirely rather than abbreviating the others. Single-word omissions are preferred over awkward truncations. Return ONLY the shorter version.)";

constexpr std::string_view noBrandVoice = "(No brand-voice notes provided.)";
constexpr std::string_view notLocalized = "(not localized)";

static_assert(std::size(fieldWords) == storeTexts.size(), "a row per field");

const FieldWords& wordsOf(FieldType field) {
    return fieldWords[static_cast<std::size_t>(field)];
}

bool isTight(FieldType field) {
    return field == FieldType::name || field == FieldType::subtitle;
}

std::string_view voiceOf(const BrandContext& brand) {
    return isBlank(brand.brandVoice) ? noBrandVoice : std::string_view(brand.brandVoice);
}

std::string linesOf(const std::vector<std::string>& terms) {
    return terms.empty() ? "(none)" : fmt::format("{}", fmt::join(terms, "\n"));
}

std::string glossaryFor(const BrandContext& brand, std::string_view locale) {
    std::vector<std::string> entries;
    for (const auto& [term, renderings] : brand.glossary)
        if (const auto found = renderings.find(std::string(locale)); found != renderings.end())
            entries.push_back(fmt::format("{} → {}", term, found->second));
    return linesOf(entries);
}

std::string scriptRule(const std::optional<std::string>& script) {
    constexpr std::pair<std::string_view, std::string_view> names[] = {
        {"Arab", "Arabic"},   {"Beng", "Bengali"},        {"Cyrl", "Cyrillic"},        {"Deva", "Devanagari"},
        {"Guru", "Gurmukhi"}, {"Hans", "simplified Han"}, {"Hant", "traditional Han"}, {"Latn", "Latin"}};
    if (!script || isBlank(*script)) return "";
    std::string_view name = trim(*script);
    for (const auto& [code, word] : names)
        if (asciiLowercase(code) == asciiLowercase(name)) name = word;
    return fmt::format("\n- Write in the {} script.", name);
}

} // namespace

std::string_view PromptBuilder::label(FieldType field) {
    return wordsOf(field).label;
}

PromptBuilder::Prompt PromptBuilder::translation(const TranslationRequest& request) {
    using fmt::arg;
    const auto& [source, target, field] = request.item;
    const auto& [label, guidance] = wordsOf(field);
    return {fmt::format(translationSystem, arg("field", label), arg("limit", request.limit),
                        arg("tooMany", request.limit + 1), arg("locale", target),
                        arg("voice", voiceOf(request.brand)),
                        arg("protectedTerms", linesOf(request.brand.protectedTerms)),
                        arg("glossary", glossaryFor(request.brand, target)), arg("guidance", guidance),
                        arg("tightFieldRule", isTight(field) ? tightFieldRule : ""),
                        arg("notes", notesFor(target)),
                        arg("scriptRule", scriptRule(request.preferredScript))),
            fmt::format(translationUser, arg("field", label), arg("source", source), arg("target", target),
                        arg("text", request.sourceText), arg("limit", request.limit))};
}

PromptBuilder::Prompt PromptBuilder::keywords(const KeywordsRequest& request) {
    using fmt::arg;
    const auto orNotLocalized = [](const std::optional<std::string>& text) {
        return text && !isBlank(*text) ? std::string_view(*text) : notLocalized;
    };
    return {fmt::format(keywordsSystem, arg("limit", request.limit), arg("tooMany", request.limit + 1),
                        arg("locale", request.locale), arg("name", orNotLocalized(request.appName)),
                        arg("subtitle", orNotLocalized(request.appSubtitle)),
                        arg("voice", voiceOf(request.brand)),
                        arg("indexedTerms", linesOf(request.indexedTerms)),
                        arg("reference", request.referenceKeywords),
                        arg("scriptRule", scriptRule(request.preferredScript))),
            fmt::format(keywordsUser, arg("locale", request.locale), arg("limit", request.limit))};
}

std::string PromptBuilder::retryNote(FieldType field, std::string_view sourceText, std::size_t length,
                                     std::size_t limit) {
    if (field == FieldType::keywords) return fmt::format(keywordsRetry, length, limit);
    // Short fields and lists lose whole words or items; running text can be condensed.
    const bool dropsItems = isTight(field) || std::ranges::count(sourceText, ',') * 20 >
                                                  static_cast<std::ptrdiff_t>(graphemeCount(sourceText));
    return dropsItems ? fmt::format(droppingRetry, length, length - limit, limit)
                      : fmt::format(condensingRetry, length, length - limit, limit);
}

} // namespace quorvel
