#include "Core/ai/translation/ReplyText.h"

#include "Core/ai/translation/KeywordList.h"
#include "Core/metadata/TextRemarks.h"
#include "Platform/text/Text.h"

#include <algorithm>

namespace quorvel {

namespace {

constexpr std::string_view fence = "```";

std::string_view takeLine(std::string_view& rest) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return line;
}

std::string withPlainLines(std::string_view text) {
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        if (byte == '\r')
            plain += at + 1 < text.size() && text[at + 1] == '\n' ? "" : "\n";
        else if (byte >= 0x20 ? byte != 0x7F : byte == '\n' || byte == '\t')
            plain += text[at];
    }
    return plain;
}

// `text` has a fence that its source does not have.
std::string_view insideFence(std::string_view text) {
    const std::size_t open = text.starts_with(fence) ? 0 : text.find("\n```");
    if (open == std::string_view::npos) return text;
    std::string_view rest = text.substr(text.find(fence, open) + fence.size());
    if (isBlank(rest)) return text.substr(0, open); // one that closes only
    const std::string_view afterFence = rest;
    const std::string_view line = takeLine(rest); // with the name of a language, or all of the text
    const std::string_view inside = line.find(fence) != line.npos || isBlank(rest) ? afterFence : rest;
    const std::size_t close = inside.find(fence);
    if (close == std::string_view::npos) return open == 0 ? inside : text;
    return inside.substr(0, close);
}

std::string_view withoutSeparatorLines(std::string_view text) {
    if (text.starts_with("---\n")) text.remove_prefix(4);
    if (text.ends_with("\n---")) text.remove_suffix(4);
    return text;
}

bool isOneLine(FieldType field) {
    return field == FieldType::name || field == FieldType::subtitle || field == FieldType::keywords;
}

bool endsWithColon(std::string_view line) {
    return line.ends_with(':') || line.ends_with("\uFF1A");
}

// Up to the first blank line.
std::string_view firstParagraph(std::string_view text) {
    std::string_view rest = text;
    while (!rest.empty()) {
        const std::size_t before = text.size() - rest.size();
        if (isBlank(takeLine(rest))) return text.substr(0, before);
    }
    return text;
}

std::size_t paragraphCount(std::string_view text) {
    std::size_t count = 0;
    for (text = trim(text); !text.empty(); text = trim(text)) {
        text.remove_prefix(firstParagraph(text).size());
        ++count;
    }
    return count;
}

// Whether the first line of `text` may be the heading of the source, which got a colon.
bool mayBeginWithHeading(std::string_view text, std::string_view source) {
    const std::string_view heading = trim(firstParagraph(source));
    return heading.size() < source.size() && heading.find('\n') == heading.npos &&
           paragraphCount(text) <= paragraphCount(source);
}

// A first line such as "Here is the translation:", with a blank line behind it where the text may have lines.
std::string_view withoutIntroduction(std::string_view text, FieldType field, std::string_view source) {
    std::string_view rest = text, sourceRest = source;
    if (!endsWithColon(trim(takeLine(rest))) || endsWithColon(trim(takeLine(sourceRest))) || isBlank(rest))
        return text;
    if (isOneLine(field)) return trim(rest);
    return isBlank(takeLine(rest)) && !mayBeginWithHeading(text, source) ? trim(rest) : text;
}

// What follows a text of one line behind a blank one speaks of it. A list of one keyword a line has no
// separators.
std::string_view withoutRemarks(std::string_view text, FieldType field) {
    if (!isOneLine(field)) return text;
    const std::string_view first = trim(firstParagraph(text));
    return field == FieldType::keywords && !hasKeywordSeparator(first) ? text : first;
}

std::string joinedLines(std::string_view text) {
    std::string joined;
    while (!text.empty())
        if (const std::string_view line = trim(takeLine(text)); !line.empty())
            joined += (joined.empty() ? "" : " ") + std::string(line);
    return joined;
}

} // namespace

std::string translationIn(std::string_view reply, FieldType field, std::string_view sourceText) {
    const std::string plain = withPlainLines(withoutByteOrderMark(reply));
    const std::string_view source = trim(sourceText);
    std::string_view text = trim(plain);
    if (source.find(fence) == std::string_view::npos) text = trim(insideFence(text));
    if (!source.starts_with("---")) text = trim(withoutSeparatorLines(text));
    text = withoutRemarks(withoutIntroduction(text, field, source), field);
    if (withoutQuotes(source) == source) text = withoutQuotes(text);
    if (field == FieldType::keywords) return tidyKeywords(text);
    if (field == FieldType::name || field == FieldType::subtitle) return joinedLines(text);
    return std::string(text);
}

} // namespace quorvel
