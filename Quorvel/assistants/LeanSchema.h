// Schemas short enough to be part of every conversation with an assistant.
#pragma once

#include "Platform/json/JSONValue.h"

#include <span>
#include <string_view>

namespace quorvel {

/// The schema of a tool's arguments: the members of an action's request that `shown` names, in its order,
/// with their descriptions.
[[nodiscard]] JSONValue argumentsSchema(const JSONValue& request, std::span<const std::string_view> shown);

/// The schema of a tool's result, which names each member once: those that are always there as required, the
/// others as properties.
[[nodiscard]] JSONValue leanSchema(const JSONValue& result);
/// Adds members to a schema.
void addRequired(JSONValue& schema, std::string_view member);
void addOptional(JSONValue& schema, std::string_view member, std::string_view type);

/// The schema of a member of a result; an empty object where there is none.
[[nodiscard]] JSONValue memberSchema(const JSONValue& schema, std::string_view member);

} // namespace quorvel
