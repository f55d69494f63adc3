#include "Platform/json/JSONWriter.h"

#include "Platform/json/JSONFields.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace quorvel::json {

void Writer::newLine() {
    if (format_.layout != JSONLayout::pretty) return;
    text_.push_back('\n');
    text_.append(static_cast<std::size_t>(depth_) * 2, ' ');
}

void Writer::begin(char bracket) {
    text_.push_back(bracket);
    ++depth_;
    first_ = true;
}

void Writer::end(char bracket) {
    --depth_;
    if (!first_) newLine();
    text_.push_back(bracket);
    first_ = false;
}

void Writer::item() {
    if (!first_) text_.push_back(',');
    first_ = false;
    newLine();
}

void Writer::key(std::string_view name) {
    item();
    string(name);
    text_ += format_.layout == JSONLayout::pretty ? ": " : ":";
}

void Writer::integer(std::int64_t value) {
    std::array<char, 24> digits;
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    text_.append(digits.data(), result.ptr);
}

void Writer::number(double value) {
    if (!std::isfinite(value)) return null();
    // Plain digits where they stay readable, so that 0.3 reads 0.3 and 1e300 does not take 300 digits.
    const double magnitude = std::fabs(value);
    const bool exponent = magnitude != 0 && (magnitude < 1e-6 || magnitude >= 1e16);
    std::array<char, 64> digits;
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                      exponent ? std::chars_format::scientific : std::chars_format::fixed);
    text_.append(digits.data(), result.ptr);
    if (value == 0 && std::signbit(value)) text_ += ".0"; // "-0" would be read as the integer 0
}

void Writer::string(std::string_view value) {
    if (!isValidUTF8(value)) return string(repairUTF8(value)); // else no reader would take the document
    const auto isPlain = [](char character) {
        return static_cast<unsigned char>(character) >= 0x20 && character != '"' && character != '\\';
    };
    text_.push_back('"');
    std::size_t start = 0;
    for (std::size_t at = 0; at < value.size(); ++at) {
        if (isPlain(value[at])) continue;
        text_.append(value, start, at - start);
        start = at + 1;
        switch (value[at]) {
        case '"':
            text_ += "\\\"";
            break;
        case '\\':
            text_ += "\\\\";
            break;
        case '\n':
            text_ += "\\n";
            break;
        case '\r':
            text_ += "\\r";
            break;
        case '\t':
            text_ += "\\t";
            break;
        default: {
            constexpr std::string_view digits = "0123456789abcdef";
            const auto byte = static_cast<unsigned char>(value[at]);
            text_ += "\\u00";
            text_.push_back(digits[byte >> 4]);
            text_.push_back(digits[byte & 15]);
        }
        }
    }
    text_.append(value, start);
    text_.push_back('"');
}

void writeRecord(Writer& writer, const void* object, const Record& record) {
    std::vector<const Field*> order;
    order.reserve(record.fields.size());
    for (const Field& field : record.fields)
        order.push_back(&field);
    if (writer.sortsKeys()) std::ranges::sort(order, {}, [](const Field* field) { return field->name; });
    writer.begin('{');
    for (const Field* field : order) {
        const void* member = field->member(const_cast<void*>(object));
        if (field->type->hasValue && !field->type->hasValue(member)) continue;
        writer.key(field->name);
        field->type->write(writer, member);
    }
    writer.end('}');
}

void writeValue(Writer& writer, const JSONValue& value) {
    struct Visitor {
        Writer& writer;
        void operator()(std::nullptr_t) const { writer.null(); }
        void operator()(bool boolean) const { writer.boolean(boolean); }
        void operator()(std::int64_t integer) const { writer.integer(integer); }
        void operator()(double number) const { writer.number(number); }
        void operator()(const std::string& text) const { writer.string(text); }
        void operator()(const JSONValue::Array& items) const {
            writer.begin('[');
            for (const JSONValue& item : items) {
                writer.item();
                writeValue(writer, item);
            }
            writer.end(']');
        }
        void operator()(const JSONValue::Object& members) const {
            std::vector<const JSONValue::Object::value_type*> order;
            for (const auto& member : members)
                order.push_back(&member);
            if (writer.sortsKeys())
                std::ranges::sort(order, {}, [](const auto* member) { return member->first; });
            writer.begin('{');
            for (const auto* member : order) {
                writer.key(member->first);
                writeValue(writer, member->second);
            }
            writer.end('}');
        }
    };
    std::visit(Visitor{writer}, value.value);
}

} // namespace quorvel::json
