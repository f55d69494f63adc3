// Schemas short enough to be part of every conversation with an assistant.
#pragma once

#include "Platform/json/JSONValue.h"

#include <span>
#include <string_view>

namespace quorvel {

/// The schema of a tool's arguments: the members of an action's request that `shown` names, in its order,
/// with their descriptions.
[[nodiscard]] JSONValue argumentsSchema(const JSONValue& request, std::span<const std::string_view> shown);

/// The schema of a tool's result, which names the members that are always there. What results of all tools
/// may hold beside them ("notice", "total", "more") is told once, in the server's instructions.
[[nodiscard]] JSONValue leanSchema(const JSONValue& result);

/// Adds an argument to a schema.
void addArgument(JSONValue& schema, std::string_view member, std::string_view type);

/// The schema of a member of a result; an empty object where there is none.
[[nodiscard]] JSONValue memberSchema(const JSONValue& schema, std::string_view member);

} // namespace quorvel
