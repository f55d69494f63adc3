// What the file of a field says: its value, and what is wrong with it.
#pragma once

#include "Core/metadata/FieldType.h"

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// The value of `text` as it is compared and sent: without what editors add around it, and in the spelling of
/// App Store Connect. A text that is no value of the field keeps its own spelling; a store text is its value.
[[nodiscard]] std::string canonicalValue(FieldType field, std::string_view text);

/// Why App Store Connect would refuse `text` as the value of `field`, and what to do, in sentences that begin
/// with the file's name; nothing for a blank text and for what can only be told there.
[[nodiscard]] std::optional<std::string> valueFault(FieldType field, std::string_view text);

} // namespace quorvel
