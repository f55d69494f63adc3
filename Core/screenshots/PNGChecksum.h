// The check sum of PNG chunks.
#pragma once

#include <cstdint>
#include <string_view>

namespace quorvel {

/// The CRC of RFC 2083, appendix 15, bit by bit: only short chunks are checked or made.
[[nodiscard]] constexpr std::uint32_t pngChecksum(std::string_view bytes) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320U : 0);
    }
    return ~crc;
}

} // namespace quorvel
