// Integers that the parser refuses; for the codec only.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvel::json {

/// `text` with ".0" behind each integer beyond 64 bits, which makes it a double; nothing when there is none.
[[nodiscard]] std::optional<std::string> withLargeIntegersAsDoubles(std::string_view text);

} // namespace quorvel::json
