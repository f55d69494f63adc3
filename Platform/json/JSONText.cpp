#include "Platform/json/JSONText.h"

#include "Platform/json/JSON.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <utility>

namespace quorvel {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view jsonSpace = " \t\r\n";

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

// Reads a whole document strictly, without recursion.
class DocumentCheck {
  public:
    explicit DocumentCheck(std::string_view text) : text_(text) {}

    /// Where the document's value begins. Throws `JSONTextError`.
    std::size_t root() {
        if (!isValidUTF8(text_)) throw JSONTextError("it is not in UTF-8");
        if (text_.starts_with(byteOrderMark)) at_ = byteOrderMark.size();
        skipSpace();
        const std::size_t root = at_;
        while (!valueEndsDocument()) {
        }
        if (at_ != text_.size()) fail("something after the end of the document");
        return root;
    }

  private:
    // Reads one value, or the start of one, and the brackets and the comma behind it; whether all is read.
    bool valueEndsDocument() {
        switch (next()) {
        case '{':
            open('}');
            if (next() == '}') break;
            readKey();
            return false;
        case '[':
            open(']');
            if (next() == ']') break;
            return false;
        case '"':
            readString();
            break;
        case 't':
            readWord("true");
            break;
        case 'f':
            readWord("false");
            break;
        case 'n':
            readWord("null");
            break;
        default:
            readNumber();
        }
        return closeBrackets();
    }

    bool closeBrackets() {
        for (skipSpace(); !open_.empty(); skipSpace()) {
            if (next() == open_.back()) {
                open_.pop_back();
                ++at_;
                continue;
            }
            if (next() != ',') fail("something else where a comma or a bracket belongs");
            const std::size_t comma = at_++;
            skipSpace();
            if (next() == open_.back()) {
                at_ = comma;
                fail("a comma with nothing after it");
            }
            if (open_.back() == '}') readKey();
            return false;
        }
        return true;
    }

    void open(char bracket) {
        if (open_.size() == JSONText::deepestNesting) fail("too many brackets within each other");
        open_.push_back(bracket);
        ++at_;
        skipSpace();
    }

    void readKey() {
        if (next() != '"') fail("something else where a name in double quotes belongs");
        readString();
        skipSpace();
        if (next() != ':') fail("something else where a colon belongs");
        ++at_;
        skipSpace();
    }

    void readString() {
        for (++at_; next() != '"'; ++at_) {
            if (at_ == text_.size() || static_cast<unsigned char>(text_[at_]) < ' ')
                fail("a line break or control character in a text");
            if (text_[at_] == '\\') readEscape();
        }
        ++at_;
    }

    void readEscape() {
        ++at_;
        if (next() == 'u') {
            const auto digits = text_.substr(at_ + 1, 4);
            if (digits.size() < 4 || digits.find_first_not_of("0123456789abcdefABCDEF") != digits.npos)
                fail("an escape that JSON has not");
            at_ += 4;
        } else if (at_ == text_.size() ||
                   std::string_view("\"\\/bfnrt").find(text_[at_]) == std::string_view::npos) {
            fail("an escape that JSON has not");
        }
    }

    void readWord(std::string_view word) {
        if (text_.substr(at_, word.size()) != word) fail("a word that JSON has not");
        at_ += word.size();
    }

    void readNumber() {
        if (next() == '-') ++at_;
        if (!isDigit(next())) fail("something else where a value belongs");
        if (next() == '0')
            ++at_;
        else
            readDigits();
        if (next() == '.') {
            ++at_;
            readDigits();
        }
        if (next() == 'e' || next() == 'E') {
            ++at_;
            if (next() == '+' || next() == '-') ++at_;
            readDigits();
        }
    }

    void readDigits() {
        if (!isDigit(next())) fail("a number that JSON has not");
        while (isDigit(next()))
            ++at_;
    }

    [[nodiscard]] char next() const { return at_ < text_.size() ? text_[at_] : '\0'; }
    void skipSpace() { at_ = std::min(text_.find_first_not_of(jsonSpace, at_), text_.size()); }

