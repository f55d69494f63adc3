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

constexpr FieldWords fieldWords[] = {
    {"app name", "- The app name is a brand. Only translate if the existing name has a meaningful localized "
                 "form; otherwise "
                 "keep verbatim.\n- No emoji.\n- Title-case the way the source does."},
    {"subtitle", "- Punchy positioning statement, not a translation of the description.\n- Avoid trailing "
                 "periods.\n- Mirror "
                 "the energy and tone of the source."},
    {"description",
     "- Preserve paragraph structure and bullet lists from the source.\n- Adapt cultural references to local "
     "equivalents.\n- Keep all section headers/marketing claims grounded in the source.\n- Mirror line "
     "breaks."},
    {"promotional text", "- Single short paragraph, marketing-tone, current and timely.\n- No emoji unless "
                         "the source uses them.\n- "
                         "Mirror the urgency level of the source."},
    {"release notes (\"What's New\")",
     "- Match the source's level of detail.\n- Keep version numbers and bullet structure intact.\n- Use "
     "locale-natural phrasing for \"Bug fixes and improvements\" and similar boilerplate."},
    {"keywords",
     "- This is the keywords prompt path; use the dedicated keywords prompt rather than translating."},
};

constexpr std::string_view tightFieldRule =
    "\n• This is a TIGHT 30-char field. If your draft is over, do NOT abbreviate; DROP entire words/items "
    "until you "
    "fit. A shorter, complete phrase beats an awkward truncation every time.";

constexpr std::string_view noBrandVoice = "(No brand-voice notes provided.)";
constexpr std::string_view notLocalized = "(not localized)";

const FieldWords& wordsOf(FieldType field) {
    return fieldWords[static_cast<std::size_t>(field)];
}

bool isTight(FieldType field) {
    return field == FieldType::name || field == FieldType::subtitle;
}

// `what` must be within the limit; `steps` say how to get there.
std::string limitBlock(std::string_view what, std::size_t limit, std::string_view steps) {
    std::string rule;
    for (int sign = 0; sign < 60; ++sign)
        rule += "═";
    return fmt::format("ABSOLUTE CHARACTER LIMIT — READ FIRST\n{}\n{}\nApple's App Store Connect rejects ANY "
                       "submission that exceeds "
                       "this. There is no tolerance — {} characters is broken.\n\nHow to comply:\n{}\n{}",
                       rule, what, limit + 1, steps, rule);
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
    const TranslationItem& item = request.item;
    const auto& [label, guidance] = wordsOf(item.field);
    const std::size_t limit = request.limit;
    std::string system = limitBlock(
        fmt::format("The output for this {} MUST be ≤ {} characters.", label, limit), limit,
        fmt::format(
            "1. Draft a version that conveys the meaning.\n2. Count its characters (including spaces and "
            "punctuation).\n3. If the count exceeds {0}, rewrite it shorter and repeat step 2.\n4. Only "
            "output "
            "once the count is ≤ {0}",
            limit));
    system += fmt::format(
        "\n\nYou are a senior App Store localization expert with deep ASO knowledge for the {} market. Your "
        "translations sound native and culturally appropriate. You never translate brand names or protected "
        "terms."
        "\n\nBrand context:\n{}"
        "\n\nProtected terms (keep verbatim, do not translate):\n{}"
        "\n\nGlossary (use these exact translations when the source matches):\n{}"
        "\n\nRules for {}:\n{}{}"
        "\n\nLocale notes:\n{}{}",
        item.targetLocale, voiceOf(request.brand), linesOf(request.brand.protectedTerms),
        glossaryFor(request.brand, item.targetLocale), label, guidance,
        isTight(item.field) ? tightFieldRule : "", notesFor(item.targetLocale),
        scriptRule(request.preferredScript));
    return {
        std::move(system),
        fmt::format(
            "Translate the following {} from {} to {}:\n\n---\n{}\n---\n\nOutput ONLY the translated text. "
            "No explanations, no quotes, no markdown.\nReminder: ≤ {} characters. Count before you "
            "respond.",
            label, item.sourceLocale, item.targetLocale, request.sourceText, limit)};
}

PromptBuilder::Prompt PromptBuilder::keywords(const KeywordsRequest& request) {
    const std::size_t limit = request.limit;
    std::string system = limitBlock(
        fmt::format(
            "The comma-separated keywords string MUST be ≤ {} characters total (including commas, NO spaces "
            "after commas).",
            limit),
        limit,
        fmt::format(
            "1. Draft a candidate list, ordered by descending search volume.\n2. Count all characters (every "
            "comma counts as 1).\n3. If the count exceeds {0}, drop the lowest-value term entirely and "
            "recount. "
            "Repeat until the count is ≤ {0}.\n4. Never abbreviate words to fit — fewer complete keywords "
            "beat "
            "more truncated ones.",
            limit));
    const auto orNotLocalized = [](const std::optional<std::string>& text) {
        return text && !isBlank(*text) ? std::string_view(*text) : notLocalized;
    };
    system +=
        fmt::format("\n\nYou are a senior ASO specialist for the {0} App Store market."
                    "\n\nApp context:\n- App name: {1}\n- App subtitle: {2}\n{3}"
                    "\n\nAlready indexed by Apple, exclude from keywords:\n{4}"
                    "\n\nReference English keywords (do NOT translate; generate fresh local terms that match "
                    "how {0} users "
                    "actually search):\n{5}"
                    "\n\nRules:\n- Comma-separated, no spaces after commas.\n- No words from the app name or "
                    "subtitle (Apple "
                    "already indexes those).\n- No stop-words in the target locale.\n- No singular+plural "
                    "duplicates.\n- Order by "
                    "descending search volume (best guess for the locale).\n- Use locale-native terms users "
                    "actually type, not "
                    "literal translations of English keywords.{6}",
                    request.locale, orNotLocalized(request.appName), orNotLocalized(request.appSubtitle),
                    voiceOf(request.brand), linesOf(request.indexedTerms), request.referenceKeywords,
                    scriptRule(request.preferredScript));
    return {
        std::move(system),
        fmt::format(
            "Generate the optimized keywords field for the {} App Store.\n\nOutput ONLY the comma-separated "
            "keyword string. No explanations, no quotes, no markdown.\nReminder: ≤ {} characters total. "
            "Count before you respond.",
            request.locale, limit)};
}

std::string PromptBuilder::retryNote(FieldType field, std::string_view sourceText, std::size_t length,
                                     std::size_t limit) {
    if (field == FieldType::keywords)
        return fmt::format(
            "\nThe previous attempt was {} characters; the hard limit is {}. Drop low-impact terms and "
            "try again.",
            length, limit);
    // Short fields and lists lose whole words or items; running text can be condensed.
    const bool dropsItems = isTight(field) || std::ranges::count(sourceText, ',') * 20 >
                                                  static_cast<std::ptrdiff_t>(graphemeCount(sourceText));
    return fmt::format(
        "\nThe previous attempt was {} characters — {} over the hard limit of {}{}", length, length - limit,
        limit,
        dropsItems
            ? ". The limit is non-negotiable. If the source is comma-separated, DROP the lowest-value item "
              "entirely rather than abbreviating the others. Single-word omissions are preferred over "
              "awkward "
              "truncations. Return ONLY the shorter version."
            : ". Condense aggressively while preserving the core meaning.");
}

} // namespace quorvel
