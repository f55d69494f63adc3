#include "Platform/json/JSON.h"

#include <simdjson.h>

#include <algorithm>
#include <cmath>

namespace quorvel::json {

namespace dom = simdjson::dom;

namespace {

// Where a value stands in the document. Frames live on the decoder's stack; a path is built only for an
// error.
struct Frame {
    const Frame* parent = nullptr;
    std::string_view key;
    std::size_t index = 0;

    [[nodiscard]] std::string path() const {
        if (!parent) return "$";
        return parent->path() + (key.data() ? "." + std::string(key) : "[" + std::to_string(index) + "]");
    }
};

} // namespace

class Reader {
  public:
    dom::element value;
    Frame frame;
};

namespace {

template <typename Result>
auto require(Result result, const Reader& reader, const char* problem) {
    if (result.error()) throw JSONError(reader.frame.path(), problem);
    return result.value_unsafe();
}

void fill(const dom::element& element, JSONValue& value) {
    switch (element.type()) {
    case dom::element_type::NULL_VALUE:
        value.value = nullptr;
        break;
    case dom::element_type::BOOL:
        value.value = element.get_bool().value_unsafe();
        break;
    case dom::element_type::INT64:
        value.value = element.get_int64().value_unsafe();
        break;
    case dom::element_type::UINT64:
        value.value = static_cast<double>(element.get_uint64().value_unsafe());
        break;
    case dom::element_type::DOUBLE:
        value.value = element.get_double().value_unsafe();
        break;
    case dom::element_type::STRING:
        value.value = std::string(element.get_string().value_unsafe());
        break;
    case dom::element_type::ARRAY: {
        const dom::array source = element.get_array().value_unsafe();
        JSONValue::Array items;
        for (const dom::element item : source)
            fill(item, items.emplace_back());
        value.value = std::move(items);
        break;
    }
    case dom::element_type::OBJECT: {
        const dom::object source = element.get_object().value_unsafe();
        JSONValue::Object members;
        for (const auto member : source)
            fill(member.value, members.emplace_back(std::string(member.key), JSONValue{}).second);
        value.value = std::move(members);
        break;
    }
    }
}

constexpr std::size_t unknownField = static_cast<std::size_t>(-1);

// Members mostly come in the declared order, so the search starts behind the last one found.
std::size_t findField(const Record& record, std::string_view key, std::size_t expected) {
    const auto fields = record.fields;
    if (expected < fields.size() && fields[expected].name == key) return expected;
    for (std::size_t at = 0; at < fields.size(); ++at)
        if (fields[at].name == key) return at;
    return unknownField;
}

void readAliases(const Reader& reader, const dom::object& object, void* target, const Record& record,
                 std::uint64_t& seen) {
    for (const JSONAlias& alias : record.aliases) {
        const std::size_t at = findField(record, alias.member, 0);
        if (at == unknownField) continue;
        const Field& field = record.fields[at];
        const bool empty = field.type->hasValue && !field.type->hasValue(field.member(target));
        if ((seen >> at & 1) && !empty) continue;
        dom::element value;
        if (object.at_key(alias.key).get(value)) continue;
        seen |= std::uint64_t{1} << at;
        Reader member{value, {&reader.frame, alias.key, 0}};
        field.type->read(member, field.member(target));
    }
}

} // namespace

void readBoolean(Reader& reader, bool& value) {
    value = require(reader.value.get_bool(), reader, "expected a boolean");
}

std::int64_t readInteger(Reader& reader, std::int64_t minimum, std::int64_t maximum) {
    std::int64_t value = 0;
    if (reader.value.is_int64()) {
        value = reader.value.get_int64().value_unsafe();
    } else {
        constexpr double exact = 9007199254740992.0; // 2^53: beyond it a double is no certain integer
        const double number = require(reader.value.get_double(), reader, "expected an integer");
        if (!(std::fabs(number) <= exact) || number != std::floor(number))
            throw JSONError(reader.frame.path(), "expected an integer");
        value = static_cast<std::int64_t>(number);
    }
    if (value < minimum || value > maximum) throw JSONError(reader.frame.path(), "integer out of range");
    return value;
}

void readNumber(Reader& reader, double& value) {
    value = require(reader.value.get_double(), reader, "expected a number");
}

std::string_view readStringView(Reader& reader) {
    return require(reader.value.get_string(), reader, "expected a string");
}

void readString(Reader& reader, std::string& value) {
    value = readStringView(reader);
}

void readDate(Reader& reader, Date& value) {
    const auto date = parseISO8601(readStringView(reader));
    if (!date) throw JSONError(reader.frame.path(), "expected an ISO 8601 date");
    value = *date;
}

void readValue(Reader& reader, JSONValue& value) {
    fill(reader.value, value);
}

bool readNull(Reader& reader) {
    return reader.value.is_null();
}

void readArray(Reader& reader, void* container, void (*item)(Reader&, void*)) {
    const dom::array array = require(reader.value.get_array(), reader, "expected an array");
    std::size_t index = 0;
    for (const dom::element element : array) {
        Reader inner{element, {&reader.frame, {}, index++}};
        item(inner, container);
    }
}

void readMap(Reader& reader, void* container, void (*item)(Reader&, void*, std::string_view)) {
    const dom::object object = require(reader.value.get_object(), reader, "expected an object");
    for (const auto member : object) {
        Reader inner{member.value, {&reader.frame, member.key, 0}};
        item(inner, container, member.key);
    }
}

void readRecord(Reader& reader, void* target, const Record& record) {
    const dom::object object = require(reader.value.get_object(), reader, "expected an object");
    std::uint64_t seen = 0;
    std::size_t expected = 0;
    for (const auto member : object) {
        const std::size_t at = findField(record, member.key, expected);
        if (at == unknownField) continue;
        expected = at + 1;
        seen |= std::uint64_t{1} << at;
        Reader inner{member.value, {&reader.frame, record.fields[at].name, 0}};
        record.fields[at].type->read(inner, record.fields[at].member(target));
    }
    readAliases(reader, object, target, record, seen);
    for (std::size_t at = 0; at < record.fields.size(); ++at) {
        if (seen >> at & 1) continue;
        const Field& field = record.fields[at];
        if (!field.type->reset) throw JSONError(Frame{&reader.frame, field.name, 0}.path(), "missing");
        field.type->reset(field.member(target));
    }
}

void failUnknownRawValue(Reader& reader, std::string_view raw) {
    throw JSONError(reader.frame.path(), "unknown value \"" + std::string(raw.substr(0, 60)) + "\"");
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

void decodeText(std::string_view text, void* object, const Type& type) {
    thread_local dom::parser parser;
    dom::element root;
    if (const auto error = parser.parse(text.data(), text.size()).get(root))
        throw JSONError("$", simdjson::error_message(error));
    Reader reader{root, {}};
    type.read(reader, object);
}

} // namespace quorvel::json