    [[noreturn]] void fail(std::string_view problem) const {
        if (at_ == text_.size()) problem = "the end of the file, where more belongs";
        if (next() == '/' || next() == '#') problem = "a comment, which JSON has not";
        const std::string_view before = text_.substr(0, at_);
        const auto line = std::ranges::count(before, '\n') + 1;
        const std::size_t start = before.rfind('\n') + 1; // npos + 1 is 0
        throw JSONTextError("line " + std::to_string(line) + ", column " +
                            std::to_string(codePointCount(before.substr(start)) + 1) + ": " +
                            std::string(problem));
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::vector<char> open_; // the brackets that close what is open
};

// The parser's own decoding; what it does not take, such as half a surrogate pair, stays as it is written.
std::string unescaped(std::string_view quoted) {
    const std::string_view inner = quoted.substr(1, quoted.size() - 2);
    if (inner.find('\\') == inner.npos) return std::string(inner);
    try {
        return decodeJSON<std::string>(quoted);
    } catch (const JSONError&) {
        return std::string(inner);
    }
}

} // namespace

/// How what is inserted is written.
struct JSONText::Style {
    bool isMultiLine = false;
    std::string lineEnd = "\n";
    std::string unit = "  ";
    std::string colon = ": ";
    bool isPadded = false; // { "like": "this" }, on one line

    [[nodiscard]] std::string comma() const { return colon.ends_with(' ') ? ", " : ","; }

