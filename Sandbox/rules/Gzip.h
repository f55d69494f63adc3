// Gzip members without compression, as reports are served.
#pragma once

#include <string>
#include <string_view>

namespace quorvel::sandbox {

/// `bytes` as one gzip member of stored blocks (RFC 1952).
[[nodiscard]] std::string gzip(std::string_view bytes);

} // namespace quorvel::sandbox
