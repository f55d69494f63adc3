#include "Core/ai/translation/TranslationChecks.h"

#include "Core/ai/translation/FixedParts.h"
#include "Core/ai/translation/LocaleNotes.h"
#include "Core/metadata/MetadataTexts.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>

namespace quorvel {

namespace {

using Found = std::vector<std::string>; // what breaks a rule; empty when nothing does

std::string_view languageOf(std::string_view locale) {
    return locale.substr(0, locale.find('-'));
}

std::size_t countOf(std::string_view text, std::string_view part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

// Those of `parts` that the text holds less often, each once.
Found missingIn(std::string_view text, const std::vector<std::string_view>& parts) {
    Found missing;
    for (const std::string_view part : parts) {
        const auto wanted = static_cast<std::size_t>(std::ranges::count(parts, part));
        if (countOf(text, part) < wanted && std::ranges::find(missing, part) == missing.end())
            missing.emplace_back(part);
    }
    return missing;
}

Found filteredAnswer(const CheckedText& checked) {
    return checked.stopReason == "content_filter" ? Found{"filter"} : Found();
}

// Sentences that models begin with where they refuse, in small letters of ASCII.
constexpr std::array<std::string_view, 40> refusals = {
    "i'm sorry, but i",
    "i am sorry, but i",
    "i'm sorry, i can",
    "sorry, but i can",
    "sorry, i can",
    "i can't help",
    "i can't assist",
    "i can't provide",
    "i can't translate",
    "i cannot help",
    "i cannot assist",
    "i cannot provide",
    "i cannot translate",
    "i'm unable to",
    "i am unable to",
    "i'm not able to",
    "i am not able to",
    "i apologize, but",
    "i apologise, but",
    "as an ai",
    "es tut mir leid, aber ich",
    "tut mir leid, aber ich",
    "lo siento, pero no",
    "je suis désolé, mais je",
    "désolé, mais je",
    "desculpe, mas não",
    "lamento, mas não",
    "mi dispiace, ma non",
    "het spijt me, maar ik",
    "przepraszam, ale nie",
    "Извините, но я",
    "К сожалению, я не могу",
    "申し訳ありませんが",
    "申し訳ございませんが",
    "죄송하지만",
    "抱歉，我",
    "很抱歉，",
    "对不起，我",
    "對不起，我",
    "عذرًا، لا",
};

std::string withPlainApostrophes(std::string_view text) {
    constexpr std::string_view curly = "’";
    std::string plain = asciiLowercase(text);
    for (std::size_t at = plain.find(curly); at != plain.npos; at = plain.find(curly, at))
        plain.replace(at, curly.size(), "'");
    return plain;
}

Found refusalIn(const CheckedText& checked) {
    const std::string source = withPlainApostrophes(checked.sourceText);
    for (const std::string_view apology :
         {"sorry", "apolog", "unfortunately", "i can't", "i cannot", "unable"})
        if (source.find(apology) != source.npos) return {};
    const std::string_view text = trim(checked.text);
    const std::string plain = withPlainApostrophes(text);
    if (std::ranges::none_of(refusals, [&](std::string_view start) { return plain.starts_with(start); }))
        return {};
    constexpr std::size_t shown = 80; // characters
    return {escapeControls(graphemePrefix(text, shown))};
}

Found lostPlaceholders(const CheckedText& checked) {
    return missingIn(checked.text, placeholdersIn(checked.sourceText));
}

Found lostAddresses(const CheckedText& checked) {
    return missingIn(checked.text, addressesIn(checked.sourceText));
}

Found lostTerms(const CheckedText& checked) {
    Found lost;
    for (const std::string& term : checked.brand.protectedTerms)
        if (const auto kept = trim(term);
            holdsTerm(checked.sourceText, kept) && checked.text.find(kept) == std::string_view::npos)
            lost.emplace_back(kept);
    return lost;
}

Found lostRenderings(const CheckedText& checked) {
    const std::string source = caseFolded(checked.sourceText);
    const std::string text = caseFolded(checked.text);
    Found lost;
    for (const auto& [term, renderings] : checked.brand.glossary) {
        const auto rendering = renderings.find(checked.item.targetLocale);
        if (rendering == renderings.end() || isBlank(rendering->second)) continue;
        if (holdsTerm(source, caseFolded(trim(term))) &&
            text.find(caseFolded(trim(rendering->second))) == std::string::npos)
            lost.push_back(fmt::format("{} → {}", trim(term), trim(rendering->second)));
    }
    return lost;
}

Found lostNumbers(const CheckedText& checked) {
    const std::string_view language = languageOf(checked.item.targetLocale);
    const bool countsInTenThousands = language == "ja" || language == "ko" || language == "zh";
    const auto there = possibleNumbersIn(checked.text);
    Found lost;
    for (const std::string& number : numbersIn(checked.sourceText)) {
        if (countsInTenThousands && number.size() > 4) continue; // "1万"
        if (std::ranges::find(there, number) == there.end() && std::ranges::find(lost, number) == lost.end())
            lost.push_back(number);
    }
    return lost;
}

// The words of a text that a translation would change.
std::size_t translatableWordsIn(const CheckedText& checked) {
    std::string rest(checked.sourceText);
    const auto remove = [&](std::string_view part) {
        for (std::size_t at = rest.find(part); !part.empty() && at != rest.npos; at = rest.find(part, at))
            rest.replace(at, part.size(), " ");
    };
    for (const std::string_view address : addressesIn(checked.sourceText))
        remove(address);
    for (const std::string& term : checked.brand.protectedTerms)
        remove(trim(term));
    return static_cast<std::size_t>(std::ranges::count_if(words(rest), [](std::string_view word) {
        const bool isNumber = word.front() >= '0' && word.front() <= '9';
        return !isNumber && graphemeCount(word) > 1;
    }));
}

Found unchangedEcho(const CheckedText& checked) {
    constexpr std::size_t fewWords = 3; // a name or a loan word or two may stay
    const auto& [source, target, field] = checked.item;
    const bool mayStay = field == FieldType::name || languageOf(source) == languageOf(target);
    if (mayStay || trim(checked.text) != trim(checked.sourceText)) return {};
    return translatableWordsIn(checked) < fewWords ? Found() : Found{"echo"};
}

std::vector<std::string_view> paragraphsOf(std::string_view text) {
    std::vector<std::string_view> paragraphs;
    for (text = trim(text); !text.empty(); text = trim(text)) {
        const std::size_t end = std::min(text.find("\n\n"), text.size());
        paragraphs.push_back(trim(text.substr(0, end)));
        text.remove_prefix(end);
    }
    return paragraphs;
}

Found remarkBehind(const CheckedText& checked) {
    constexpr std::array<std::string_view, 24> starts = {"note:",
                                                         "note that",
                                                         "notes:",
                                                         "let me know",
                                                         "i've ",
                                                         "i have ",
                                                         "i kept",
                                                         "this translation",
                                                         "this version",
                                                         "the translation",
                                                         "character count",
                                                         "characters:",
                                                         "hinweis:",
                                                         "anmerkung:",
                                                         "remarque",
                                                         "nota:",
                                                         "opmerking:",
                                                         "Примечание",
                                                         "注：",
                                                         "注:",
                                                         "备注",
                                                         "備註",
                                                         "참고:",
                                                         "ملاحظة"};
    const auto paragraphs = paragraphsOf(checked.text);
    if (paragraphs.size() <= paragraphsOf(checked.sourceText).size()) return {};
    const std::string_view last = paragraphs.back();
    std::string plain = withPlainApostrophes(last);
    plain.erase(0, std::min(plain.find_first_not_of("*_([> "), plain.size()));
    const bool countsCharacters = last.front() == '(' && plain.find("char") != plain.npos;
    const bool isRemark =
        countsCharacters || std::ranges::any_of(starts, [&](auto start) { return plain.starts_with(start); });
    constexpr std::size_t shown = 60; // characters
    return isRemark ? Found{escapeControls(graphemePrefix(last, shown))} : Found();
}

// Texts of the same content differ in length, but not like this.
Found stump(const CheckedText& checked) {
    constexpr std::size_t shortSource = 200; // characters
    constexpr double leastShare = 0.3;
    const std::size_t source = graphemeCount(checked.sourceText);
    if (source < shortSource) return {};
    const double expected = std::min(static_cast<double>(checked.limit),
                                     static_cast<double>(source) * lengthFactorOf(checked.item.targetLocale));
    const std::size_t length = graphemeCount(checked.text);
    if (static_cast<double>(length) >= leastShare * expected) return {};
    return {fmt::format("{} characters where about {:.0f} were to be expected", length, expected)};
}

struct CheckRule {
    std::string_view name;
    TextFinding::Meaning meaning;
    int retries;
    enum class Scope { translations, allAnswers } scope;
    Found (*find)(const CheckedText&);
    std::string_view problem; // {} is what was found
    std::string_view note;    // follows "The previous attempt "
};

using Meaning = TextFinding::Meaning;
using Scope = CheckRule::Scope;

// Asking again helps against slips of the model, but not against a filter. What breaks links or programs or
// is no translation fails; what only a reader can judge is told.
constexpr CheckRule checkRules[] = {
    {"filtered", Meaning::failure, 0, Scope::allAnswers, filteredAnswer,
     "the service's content filter cut the answer short", ""},
    {"refusal", Meaning::failure, 2, Scope::allAnswers, refusalIn, "the model refused: “{}”",
     "was a refusal. The text is the ordinary store page of an app. Return ONLY the text that was asked for."},
    {"placeholder", Meaning::failure, 2, Scope::translations, lostPlaceholders,
     "the answer lost what programs fill in: {}",
     "lost these placeholders, which must stay exactly as written: {}. Return the whole text again with them."},
    {"address", Meaning::failure, 2, Scope::translations, lostAddresses,
     "the answer lost or changed addresses: {}",
     "lost or changed these addresses, which must stay exactly as written: {}. Return the whole text again with "
     "them."},
    {"protectedTerm", Meaning::remark, 1, Scope::translations, lostTerms, "Protected terms are missing: {}.",
     "lost these protected terms, which stay verbatim: {}. Return the whole text again with them."},
    {"glossary", Meaning::remark, 1, Scope::translations, lostRenderings, "The glossary is not kept: {}.",
     "did not use these renderings of the glossary: {}. Return the whole text again with them."},
    {"number", Meaning::remark, 1, Scope::translations, lostNumbers, "Numbers of the source are missing: {}.",
     "lost these numbers: {}. Return the whole text again with them."},
    {"echo", Meaning::remark, 1, Scope::translations, unchangedEcho, "The text is the source unchanged.",
     "was the source text unchanged. Return its translation."},
    {"remarkBehind", Meaning::remark, 1, Scope::translations, remarkBehind,
     "The last paragraph seems to speak about the text: “{}”.",
     "ended with a remark about the text. Return ONLY the translated text."},
    {"stump", Meaning::remark, 1, Scope::translations, stump, "The text is much shorter than its source: {}.",
     "left out most of the source: {}. Return the whole text."},
};

TextFinding findingOf(const CheckRule& rule, const Found& found) {
    const std::string what = escapeControls(someOf(found));
    TextFinding finding{.rule = rule.name, .meaning = rule.meaning, .retries = rule.retries};
    finding.problem = fmt::format(fmt::runtime(rule.problem), what);
    if (rule.retries > 0)
        finding.note =
            "\nThe previous attempt " + fmt::format(fmt::runtime(rule.note), fmt::join(found, ", "));
    return finding;
}

} // namespace

std::vector<TextFinding> findingsIn(const CheckedText& checked) {
    const bool isTranslation = checked.item.field != FieldType::keywords;
    std::vector<TextFinding> findings;
    for (const CheckRule& rule : checkRules)
        if (isTranslation || rule.scope == Scope::allAnswers)
            if (const Found found = rule.find(checked); !found.empty())
                findings.push_back(findingOf(rule, found));
    return findings;
}

bool hasFailure(const std::vector<TextFinding>& findings) {
    return std::ranges::find(findings, TextFinding::Meaning::failure, &TextFinding::meaning) !=
           findings.end();
}

} // namespace quorvel
