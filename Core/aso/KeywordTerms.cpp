#include "Core/aso/KeywordTerms.h"

#include "Platform/text/Text.h"

#include <algorithm>
#include <array>
#include <set>

namespace quorvel {

namespace {

// Beside blanks each of these parts a brand from what describes the app; a colon does so by itself.
constexpr std::array<std::string_view, 5> brandMarks = {" - ", " – ", " — ", " | ", " · "};

constexpr std::string_view littleWords[] = {
    "a",   "an",   "and", "as",   "at",  "au",  "aus",  "aux",  "avec", "by",  "com", "con", "da",
    "das", "de",   "del", "dem",  "den", "der", "des",  "di",   "die",  "do",  "dos", "du",  "e",
    "ein", "eine", "el",  "em",   "en",  "et",  "for",  "from", "für",  "il",  "im",  "in",  "is",
    "it",  "la",   "las", "le",   "les", "lo",  "los",  "mit",  "my",   "no",  "of",  "on",  "or",
    "os",  "ou",   "our", "para", "per", "por", "pour", "se",   "sur",  "the", "to",  "um",  "una",
    "und", "une",  "von", "with", "y",   "you", "your", "zu",   "zum"};

bool isLittle(std::string_view word) {
    return std::ranges::binary_search(littleWords, word);
}

bool hasDigitsOnly(std::string_view word) {
    return std::ranges::all_of(word, [](char c) { return c >= '0' && c <= '9'; });
}

// Thai, and what stands from U+3000 on: its words are not parted by blanks.
bool isOfScriptWithoutBlanks(std::string_view word) {
    for (std::size_t i = 0; i < word.size(); ++i) {
        const auto lead = static_cast<unsigned char>(word[i]);
        if (lead >= 0xE3 && lead < 0xF0) return true;
        if (lead == 0xE0 && i + 1 < word.size()) {
            const auto next = static_cast<unsigned char>(word[i + 1]);
            if (next == 0xB8 || next == 0xB9) return true;
        }
    }
    return false;
}

std::vector<std::string> foldedWords(std::string_view text) {
    std::vector<std::string> result;
    for (const std::string_view word : words(text))
        result.push_back(caseFolded(word));
    return result;
}

bool mayBeTerm(std::string_view word) {
    const bool isShort = graphemeCount(word) < 2 && !isOfScriptWithoutBlanks(word);
    return !isShort && !isLittle(word) && !hasDigitsOnly(word);
}

// Words that stand side by side, with nothing but blanks between them, make terms.
void collectTerms(std::string_view text, std::vector<std::string>& terms, std::set<std::string>& known) {
    const auto add = [&](std::string term) {
        if (known.insert(term).second) terms.push_back(std::move(term));
    };
    std::string before;
    for (const std::string_view segment : wordSegments(text)) {
        if (isBlank(segment)) continue;
        const bool isWord = !words(segment).empty();
        const std::string word = caseFolded(segment);
        if (!isWord || !mayBeTerm(word)) {
            before.clear();
            continue;
        }
        add(word);
        if (!before.empty() && !isOfScriptWithoutBlanks(word)) add(before + " " + word);
        before = word;
    }
}

std::size_t brandEnd(std::string_view name) {
    std::size_t end = std::min(name.find(':'), name.find("："));
    for (const std::string_view mark : brandMarks)
        end = std::min(end, name.find(mark));
    return end;
}

} // namespace

std::string tidyTerm(std::string_view term) {
    const std::string visible = repairUTF8(withoutInvisibles(term));
    std::string tidy;
    for (const std::string_view segment : wordSegments(visible)) {
        if (!isBlank(segment))
            tidy += segment;
        else if (!tidy.empty() && tidy.back() != ' ')
            tidy += ' ';
    }
    return std::string(trim(tidy));
}

std::string termKey(std::string_view term) {
    return caseFolded(tidyTerm(term));
}

bool textHoldsTerm(std::string_view text, std::string_view term) {
    const auto wanted = foldedWords(term);
    if (wanted.empty()) return false;
    const auto list = foldedWords(text);
    const std::set<std::string> there(list.begin(), list.end());
    if (std::ranges::all_of(wanted, [&](const auto& word) { return there.contains(word); })) return true;
    return isOfScriptWithoutBlanks(term) && caseFolded(text).find(termKey(term)) != std::string::npos;
}

std::string brandOf(std::string_view appName) {
    const std::size_t end = brandEnd(appName);
    if (end != std::string_view::npos) return std::string(trim(appName.substr(0, end)));
    return words(appName).size() == 1 ? std::string(trim(appName)) : "";
}

std::vector<std::string> describingTerms(std::string_view appName, std::string_view subtitle) {
    std::vector<std::string> terms;
    std::set<std::string> known;
    const std::size_t end = brandEnd(appName);
    if (end != std::string_view::npos)
        collectTerms(appName.substr(end), terms, known);
    else if (brandOf(appName).empty())
        collectTerms(appName, terms, known);
    collectTerms(subtitle, terms, known);
    return terms;
}

} // namespace quorvel
