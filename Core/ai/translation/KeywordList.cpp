#include "Core/ai/translation/KeywordList.h"

#include "Platform/text/Text.h"

#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace quorvel {

namespace {

using Word = std::string_view;

// Commas, semicolons and bars of all scripts.
constexpr std::array<Word, 16> keywordSeparators = {
    ",",      ";",      "|",      "\t",     "\uFF0C", "\u3001", "\uFF64", "\uFE50",
    "\uFE51", "\u060C", "\u061B", "\uFF1B", "\uFF5C", "•",      "\u2028", "\u2029"};
constexpr Word middleDot = "·";
constexpr std::array<Word, 8> stops = {".", "…", "。", "．", "｡", "।", "۔", "።"};
constexpr std::array<Word, 15> listMarks = {"-", "–", "—", "*", "•", "·", "#", "‣",
                                            "▪", "◦", "●", "○", "■", "►", "✓"};
constexpr std::array<std::pair<Word, Word>, 2> brackets = {{{"(", ")"}, {"（", "）"}}};

// A keyword of more words is a sentence.
constexpr std::size_t mostWords = 8;
constexpr std::size_t longestTerm = 400; // bytes; more than the field takes
// So many words behind a stop are a sentence.
constexpr std::size_t fewestWordsOfSentence = 3;

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

// Where the text begins with one of `signs`, its length; 0 else.
template <std::size_t count>
std::size_t lengthAtStart(const std::array<Word, count>& signs, Word text) {
    const auto found = std::ranges::find_if(signs, [&](Word sign) { return text.starts_with(sign); });
    return found == signs.end() ? 0 : found->size();
}

template <std::size_t count>
std::size_t lengthAtEnd(const std::array<Word, count>& signs, Word text) {
    const auto found = std::ranges::find_if(signs, [&](Word sign) { return text.ends_with(sign); });
    return found == signs.end() ? 0 : found->size();
}

bool beginsWithBlank(Word text) {
    return text.empty() || trim(text).data() != text.data();
}

bool endsWithBlank(Word text) {
    return text.empty() ||
           trim(text).size() + static_cast<std::size_t>(trim(text).data() - text.data()) < text.size();
}

// Catalan writes it between two l, names between their parts; elsewhere it separates.
bool isSeparatingDot(Word before, Word after, bool hasOtherSeparators) {
    if (endsWithBlank(before) || beginsWithBlank(after)) return true;
    const auto isL = [](char letter) { return letter == 'l' || letter == 'L'; };
    return !hasOtherSeparators && !(isL(before.back()) && isL(after.front()));
}

std::vector<Word> filledLinesOf(Word text) {
    std::vector<Word> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        if (const Word line = trim(text.substr(0, end)); !line.empty()) lines.push_back(line);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

std::vector<Word> piecesOf(Word line) {
    const bool hasSeparators = hasKeywordSeparator(line);
    std::vector<Word> pieces;
    std::size_t start = 0;
    for (std::size_t at = 0; at < line.size();) {
        const Word rest = line.substr(at);
        std::size_t length = lengthAtStart(keywordSeparators, rest);
        if (length == 0 && rest.starts_with(middleDot) &&
            isSeparatingDot(line.substr(0, at), rest.substr(middleDot.size()), hasSeparators))
            length = middleDot.size();
        if (length == 0) {
            ++at;
            continue;
        }
        pieces.push_back(line.substr(start, at - start));
        start = at += length;
    }
    pieces.push_back(line.substr(start));
    return pieces;
}

Word withoutFinalStops(Word term) {
    while (const std::size_t length = lengthAtEnd(stops, term))
        term = trim(term.substr(0, term.size() - length));
    return term;
}

// "1." or "(1)" before a term; a number that belongs to the term, as in "3.5 mm", stays.
Word withoutNumber(Word term) {
    Word rest = term;
    const bool isBracketed = rest.starts_with('(');
    if (isBracketed) rest.remove_prefix(1);
    const auto digits = static_cast<std::size_t>(std::ranges::find_if_not(rest, isDigit) - rest.begin());
    if (digits == 0 || digits > 3 || digits == rest.size()) return term;
    rest.remove_prefix(digits);
    if (rest.starts_with(')')) return trim(rest.substr(1));
    const bool isMark = !isBracketed && rest.starts_with('.') && rest.size() > 1 && !isDigit(rest[1]);
    return isMark ? trim(rest.substr(1)) : term;
}

Word withoutListMark(Word term) {
    while (const std::size_t length = lengthAtStart(listMarks, term))
        term = trim(term.substr(length));
    return term;
}

// What a colon with a blank behind it ends, as in "Keywords: tide".
Word withoutLabel(Word term) {
    constexpr Word wide = "：";
    if (const std::size_t at = term.rfind(wide); at != Word::npos) return trim(term.substr(at + wide.size()));
    std::size_t start = 0;
    for (std::size_t at = term.find(':'); at != Word::npos; at = term.find(':', at + 1))
        if (beginsWithBlank(term.substr(at + 1))) start = at + 1;
    return trim(term.substr(start));
}

// A remark such as "(98 characters)" behind a term.
Word withoutCount(Word term) {
    for (const auto& [open, close] : brackets) {
        const std::size_t at = term.rfind(open);
        if (at == Word::npos || !term.ends_with(close)) continue;
        const Word inside = trim(term.substr(at + open.size()));
        if (!inside.empty() && isDigit(inside.front())) return trim(term.substr(0, at));
    }
    return term;
}

// What follows a stop and a blank and is a sentence.
Word withoutSentenceBehind(Word term) {
    for (std::size_t at = 0; at < term.size(); ++at) {
        const std::size_t length = lengthAtStart(stops, term.substr(at));
        if (length == 0) continue;
        const Word behind = term.substr(at + length);
        const bool isWide = length > 1; // no blank follows those
        if ((isWide || beginsWithBlank(behind)) && words(behind).size() >= fewestWordsOfSentence)
            return trim(term.substr(0, at));
    }
    return term;
}

// Each step may uncover what an earlier one removes.
Word bareTerm(Word term) {
    for (term = trim(term);;) {
        const Word before = term;
        for (const auto step : {withoutQuotes, withoutSentenceBehind, withoutLabel, withoutListMark,
                                withoutNumber, withoutCount, withoutFinalStops})
            if (!term.empty()) term = step(term);
        if (term == before) return term;
    }
}

std::string withSingleBlanks(Word term) {
    std::string single;
    for (const Word segment : wordSegments(term))
        single += isBlank(segment) ? " " : segment;
    return single;
}

bool isSentence(Word line) {
    const std::vector<Word> pieces = piecesOf(line);
    const auto wordsOf = [](Word piece) { return words(piece).size(); };
    const std::size_t most = wordsOf(*std::ranges::max_element(pieces, {}, wordsOf));
    const bool isBracketed = std::ranges::any_of(brackets, [&](const auto& pair) {
        return line.starts_with(pair.first) && line.ends_with(pair.second);
    });
    return most > mostWords || (most >= fewestWordsOfSentence && (isBracketed || lengthAtEnd(stops, line)));
}

// Without the lines that speak of the list; the one with most terms is the list in any case.
std::vector<Word> listLines(Word text) {
    std::vector<Word> lines = filledLinesOf(text);
    if (lines.size() < 2) return lines;
    const Word list = *std::ranges::max_element(lines, {}, [](Word line) { return piecesOf(line).size(); });
    if (std::ranges::all_of(lines, isSentence) && !hasKeywordSeparator(list)) return lines;
    std::erase_if(lines, [&](Word line) {
        return isSentence(line) && !(hasKeywordSeparator(list) && line.data() == list.data());
    });
    return lines;
}

std::set<std::string> foldedWords(std::span<const std::string> texts) {
    std::set<std::string> folded;
    for (const std::string& text : texts)
        for (const Word word : words(text))
            folded.insert(caseFolded(word));
    return folded;
}

std::string tidyOnce(Word keywords, const std::set<std::string>& known) {
    const auto saysNothingNew = [&](const std::vector<Word>& parts) {
        return std::ranges::all_of(parts, [&](Word word) { return known.contains(caseFolded(word)); });
    };
    std::string tidied;
    std::set<std::string> seen;
    for (const Word line : listLines(keywords))
        for (const Word piece : piecesOf(line)) {
            if (piece.size() > longestTerm) continue;
            const std::string term = withSingleBlanks(bareTerm(piece));
            const std::vector<Word> parts = words(term);
            if (parts.empty() || parts.size() > mostWords || saysNothingNew(parts) ||
                !seen.insert(caseFolded(term)).second)
                continue;
            if (!tidied.empty()) tidied += ',';
            tidied += term;
        }
    return tidied;
}

} // namespace

bool hasKeywordSeparator(std::string_view line) {
    return std::ranges::any_of(keywordSeparators, [&](Word sign) { return line.find(sign) != Word::npos; });
}

std::string_view withoutQuotes(std::string_view text) {
    constexpr std::pair<Word, Word> pairs[] = {{"\"", "\""}, {"“", "”"},   {"„", "“"},   {"„", "”"},
                                               {"”", "”"},   {"‘", "’"},   {"‚", "‘"},   {"«", "»"},
                                               {"»", "«"},   {"「", "」"}, {"『", "』"}, {"'", "'"},
                                               {"`", "`"},   {"**", "**"}, {"*", "*"}};
    for (const auto& [open, close] : pairs) {
        if (text.size() <= open.size() + close.size() || !text.starts_with(open) || !text.ends_with(close))
            continue;
        const Word inside = text.substr(open.size(), text.size() - open.size() - close.size());
        if (inside.find(open) == Word::npos && inside.find(close) == Word::npos) return trim(inside);
    }
    return text;
}

std::string tidyKeywords(std::string_view keywords, std::span<const std::string> indexed) {
    const std::set<std::string> known = foldedWords(indexed);
    std::string tidied = tidyOnce(withoutInvisibles(keywords), known);
    // A term that went may have hidden what another one is made of. Each further round leaves less.
    for (std::string before; before != tidied;)
        tidied = tidyOnce(before = tidied, known);
    return tidied;
}

} // namespace quorvel
