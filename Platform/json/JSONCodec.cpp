#include "Platform/json/JSON.h"

#include "Platform/json/LargeIntegers.h"
#include "Platform/text/Spelling.h"
#include "Platform/text/Text.h"

#include <simdjson.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

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
        std::string text = parent->path();
        if (key.data()) return text.append(".").append(escapeControls(key));
        return text.append("[").append(std::to_string(index)).append("]");
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

// A quick no for the usual, small object.
bool mayHoldDuplicates(const JSONValue::Object& members) {
    if (members.size() > 16) return true;
    for (auto member = members.begin(); member != members.end(); ++member)
        for (auto earlier = members.begin(); earlier != member; ++earlier)
            if (earlier->first == member->first) return true;
    return false;
}

// Keeps the last value of members that share a name, at the place of the first.
void mergeDuplicates(JSONValue::Object& members) {
    if (!mayHoldDuplicates(members)) return;
    std::vector<std::size_t> order(members.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, {},
                             [&](std::size_t at) -> std::string_view { return members[at].first; });
    std::vector<bool> superfluous(members.size());
    bool found = false;
    for (std::size_t at = 1, first = 0; at < order.size(); ++at) {
        if (members[order[at]].first != members[order[first]].first) {
            first = at;
            continue;
        }
        members[order[first]].second = std::move(members[order[at]].second);
        superfluous[order[at]] = found = true;
    }
    if (!found) return;
    std::size_t kept = 0;
    for (std::size_t at = 0; at < members.size(); ++at)
        if (!superfluous[at]) std::swap(members[kept++], members[at]);
    members.erase(members.begin() + static_cast<std::ptrdiff_t>(kept), members.end());
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
        mergeDuplicates(members);
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

void refuseUnknownMembers(const Reader& reader, const dom::object& object, const Record& record) {
    std::vector<std::string_view> names;
    for (const Field& field : record.fields)
        names.push_back(field.name);
    std::vector<std::string_view> known = names;
    for (const JSONAlias& alias : record.aliases)
        known.push_back(alias.key);
    for (const auto member : object) {
        if (std::ranges::find(known, member.key) != known.end()) continue;
        const auto meant = nearestSpelling(member.key, names);
        throw JSONError(Frame{&reader.frame, member.key, 0}.path(),
                        meant ? "unknown, did you mean " + *meant + "?" : "unknown");
    }
}

} // namespace

bool isRequired(const Record& record, const Field& field) {
    if (record.members.empty()) return field.type->kind != Kind::optional;
    return std::ranges::any_of(record.members, [&](const JSONMember& member) {
        return member.name == field.name && member.presence == JSONMember::required;
    });
}

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
        if (number != std::floor(number)) throw JSONError(reader.frame.path(), "expected an integer");
        if (std::fabs(number) > exact) throw JSONError(reader.frame.path(), "integer out of range");
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
    if (record.clear) {
        record.clear(target);
        refuseUnknownMembers(reader, object, record);
    }
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
        if (isRequired(record, field)) throw JSONError(Frame{&reader.frame, field.name, 0}.path(), "missing");
        if (field.type->reset) field.type->reset(field.member(target));
    }
}

void failUnknownRawValue(Reader& reader, std::string_view raw) {
    std::string problem = "unknown value \"";
    problem.append(escapeControls(graphemePrefix(raw, 60))).append("\"");
    throw JSONError(reader.frame.path(), problem);
}

void decodeText(std::string_view text, void* object, const Type& type) {
    thread_local dom::parser parser;
    // A parser takes many times the room of the text, and keeps it for the next one.
    struct Trim {
        ~Trim() {
            if (parser.capacity() > std::size_t{4} << 20) parser = dom::parser();
        }
    } const trim;
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    dom::element root;
    auto error = parser.parse(text.data(), text.size()).get(root);
    if (error) {
        if (const auto adapted = withLargeIntegersAsDoubles(text))
            error = parser.parse(adapted->data(), adapted->size()).get(root);
    }
    if (error) throw JSONError("$", simdjson::error_message(error));
    Reader reader{root, {}};
    type.read(reader, object);
}

} // namespace quorvel::json