    void write(std::string& out, const JSONValue& value, const std::string& indentation) const {
        const std::string inner = indentation + unit;
        const auto writeAll = [&](std::string_view brackets, const auto& items, const auto& writeItem) {
            const std::string_view pad = isPadded && !items.empty() ? " " : "";
            (out += brackets[0]) += isMultiLine ? "" : pad;
            bool isFirst = true;
            for (const auto& item : items) {
                if (!isFirst) out += isMultiLine ? "," : comma();
                isFirst = false;
                if (isMultiLine) out += lineEnd + inner;
                writeItem(item);
            }
            if (isMultiLine && !items.empty()) out += lineEnd + indentation;
            (out += isMultiLine ? "" : pad) += brackets[1];
        };
        if (const auto* members = value.members())
            writeAll("{}", *members, [&](const auto& member) {
                out += encodeJSON(member.first) + colon;
                write(out, member.second, inner);
            });
        else if (const auto* items = value.items())
            writeAll("[]", *items, [&](const JSONValue& item) { write(out, item, inner); });
        else
            out += encodeJSON(value);
    }
};

JSONText::JSONText(std::string text) : text_(std::move(text)), root_(DocumentCheck(text_).root()) {}

std::size_t JSONText::endOfSpace(std::size_t at) const {
    return text_.find_first_not_of(jsonSpace, at);
}

std::size_t JSONText::endOfString(std::size_t at) const {
    for (++at; text_[at] != '"'; ++at)
        if (text_[at] == '\\') ++at;
    return at + 1;
}

std::size_t JSONText::endOfValue(std::size_t at) const {
    if (text_[at] == '"') return endOfString(at);
    if (text_[at] != '{' && text_[at] != '[')
        return std::min(text_.find_first_of(",]} \t\r\n", at), text_.size());
    for (std::size_t depth = 0;;) {
        at = text_.find_first_of("\"{}[]", at);
        if (text_[at] == '"') {
            at = endOfString(at);
            continue;
        }
        const bool opens = text_[at] == '{' || text_[at] == '[';
        ++at;
        if (opens)
            ++depth;
        else if (--depth == 0)
            return at;
    }
}

JSONObjectSpan JSONText::object(std::size_t offset) const {
    JSONObjectSpan object{offset, 0, {}};
    std::size_t at = endOfSpace(offset + 1);
    while (text_[at] != '}') {
        const std::size_t keyEnd = endOfString(at);
        JSONMemberSpan member{unescaped(std::string_view(text_).substr(at, keyEnd - at)), at, 0, 0};
        member.value = endOfSpace(endOfSpace(keyEnd) + 1);
        member.end = endOfValue(member.value);
        object.members.push_back(std::move(member));
        at = endOfSpace(object.members.back().end);
        if (text_[at] == ',') at = endOfSpace(at + 1);
    }
    object.end = at + 1;
    return object;
}

std::string_view JSONText::valueOf(const JSONMemberSpan& member) const {
    return std::string_view(text_).substr(member.value, member.end - member.value);
}

std::string_view JSONText::spaceBefore(std::size_t at) const {
    const std::size_t start = text_.find_last_not_of(jsonSpace, at - 1) + 1;
    return std::string_view(text_).substr(start, at - start);
}

// The blanks and tabs at the start of the line of `at`.
std::string JSONText::indentationAt(std::size_t at) const {
    const std::size_t start = at == 0 ? 0 : text_.rfind('\n', at - 1) + 1; // npos + 1 is 0
    return text_.substr(start, text_.find_first_not_of(" \t", start) - start);
}

std::string JSONText::colonOf(const JSONMemberSpan& member) const {
    const std::size_t end = endOfString(member.begin);
    std::string colon = text_.substr(end, member.value - end);
    return colon.find('\n') == colon.npos ? colon : ": ";
}

JSONText::Style JSONText::style(const JSONObjectSpan& object) const {
    Style style;
    if (const std::size_t lineFeed = text_.find('\n'); lineFeed != 0 && lineFeed != text_.npos)
        if (text_[lineFeed - 1] == '\r') style.lineEnd = "\r\n";
    const JSONObjectSpan whole = isObject(root_) ? this->object(root_) : JSONObjectSpan{};
    const auto& like = object.members.empty() ? whole.members : object.members;
    if (like.empty()) {
        style.isMultiLine = true; // an empty document
        return style;
    }
    style.isMultiLine = spaceBefore(like.back().begin).find('\n') != std::string_view::npos;
    style.colon = colonOf(like.back());
    style.isPadded = text_[root_ + 1] == ' ';
    if (!whole.members.empty() && spaceBefore(whole.members.front().begin).find('\n') != std::string::npos) {
        const std::string outer = indentationAt(root_);
        const std::string inner = indentationAt(whole.members.front().begin);
        style.unit = inner.starts_with(outer) ? inner.substr(outer.size()) : inner;
    }
    return style;
}

std::string JSONText::adding(const JSONObjectSpan& object, std::string_view key,
                             const JSONValue& value) const {
    Style style = this->style(object);
    std::string added;
    const auto write = [&](const std::string& indentation) {
        added += encodeJSON(std::string(key)) + style.colon;
        style.write(added, value, indentation);
    };
    if (object.members.empty()) {
        const std::string indentation = indentationAt(object.begin);
        const std::string_view pad = style.isPadded ? " " : "";
        // The white space that was there stands before the closing bracket, in place of our own, and a blank
        // tells white space that only looks like ours: `removing` finds out by that what was there.
        const std::string behind = style.isMultiLine ? style.lineEnd + indentation : std::string(pad);
        const std::string_view kept =
            std::string_view(text_).substr(object.begin + 1, object.end - object.begin - 2);
        if (!kept.empty() && kept == behind) added = " ";
        added += style.isMultiLine ? style.lineEnd + indentation + style.unit : std::string(pad);
        write(indentation + style.unit);
        return text_.substr(0, object.begin + 1) + added + (kept.empty() ? behind : std::string(kept)) +
               text_.substr(object.end - 1);
    }
    const JSONMemberSpan& last = object.members.back();
    const std::string_view space = spaceBefore(last.begin);
    const std::string indentation = indentationAt(last.begin);
    if (style.isMultiLine) {
        added = "," + style.lineEnd + indentation;
        // One line each, as the members before have it.
        const std::string_view sibling = valueOf(last);
        style.isMultiLine = object.begin == root_ || sibling.front() != '{' ||
                            sibling.find('\n') != sibling.npos || sibling.find('"') == sibling.npos;
        style.isPadded = sibling.starts_with("{ ");
    } else {
        added = object.members.size() > 1 ? "," + std::string(space) : style.comma();
    }
    write(indentation);
    return text_.substr(0, last.end) + added + text_.substr(last.end);
}

std::string JSONText::replacing(const JSONMemberSpan& member, const JSONValue& value) const {
    Style style = this->style({.begin = root_, .end = root_, .members = {member}});
    const std::string_view old = valueOf(member);
    const bool hadMembers = old.find('"') != old.npos && isObject(member.value);
    style.isMultiLine = hadMembers ? old.find('\n') != old.npos : style.isMultiLine;
    style.isPadded = old.starts_with("{ ");
    std::string written;
    style.write(written, value, indentationAt(member.begin));
    return text_.substr(0, member.value) + written + text_.substr(member.end);
}

std::string JSONText::removing(const JSONObjectSpan& object, std::size_t index) const {
    const auto& members = object.members;
    std::size_t begin = members[index].begin, end = members[index].end;
    if (index + 1 < members.size()) {
        end = members[index + 1].begin;
    } else if (index > 0) {
        begin = members[index - 1].end;
    } else {
        return withoutOnlyMember(object);
    }
    return text_.substr(0, begin) + text_.substr(end);
}

// The white space that `adding` met is what makes this very text of it; otherwise there is none.
std::string JSONText::withoutOnlyMember(const JSONObjectSpan& object) const {
    const JSONMemberSpan& member = object.members.front();
    const auto with = [&](std::string_view space) {
        return text_.substr(0, object.begin + 1).append(space) + text_.substr(object.end - 1);
    };
    const std::string_view behind = std::string_view(text_).substr(member.end, object.end - 1 - member.end);
    if (behind.empty()) return with("");
    try {
        const auto value = decodeJSON<JSONValue>(valueOf(member));
        const JSONText before(with(behind));
        if (before.adding(before.object(object.begin), member.key, value) == text_) return before.text();
    } catch (const JSONError&) { // a number without bounds, for example, which was not added here
    }
    return with("");
}

} // namespace quorvel
