// A JSON document as text, whose single members are changed without touching any other byte.
#pragma once

#include "Platform/json/JSONValue.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// A text that is no JSON document; says where, such as "line 3, column 5: a comment, which JSON has not".
class JSONTextError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Byte offsets of a member: its key's quote, its value and the end of that.
struct JSONMemberSpan {
    std::string key; // unescaped
    std::size_t begin = 0;
    std::size_t value = 0;
    std::size_t end = 0;
};

struct JSONObjectSpan {
    std::size_t begin = 0;
    std::size_t end = 0; // behind its bracket
    std::vector<JSONMemberSpan> members;
};

/// A checked document (RFC 8259, UTF-8 with or without a byte order mark). Every function that changes it
/// returns a new text that differs in the one member alone; what is inserted follows the indentation, line
/// ends and spacing that are there. An offset that is handed in must come from the same document.
class JSONText {
  public:
    static constexpr std::size_t deepestNesting = 1000;

    /// Throws `JSONTextError`.
    explicit JSONText(std::string text);

    [[nodiscard]] const std::string& text() const { return text_; }
    /// Where the document's value begins.
    [[nodiscard]] std::size_t root() const { return root_; }
    [[nodiscard]] bool isObject(std::size_t offset) const { return text_[offset] == '{'; }
    /// The object that begins at `offset`, with its members in order; those of the same key too.
    [[nodiscard]] JSONObjectSpan object(std::size_t offset) const;
    [[nodiscard]] std::string_view valueOf(const JSONMemberSpan& member) const;

    /// With a further member behind the last one of `object`.
    [[nodiscard]] std::string adding(const JSONObjectSpan& object, std::string_view key,
                                     const JSONValue& value) const;
    [[nodiscard]] std::string replacing(const JSONMemberSpan& member, const JSONValue& value) const;
    /// Without one member of `object`. What `adding` added is gone to the byte.
    [[nodiscard]] std::string removing(const JSONObjectSpan& object, std::size_t index) const;

  private:
    struct Style;

    [[nodiscard]] std::size_t endOfSpace(std::size_t at) const;
    [[nodiscard]] std::size_t endOfString(std::size_t at) const;
    [[nodiscard]] std::size_t endOfValue(std::size_t at) const;
    [[nodiscard]] std::string_view spaceBefore(std::size_t at) const;
    [[nodiscard]] std::string indentationAt(std::size_t at) const;
    [[nodiscard]] Style style(const JSONObjectSpan& object) const;
    [[nodiscard]] std::string colonOf(const JSONMemberSpan& member) const;
    [[nodiscard]] std::string withoutOnlyMember(const JSONObjectSpan& object) const;

    std::string text_;
    std::size_t root_ = 0;
};

} // namespace quorvel
