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

const Alphabet& alphabetOf(std::string_view locale) {
    const std::string_view language = locale.substr(0, 2);
    return language == "ja" || language == "ko" || language == "zh" ? fullWidth : dotted;
}

std::size_t keptAt(std::string_view rest, const std::vector<std::string>& kept) {
    std::size_t longest = 0;
    for (const std::string& term : kept)
        if (rest.starts_with(term)) longest = std::max(longest, term.size());
    return longest;
}

} // namespace

std::string pseudoLocalise(std::string_view text, std::string_view locale,
                           const std::vector<std::string>& kept) {
    const Alphabet& alphabet = alphabetOf(locale);
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        if (const std::size_t size = keptAt(text.substr(at), kept)) {
            result += text.substr(at, size);
            at += size;
            continue;
        }
        const std::size_t letter = letters.find(text[at]);
        if (letter == letters.npos)
            result += text[at];
        else
            result += alphabet[letter];
        ++at;
    }
    return result;
}

std::string undoPseudoLocalisation(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        std::size_t taken = 0;
        for (const Alphabet* alphabet : {&dotted, &fullWidth})
            for (std::size_t letter = 0; taken == 0 && letter < letterCount; ++letter)
                if (text.starts_with((*alphabet)[letter])) {
                    result += letters[letter];
                    taken = (*alphabet)[letter].size();
                }
        if (taken == 0) {
            result += text.front();
            taken = 1;
        }
        text.remove_prefix(taken);
    }
    return result;
}

} // namespace quorvel::sandbox
