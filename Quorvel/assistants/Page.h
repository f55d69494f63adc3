// Long results in parts.
#pragma once

#include "Platform/json/JSONValue.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace quorvel {

/// Adds the argument "offset" to a tool's schema, and "total" and "nextOffset" to that of its result.
void addPageMembers(JSONValue& input, JSONValue& output);

/// Takes the argument "offset" away; 0 when there is none. Throws `ApplicationError` for what is no offset.
[[nodiscard]] std::size_t takeOffset(JSONValue& arguments);

/// Leaves of the list `result[list]` what begins at `offset`, at most fifty items and 24 kB, though one item
/// at least; sets "total", and "nextOffset", which is null at the end. Returns a sentence about the page.
/// Throws `ApplicationError` for an offset behind the end.
[[nodiscard]] std::string cutToPage(JSONValue& result, std::string_view list, std::size_t offset);

/// Leaves at most 6 kB of each other list in `result`; returns a sentence about those that were cut.
[[nodiscard]] std::string shortenOtherLists(JSONValue& result, std::string_view list);

} // namespace quorvel
