// JSON Schema (draft 2020-12) from the same descriptions that the codec uses.
#pragma once

#include "Platform/json/JSONFields.h"

namespace quorvel {

namespace json {

[[nodiscard]] JSONValue schemaOf(const Type& type);

} // namespace json

/// The schema of a `T` as JSON: properties in declaration order, with the texts of the record's table
/// `members` where it has one. A record inside itself is described as any object there. No "$schema" member.
template <typename T>
[[nodiscard]] JSONValue jsonSchema() {
    return json::schemaOf(json::typeOf<T>);
}

} // namespace quorvel
