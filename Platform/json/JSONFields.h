// How a described record becomes a table of fields that the codec walks; include JSON.h instead.
#pragma once

#include "Platform/json/JSONValue.h"
#include "Platform/json/JSONWriter.h"
#include "Platform/json/RawValue.h"
#include "Platform/time/Date.h"

#include <boost/describe/class.hpp>
#include <boost/describe/members.hpp>

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

/// Describes a record inside its own definition: its members in order, named as their JSON keys (at most 52).
/// The codec refuses at compile time a record with a member that is not listed.
#define QUORVEL_RECORD(Type, ...) BOOST_DESCRIBE_CLASS(Type, (), (__VA_ARGS__), (), ())

/// The same for a record with members that are no part of the document: `QUORVEL_RECORD_EXCEPT(Type,
/// (cached), a, b)`.
#define QUORVEL_RECORD_EXCEPT(Type, omitted, ...)                                                            \
    enum class OmittedMembers { QUORVEL_UNWRAPPED omitted, count };                                          \
    QUORVEL_RECORD(Type, __VA_ARGS__)
#define QUORVEL_UNWRAPPED(...) __VA_ARGS__

namespace quorvel {

/// A document that is not JSON or not of the expected form; the text begins with the path, such as
/// "$.data[3].attributes.locale: missing".
class JSONError : public std::runtime_error {
  public:
    JSONError(std::string path, const std::string& problem)
        : std::runtime_error(path + ": " + problem), path_(std::move(path)) {}
    [[nodiscard]] const std::string& path() const { return path_; }

