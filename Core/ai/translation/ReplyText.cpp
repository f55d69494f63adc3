#include "Core/ai/translation/ReplyText.h"

#include "Core/metadata/TextRemarks.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <array>
#include <set>
#include <utility>

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

std::string_view insideFence(std::string_view text) {
    const std::size_t open = text.starts_with(fence) ? 0 : text.find("\n```");
    if (open == std::string_view::npos) return text;
    std::string_view rest = text.substr(text.find(fence, open));
    takeLine(rest); // with the name of a language
    const std::size_t close = rest.starts_with(fence) ? 0 : rest.find("\n```");
    return close == std::string_view::npos ? text : rest.substr(0, close);
}

std::string_view withoutSeparatorLines(std::string_view text) {
    if (text.starts_with("---\n")) text.remove_prefix(4);
    if (text.ends_with("\n---")) text.remove_suffix(4);
    return text;
}

// A first line such as "Here is the translation:" with a blank line behind it.
std::string_view withoutIntroduction(std::string_view text) {
    std::string_view rest = text;
    const std::string_view line = trim(takeLine(rest));
    if (!line.ends_with(':') || isBlank(rest) || !isBlank(takeLine(rest))) return text;
    return trim(rest);
}

std::string_view withoutQuotes(std::string_view text) {
    constexpr std::pair<std::string_view, std::string_view> pairs[] = {
        {"\"", "\""}, {"“", "”"}, {"„", "“"}, {"„", "”"}, {"«", "»"}, {"「", "」"}, {"'", "'"}, {"`", "`"}};
    for (const auto& [open, close] : pairs) {
        if (text.size() <= open.size() + close.size() || !text.starts_with(open) || !text.ends_with(close))
            continue;
        const std::string_view inside = text.substr(open.size(), text.size() - open.size() - close.size());
        if (inside.find(open) == std::string_view::npos && inside.find(close) == std::string_view::npos)
            return trim(inside);
    }
    return text;
}

std::string joinedLines(std::string_view text) {
    std::string joined;
    while (!text.empty())
        if (const std::string_view line = trim(takeLine(text)); !line.empty())
            joined += (joined.empty() ? "" : " ") + std::string(line);
    return joined;
}

} // namespace

std::string tidyKeywords(std::string_view keywords) {
    constexpr std::array<std::string_view, 8> commas = {",",      "\n",     "\uFF0C", "\u3001",
                                                        "\uFF64", "\uFE50", "\uFE51", "\u060C"};
    std::string tidied;
    std::set<std::string> seen;
    while (!keywords.empty()) {
        std::size_t end = keywords.size(), next = keywords.size();
        for (const std::string_view comma : commas)
            if (const std::size_t at = keywords.find(comma); at < end) {
                end = at;
                next = at + comma.size();
            }
        const std::string_view term = trim(keywords.substr(0, end));
        if (!term.empty() && seen.insert(asciiLowercase(term)).second) {
            if (!tidied.empty()) tidied += ',';
            tidied += term;
        }
        keywords.remove_prefix(next);
    }
    return tidied;
}

std::string translationIn(std::string_view reply, FieldType field, std::string_view sourceText) {
    const std::string plain = withPlainLines(withoutByteOrderMark(reply));
    const std::string_view source = trim(sourceText);
    std::string_view text = trim(plain);
    if (source.find(fence) == std::string_view::npos) text = trim(insideFence(text));
    if (!source.starts_with("---")) text = trim(withoutSeparatorLines(text));
    std::string_view sourceRest = source;
    if (!trim(takeLine(sourceRest)).ends_with(':')) text = withoutIntroduction(text);
    if (withoutQuotes(source) == source) text = withoutQuotes(text);
    if (field == FieldType::keywords) return tidyKeywords(text);
    if (field == FieldType::name || field == FieldType::subtitle) return joinedLines(text);
    return std::string(text);
}

std::optional<std::string_view> objectIn(std::string_view reply) {
    const std::size_t open = reply.find('{');
    const std::size_t close = reply.rfind('}');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open)
        return std::nullopt;
    return reply.substr(open, close - open + 1);
}

} // namespace quorvel
