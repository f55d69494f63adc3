// The one JSON codec: records described in one line are decoded from and encoded to text.
//
//     struct Person {
//         std::string name;               // required
//         std::optional<int> age;         // absent or null: empty; left out when empty
//         QUORVEL_RECORD(Person, name, age)
//     };
//     auto person = decodeJSON<Person>(text);   // throws JSONError("$.name: missing")
//     auto again = encodeJSON(person);
#pragma once

#include "Platform/json/JSONFields.h"

#include <string>
#include <string_view>

namespace quorvel {

/// Decodes `text` as one JSON document into a `T`. Unknown members are ignored, except in records with a
/// table `members`. Throws `JSONError`.
template <typename T>
[[nodiscard]] T decodeJSON(std::string_view text) {
    T result{};
    json::decodeText(text, &result, json::typeOf<T>);
    return result;
}

/// Encodes `value`; empty optionals are left out, "/" is not escaped, doubles take their shortest plain form.
template <typename T>
[[nodiscard]] std::string encodeJSON(const T& value, JSONFormat format = {}) {
    json::Writer writer(format);
    json::typeOf<T>.write(writer, &value);
    return writer.take();
}

} // namespace quorvel
