#include "Sandbox/relay/PseudoLocale.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace quorvel::sandbox {
namespace {

constexpr int letterCount = 52;
constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
using Alphabet = std::array<std::string_view, letterCount>;

constexpr Alphabet dotted = {"ạ", "ḅ", "ċ", "ḍ", "ẹ", "ḟ", "ġ", "ḥ", "ị", "ǰ", "ḳ", "ḷ", "ṃ",
                             "ṇ", "ọ", "ṗ", "ɋ", "ṛ", "ṣ", "ṭ", "ụ", "ṿ", "ẉ", "ẋ", "ỵ", "ẓ",
                             "Ạ", "Ḅ", "Ċ", "Ḍ", "Ẹ", "Ḟ", "Ġ", "Ḥ", "Ị", "Ĵ", "Ḳ", "Ḷ", "Ṃ",
                             "Ṇ", "Ọ", "Ṗ", "Ɋ", "Ṛ", "Ṣ", "Ṭ", "Ụ", "Ṿ", "Ẉ", "Ẋ", "Ỵ", "Ẓ"};
constexpr Alphabet fullWidth = {"ａ", "ｂ", "ｃ", "ｄ", "ｅ", "ｆ", "ｇ", "ｈ", "ｉ", "ｊ", "ｋ", "ｌ", "ｍ",
                                "ｎ", "ｏ", "ｐ", "ｑ", "ｒ", "ｓ", "ｔ", "ｕ", "ｖ", "ｗ", "ｘ", "ｙ", "ｚ",
                                "Ａ", "Ｂ", "Ｃ", "Ｄ", "Ｅ", "Ｆ", "Ｇ", "Ｈ", "Ｉ", "Ｊ", "Ｋ", "Ｌ", "Ｍ",
                                "Ｎ", "Ｏ", "Ｐ", "Ｑ", "Ｒ", "Ｓ", "Ｔ", "Ｕ", "Ｖ", "Ｗ", "Ｘ", "Ｙ", "Ｚ"};

constexpr Alphabet hebrew = {"א", "ב", "ג", "ד", "ה", "ו", "ז", "ח", "ט", "י", "ך", "כ", "ל",
                             "ם", "מ", "ן", "נ", "ס", "ע", "ף", "פ", "ץ", "צ", "ק", "ר", "ש",
                             "אּ", "בּ", "גּ", "דּ", "הּ", "וּ", "זּ", "חּ", "טּ", "יּ", "ךּ", "כּ", "לּ",
                             "םּ", "מּ", "ןּ", "נּ", "סּ", "עּ", "ףּ", "פּ", "ץּ", "צּ", "קּ", "רּ", "שּ"};

const Alphabet& alphabetOf(std::string_view locale) {
    const std::string_view language = locale.substr(0, 2);
    if (language == "he" || language == "ar" || language == "ur") return hebrew;
    return language == "ja" || language == "ko" || language == "zh" ? fullWidth : dotted;
}

bool isOneOf(char character, std::string_view characters) {
    return characters.find(character) != characters.npos;
}

bool isAlphanumeric(char character) {
    return isOneOf(character, letters) || (character >= '0' && character <= '9');
}

// The run of characters that addresses are made of, without the full stop or bracket that ends a sentence.
std::string_view addressRun(std::string_view text) {
    const auto end = std::ranges::find_if_not(text, [](char character) {
        return isAlphanumeric(character) || isOneOf(character, "-._~:/?#@!$&'()*+;=%");
    });
    text = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    while (!text.empty() && isOneOf(text.back(), ".:;!?')&"))
        text.remove_suffix(1);
    return text;
}

bool isAddress(std::string_view run) {
    constexpr std::array<std::string_view, 8> endings = {"com", "org", "net",     "app",
                                                         "io",  "dev", "example", "test"};
    if (run.find("://") != run.npos || run.starts_with("www.")) return true;
    if (const std::size_t at = run.find('@'); at != run.npos && at > 0) return run.find('.', at) != run.npos;
    const std::string_view host = run.substr(0, run.find_first_of("/:?#"));
    const std::size_t point = host.rfind('.');
    return point != host.npos && point > 0 &&
           std::ranges::find(endings, host.substr(point + 1)) != endings.end();
}

std::size_t placeholderSize(std::string_view rest) {
    if (rest.starts_with('{')) {
        const std::size_t close = rest.find('}');
        const std::string_view name = rest.substr(1, close == rest.npos ? 0 : close - 1);
        return !name.empty() && std::ranges::all_of(name, isAlphanumeric) ? close + 1 : 0;
    }
    if (!rest.starts_with('%')) return 0;
    const std::size_t last = rest.find_first_not_of("0123456789$.l", 1);
    return last != rest.npos && isOneOf(rest[last], "@dfisux") ? last + 1 : 0;
}

// The size of the address or placeholder that begins at `at`; 0 when none does.
std::size_t fixedSizeAt(std::string_view text, std::size_t at) {
    const bool startsWord = at == 0 || !isAlphanumeric(text[at - 1]);
    if (!startsWord) return 0;
    const std::string_view run = addressRun(text.substr(at));
    return isAddress(run) ? run.size() : placeholderSize(text.substr(at));
}

// The longest term at the start of `rest`, with its rendering.
Renderings::const_iterator termAt(std::string_view rest, const Renderings& renderings) {
    auto longest = renderings.end();
    for (auto term = renderings.begin(); term != renderings.end(); ++term)
        if (rest.starts_with(term->first) &&
            (longest == renderings.end() || term->first.size() > longest->first.size()))
            longest = term;
    return longest;
}

} // namespace

std::string pseudoLocalise(std::string_view text, std::string_view locale, const Renderings& renderings) {
    const Alphabet& alphabet = alphabetOf(locale);
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        if (const std::size_t size = fixedSizeAt(text, at)) {
            result += text.substr(at, size);
            at += size;
            continue;
        }
        if (const auto term = termAt(text.substr(at), renderings); term != renderings.end()) {
            result += term->second;
            at += term->first.size();
            continue;
        }
        const std::size_t letter = letters.find(text[at]);
        result += letter == letters.npos ? text.substr(at, 1) : alphabet[letter];
        ++at;
    }
    return result;
}

std::string undoPseudoLocalisation(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        std::size_t taken = 0;
        char plain = text.front();
        for (const Alphabet* alphabet : {&dotted, &fullWidth, &hebrew})
            for (std::size_t letter = 0; letter < letterCount; ++letter) {
                const std::string_view sign = (*alphabet)[letter];
                if (sign.size() <= taken || !text.starts_with(sign)) continue;
                plain = letters[letter];
                taken = sign.size();
            }
        result += plain;
        text.remove_prefix(std::max<std::size_t>(taken, 1));
    }
    return result;
}

std::string withoutFixedParts(std::string_view text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t fixed = fixedSizeAt(text, at);
        if (fixed == 0 && !isOneOf(text[at], "0123456789")) result += text[at];
        at += std::max<std::size_t>(fixed, 1);
    }
    return result;
}

std::string fromRightToLeft(std::string_view text) {
    std::string result = "\u200F";
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t fixed = fixedSizeAt(text, at);
        if (fixed == 0 && text[at] >= '0' && text[at] <= '9')
            result += {'\xD9', static_cast<char>(0xA0 + (text[at] - '0'))}; // U+0660 and on
        else
            result += text.substr(at, std::max<std::size_t>(fixed, 1));
        at += std::max<std::size_t>(fixed, 1);
    }
    return result;
}

} // namespace quorvel::sandbox
