#include "Core/ai/translation/FixedParts.h"

#include "Platform/text/Text.h"

#include <algorithm>
#include <array>

namespace quorvel {

namespace {

bool isASCIIDigit(char character) {
    return character >= '0' && character <= '9';
}

bool isASCIILetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool isWordCharacter(char character) {
    return isASCIILetter(character) || isASCIIDigit(character) || character == '_';
}

bool isAmong(char character, std::string_view characters) {
    return characters.find(character) != std::string_view::npos;
}

std::string_view takeWhile(std::string_view text, bool (*holds)(char)) {
    const auto end = std::ranges::find_if_not(text, holds);
    return text.substr(0, static_cast<std::size_t>(end - text.begin()));
}

// The size of "{name}" or "%1$@" at the start of `rest`; 0 when none begins there.
std::size_t bracedSize(std::string_view rest) {
    const std::string_view name = takeWhile(rest.substr(1), isWordCharacter);
    const std::size_t close = 1 + name.size();
    return !name.empty() && close < rest.size() && rest[close] == '}' ? close + 1 : 0;
}

std::size_t formatSize(std::string_view rest) {
    std::size_t at =
        1 + takeWhile(rest.substr(1), [](char each) { return isAmong(each, "0123456789$.-+#*"); }).size();
    at += takeWhile(rest.substr(at), [](char each) { return isAmong(each, "hlLqjzt"); }).size();
    if (at >= rest.size() || !isAmong(rest[at], "@diouxXeEfFgGaAcCsSp")) return 0;
    const bool endsWord = at + 1 == rest.size() || !isASCIILetter(rest[at + 1]);
    return rest[at] == '@' || endsWord ? at + 1 : 0;
}

std::size_t placeholderSizeAt(std::string_view text, std::size_t at) {
    const std::string_view rest = text.substr(at);
    if (rest.front() == '{') return bracedSize(rest);
    // "50%discount" holds a percentage.
    return rest.front() == '%' && (at == 0 || !isASCIIDigit(text[at - 1])) ? formatSize(rest) : 0;
}

bool isAddressCharacter(char character) {
    return isWordCharacter(character) || isAmong(character, "-.~:/?#[]@!$&'()*+,;=%");
}

// The run of characters that addresses are made of, without what ends a sentence.
std::string_view addressRun(std::string_view text) {
    text = takeWhile(text, isAddressCharacter);
    while (!text.empty()) {
        const bool closesNothing = text.back() == ')' && text.find('(') == text.npos;
        if (!closesNothing && !isAmong(text.back(), ".,;:!?'([]&")) break;
        text.remove_suffix(1);
    }
    return text;
}

bool isHost(std::string_view host) {
    constexpr std::array<std::string_view, 9> endings = {"com", "org", "net", "io",  "app",
                                                         "dev", "edu", "gov", "info"};
    const std::size_t point = host.rfind('.');
    if (point == host.npos || point == 0) return false;
    const bool isPlain = std::ranges::all_of(
        host, [](char each) { return isASCIILetter(each) || isASCIIDigit(each) || isAmong(each, "-."); });
    return isPlain && std::ranges::find(endings, asciiLowercase(host.substr(point + 1))) != endings.end();
}

bool isAddress(std::string_view run) {
    if (run.find("://") != run.npos || run.starts_with("www.") || run.starts_with("mailto:")) return true;
    if (const std::size_t at = run.find('@'); at != run.npos)
        return at > 0 && run.find('.', at + 2) != run.npos;
    return isHost(run.substr(0, run.find_first_of("/:?#")));
}

std::size_t addressSizeAt(std::string_view text, std::size_t at) {
    const bool startsWord = isASCIILetter(text[at]) || isASCIIDigit(text[at]);
    if (!startsWord || (at > 0 && isAddressCharacter(text[at - 1]) && !isAmong(text[at - 1], "([:,;!'=&")))
        return 0;
    const std::string_view run = addressRun(text.substr(at));
    return isAddress(run) ? run.size() : 0;
}

std::vector<std::string_view> partsOf(std::string_view text,
                                      std::size_t (*sizeAt)(std::string_view, std::size_t)) {
    std::vector<std::string_view> parts;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t size = sizeAt(text, at);
        if (size > 0) parts.push_back(text.substr(at, size));
        at += std::max<std::size_t>(size, 1);
    }
    return parts;
}

std::string withoutAddressesAndPlaceholders(std::string_view text) {
    std::string rest;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t size = std::max(placeholderSizeAt(text, at), addressSizeAt(text, at));
        rest += size > 0 ? ' ' : text[at];
        at += std::max<std::size_t>(size, 1);
    }
    return rest;
}

// Which groups of digits a separator joins to the ones before it.
enum class Grouping { none, thousands, anySeparator, anySeparatorOrBlank };

// The size of the separator of a number's groups at `at`; 0 when none is there.
std::size_t separatorSizeAt(std::string_view text, std::size_t at, Grouping grouping) {
    constexpr std::array<std::string_view, 9> separators = {",",      ".",      "'",      "’", "\u00A0",
                                                            "\u202F", "\u066C", "\u066B", " "};
    if (grouping == Grouping::none) return 0;
    for (const std::string_view separator : separators) {
        if (!text.substr(at).starts_with(separator)) continue;
        if (separator == " " && grouping != Grouping::anySeparatorOrBlank) return 0;
        const std::size_t group = takeWhile(text.substr(at + separator.size()), isASCIIDigit).size();
        const bool joins =
            group == 3 || (group == 2 && grouping != Grouping::thousands); // India groups by two
        return joins ? separator.size() : 0;
    }
    return 0;
}

void appendNumbers(std::vector<std::string>& numbers, std::string_view plain, Grouping grouping) {
    std::string number;
    const auto end = [&] {
        if (number.size() > 1) numbers.push_back(number);
        number.clear();
    };
    for (std::size_t at = 0; at < plain.size();) {
        const std::size_t separator = number.empty() ? 0 : separatorSizeAt(plain, at, grouping);
        if (isASCIIDigit(plain[at]))
            number += plain[at];
        else if (separator == 0)
            end();
        at += std::max<std::size_t>(separator, 1);
    }
    end();
}

std::string plainTextOf(std::string_view text) {
    return withASCIIDigits(withoutAddressesAndPlaceholders(text));
}

} // namespace

std::vector<std::string_view> placeholdersIn(std::string_view text) {
    return partsOf(text, placeholderSizeAt);
}

std::vector<std::string_view> addressesIn(std::string_view text) {
    return partsOf(text, addressSizeAt);
}

std::vector<std::string> numbersIn(std::string_view text) {
    std::vector<std::string> numbers;
    appendNumbers(numbers, plainTextOf(text), Grouping::thousands);
    return numbers;
}

std::vector<std::string> possibleNumbersIn(std::string_view text) {
    const std::string plain = plainTextOf(text);
    std::vector<std::string> numbers;
    for (const Grouping grouping :
         {Grouping::none, Grouping::thousands, Grouping::anySeparator, Grouping::anySeparatorOrBlank})
        appendNumbers(numbers, plain, grouping);
    return numbers;
}

bool holdsTerm(std::string_view text, std::string_view term) {
    if (term.empty()) return false;
    for (std::size_t at = text.find(term); at != text.npos; at = text.find(term, at + 1)) {
        const std::size_t end = at + term.size();
        const bool begins = at == 0 || !isWordCharacter(text[at - 1]);
        const bool ends = end == text.size() || !isWordCharacter(text[end]);
        if (begins && ends) return true;
    }
    return false;
}

} // namespace quorvel