  private:
    std::string path_;
};

/// A second spelling of a member that other programs send; read when the member's own name is absent or null.
struct JSONAlias {
    std::string_view key;
    std::string_view member;
};

/// Specialise with `static constexpr JSONAlias values[]` for records that accept second spellings.
template <typename Record>
struct JSONAliases {
    static constexpr std::span<const JSONAlias> values{};
};

/// What people need to know of one member of a request. A record with a table of them,
/// `static constexpr JSONMember members[]`, is decoded strictly: unknown members are errors, and a member
/// that is not marked as required may be absent, which leaves its default value.
struct JSONMember {
    enum Presence { optional, required };
    std::string_view name;
    std::string_view description;
    Presence presence = optional;
};

namespace json {

class Reader; // a JSON value being read; defined beside the codec
struct Record;

enum class Kind { boolean, integer, number, string, date, value, enumeration, optional, array, map, record };

/// What the codec needs to know of a type.
struct Type {
    Kind kind;
    void (*read)(Reader&, void*);
    void (*write)(Writer&, const void*);
    const Type* inner = nullptr;                            // of optionals, arrays and maps
    const Record* record = nullptr;                         // of records
    std::vector<std::string_view> (*rawValues)() = nullptr; // of enumerations
    void (*reset)(void*) = nullptr;                         // of optionals
    bool (*hasValue)(const void*) = nullptr;                // of optionals
};
struct Field {
    std::string_view name;
    void* (*member)(void*);
    const Type* type;
};
struct Record {
    std::span<const Field> fields;
    std::span<const JSONAlias> aliases;
    std::span<const JSONMember> members; // empty unless the record is strict
    void (*clear)(void*) = nullptr;      // sets all default values; of strict records
};

void readBoolean(Reader& reader, bool& value);
std::int64_t readInteger(Reader& reader, std::int64_t minimum, std::int64_t maximum);
void readNumber(Reader& reader, double& value);
void readString(Reader& reader, std::string& value);
std::string_view readStringView(Reader& reader);
void readDate(Reader& reader, Date& value);
void readValue(Reader& reader, JSONValue& value);
[[nodiscard]] bool readNull(Reader& reader);
void readArray(Reader& reader, void* container, void (*item)(Reader&, void*));
void readMap(Reader& reader, void* container, void (*item)(Reader&, void*, std::string_view));
void readRecord(Reader& reader, void* object, const Record& record);
[[noreturn]] void failUnknownRawValue(Reader& reader, std::string_view raw);
void writeRecord(Writer& writer, const void* object, const Record& record);
void writeValue(Writer& writer, const JSONValue& value);
/// Whether a document without `field` is refused.
[[nodiscard]] bool isRequired(const Record& record, const Field& field);
void decodeText(std::string_view text, void* object, const Type& type);

template <typename T>
concept DescribedRecord = boost::describe::has_describe_members<T>::value;
template <typename>
inline constexpr bool isOptional = false;
template <typename T>
inline constexpr bool isOptional<std::optional<T>> = true;
template <typename>
inline constexpr bool isVector = false;
template <typename T>
inline constexpr bool isVector<std::vector<T>> = true;
template <typename>
inline constexpr bool isMap = false;
template <typename T>
inline constexpr bool isMap<std::map<std::string, T>> = true;

template <typename T>
void readAny(Reader& reader, void* place);
template <typename T>
void writeAny(Writer& writer, const void* place);

template <typename T>
[[nodiscard]] constexpr Record makeRecord();
template <typename T>
inline constexpr Record recordOf = makeRecord<T>();
template <typename T>
[[nodiscard]] constexpr Type makeType();
template <typename T>
inline constexpr Type typeOf = makeType<T>();

template <typename T, auto Member>
void* memberOf(void* object) {
    return std::addressof(static_cast<T*>(object)->*Member);
}
template <typename T, auto Member>
using MemberType = std::remove_cvref_t<decltype(std::declval<T&>().*Member)>;

// Stands for a value of any type in the brace-initialisation of an aggregate; never called.
struct AnyMember {
    template <typename T>
    operator T() const;
};
template <typename T, std::size_t... Indexes>
[[nodiscard]] constexpr bool takesMembers(std::index_sequence<Indexes...>) {
    return requires {
        T{(static_cast<void>(Indexes), AnyMember())...};
    };
}
template <typename T>
[[nodiscard]] constexpr std::size_t omittedMembers() {
    if constexpr (requires { T::OmittedMembers::count; })
        return static_cast<std::size_t>(T::OmittedMembers::count);
    else
        return 0;
}
// An aggregate of n members can be initialised with n values, but not with n + 1.
template <typename T, std::size_t... Indexes>
[[nodiscard]] constexpr bool listsEveryMember(std::index_sequence<Indexes...>) {
    constexpr std::size_t count = sizeof...(Indexes) + omittedMembers<T>();
    if constexpr (std::is_aggregate_v<T>)
        return takesMembers<T>(std::make_index_sequence<count>()) &&
               !takesMembers<T>(std::make_index_sequence<count + 1>());
    else
        return true;
}

template <typename T>
concept StrictRecord = requires {
    std::span<const JSONMember>(T::members);
};

template <typename E>
std::vector<std::string_view> rawValuesOf() {
    std::vector<std::string_view> texts;
    for (const auto& [value, text] : RawValues<E>::values)
        texts.push_back(text);
    return texts;
}

template <typename T, typename Descriptors>
struct FieldTable;
template <typename T, template <typename...> typename List, typename... D>
struct FieldTable<T, List<D...>> {
    static_assert(
        listsEveryMember<T>(std::make_index_sequence<sizeof...(D)>()),
        "QUORVEL_RECORD does not list every member of this record, or QUORVEL_RECORD_EXCEPT too many");
    static constexpr Field fields[] = {
        {D::name, &memberOf<T, D::pointer>, &typeOf<MemberType<T, D::pointer>>}...};
};
template <typename T>
using FieldTableOf = FieldTable<T, boost::describe::describe_members<T, boost::describe::mod_public>>;

template <typename T>
[[nodiscard]] constexpr Record makeRecord() {
    Record record{FieldTableOf<T>::fields, JSONAliases<T>::values, {}};
    if constexpr (StrictRecord<T>) {
        static_assert(std::ranges::all_of(T::members,
                                          [](const JSONMember& member) {
                                              return std::ranges::any_of(FieldTableOf<T>::fields,
                                                                         [&](const Field& field) {
                                                                             return field.name == member.name;
                                                                         });
                                          }),
                      "the table `members` names a member that this record does not have");
        record.members = T::members;
        record.clear = [](void* object) { *static_cast<T*>(object) = T{}; };
    }
    return record;
}

template <typename T>
[[nodiscard]] constexpr Type makeType() {
    const auto plain = [](Kind kind) {
        return Type{.kind = kind, .read = &readAny<T>, .write = &writeAny<T>};
    };
    if constexpr (std::same_as<T, bool>) {
        return plain(Kind::boolean);
    } else if constexpr (std::integral<T>) {
        return plain(Kind::integer);
    } else if constexpr (std::floating_point<T>) {
        return plain(Kind::number);
    } else if constexpr (std::same_as<T, std::string>) {
        return plain(Kind::string);
    } else if constexpr (std::same_as<T, Date>) {
        return plain(Kind::date);
    } else if constexpr (std::same_as<T, JSONValue>) {
        return plain(Kind::value);
    } else if constexpr (HasRawValues<T>) {
        Type type = plain(Kind::enumeration);
        type.rawValues = &rawValuesOf<T>;
        return type;
    } else if constexpr (isOptional<T>) {
        Type type = plain(Kind::optional);
        type.inner = &typeOf<typename T::value_type>;
        type.reset = [](void* place) { static_cast<T*>(place)->reset(); };
        type.hasValue = [](const void* place) { return static_cast<const T*>(place)->has_value(); };
        return type;
    } else if constexpr (isVector<T>) {
        Type type = plain(Kind::array);
        type.inner = &typeOf<typename T::value_type>;
        return type;
    } else if constexpr (isMap<T>) {
        Type type = plain(Kind::map);
        type.inner = &typeOf<typename T::mapped_type>;
        return type;
    } else {
        static_assert(DescribedRecord<T>, "describe this record with QUORVEL_RECORD");
        Type type = plain(Kind::record);
        type.record = &recordOf<T>;
        return type;
    }
}

template <typename T>
void readAny(Reader& reader, void* place) {
    T& value = *static_cast<T*>(place);
    if constexpr (std::same_as<T, bool>) {
        readBoolean(reader, value);
    } else if constexpr (std::integral<T>) {
        value = static_cast<T>(readInteger(reader, static_cast<std::int64_t>(std::numeric_limits<T>::min()),
                                           sizeof(T) == 8
                                               ? std::numeric_limits<std::int64_t>::max()
                                               : static_cast<std::int64_t>(std::numeric_limits<T>::max())));
    } else if constexpr (std::floating_point<T>) {
        readNumber(reader, value);
    } else if constexpr (std::same_as<T, std::string>) {
        readString(reader, value);
    } else if constexpr (std::same_as<T, Date>) {
        readDate(reader, value);
    } else if constexpr (std::same_as<T, JSONValue>) {
        readValue(reader, value);
    } else if constexpr (HasRawValues<T>) {
        const std::string_view raw = readStringView(reader);
        const auto known = fromRawValue<T>(raw);
        if (!known) failUnknownRawValue(reader, raw);
        value = *known;
    } else if constexpr (isOptional<T>) {
        if (readNull(reader))
            value.reset();
        else
            readAny<typename T::value_type>(reader, &value.emplace());
    } else if constexpr (isVector<T>) {
        value.clear();
        readArray(reader, &value, [](Reader& item, void* container) {
            readAny<typename T::value_type>(item, &static_cast<T*>(container)->emplace_back());
        });
    } else if constexpr (isMap<T>) {
        value.clear();
        readMap(reader, &value, [](Reader& item, void* container, std::string_view key) {
            readAny<typename T::mapped_type>(item, &(*static_cast<T*>(container))[std::string(key)]);
        });
    } else {
        static_assert(DescribedRecord<T>, "describe this record with QUORVEL_RECORD");
        readRecord(reader, &value, recordOf<T>);
    }
}

template <typename T>
void writeAny(Writer& writer, const void* place) {
    const T& value = *static_cast<const T*>(place);
    if constexpr (std::same_as<T, bool>) {
        writer.boolean(value);
    } else if constexpr (std::integral<T>) {
        writer.integer(static_cast<std::int64_t>(value));
    } else if constexpr (std::floating_point<T>) {
        writer.number(value);
    } else if constexpr (std::same_as<T, std::string>) {
        writer.string(value);
    } else if constexpr (std::same_as<T, Date>) {
        writer.string(formatISO8601(value));
    } else if constexpr (std::same_as<T, JSONValue>) {
        writeValue(writer, value);
    } else if constexpr (HasRawValues<T>) {
        writer.string(rawValue(value));
    } else if constexpr (isOptional<T>) {
        if (value)
            writeAny<typename T::value_type>(writer, &*value);
        else
            writer.null();
    } else if constexpr (isVector<T>) {
        writer.begin('[');
        for (const auto& item : value) {
            writer.item();
            writeAny<typename T::value_type>(writer, &item);
        }
        writer.end(']');
    } else if constexpr (isMap<T>) {
        writer.begin('{');
        for (const auto& [key, member] : value) {
            writer.key(key);
            writeAny<typename T::mapped_type>(writer, &member);
        }
        writer.end('}');
    } else {
        static_assert(DescribedRecord<T>, "describe this record with QUORVEL_RECORD");
        writeRecord(writer, &value, recordOf<T>);
    }
}

} // namespace json
} // namespace quorvel
