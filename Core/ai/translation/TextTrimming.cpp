#include "Core/ai/translation/TextTrimming.h"

#include "Platform/text/Text.h"

#include <algorithm>
#include <array>

namespace quorvel {

namespace {

// What joins to the word behind it and must not end a text.
constexpr std::array<std::string_view, 34> separators = {
    ",", ";", ":", "-", "–", "—", "·",  "•",  "/",  "|",  "&",  "+",  "(",  "[",  "{",  "“",  "„",
    "‘", "«", "¿", "¡", "،", "؛", "、", "，", "；", "：", "・", "／", "（", "「", "『", "《", "【"};

std::string_view withoutTrailingSeparators(std::string_view text) {
    for (;;) {
        text = trim(text);
        const auto last = std::ranges::find_if(separators, [&](auto sign) { return text.ends_with(sign); });
        if (last == separators.end()) return text;
        text.remove_suffix(last->size());
    }
}

} // namespace

std::optional<std::string> wholeWordsWithin(std::string_view text, std::size_t maxLength) {
    const std::size_t end = graphemePrefix(text, maxLength).size();
    if (end == text.size()) return std::string(text);
    const auto boundaries = graphemeBoundaries(text.substr(0, end));
    std::size_t at = 0, cut = 0;
    for (const std::string_view segment : wordSegments(text)) {
        at += segment.size();
        if (at > end) break;
        if (std::ranges::binary_search(boundaries, at)) cut = at;
    }
    const std::string_view kept = withoutTrailingSeparators(text.substr(0, cut));
    if (kept.empty()) return std::nullopt;
    return std::string(kept);
}

std::string trimToBoundary(std::string_view text, std::size_t maxLength) {
    if (auto words = wholeWordsWithin(text, maxLength)) return std::move(*words);
    return std::string(trim(graphemePrefix(text, maxLength)));
}

std::optional<std::string> wholeTermsWithin(std::string_view keywords, std::size_t maxLength) {
    const std::size_t end = graphemePrefix(keywords, maxLength).size();
    if (end == keywords.size()) return std::string(keywords);
    // A comma right behind the limit ends a term that fits.
    const std::size_t comma = keywords.substr(0, end + 1).rfind(',');
    if (comma == std::string_view::npos || comma == 0) return std::nullopt;
    return std::string(keywords.substr(0, comma));
}

} // namespace quorvel
