// The check sum of PNG chunks.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <string_view>

namespace quorvel {

/// The CRC of RFC 2083, appendix 15; `before` is that of the bytes before these.
[[nodiscard]] inline std::uint32_t pngChecksum(std::string_view bytes, std::uint32_t before = 0) {
    return static_cast<std::uint32_t>(
        ::crc32_z(before, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

} // namespace quorvel
