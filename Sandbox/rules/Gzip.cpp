#include "Sandbox/rules/Gzip.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace quorvel::sandbox {
namespace {

constexpr std::array<std::uint32_t, 256> crcTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < table.size(); ++i) {
        std::uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit)
            value = value & 1 ? 0xEDB88320U ^ (value >> 1) : value >> 1;
        table[i] = value;
    }
    return table;
}();

std::uint32_t crc32(std::string_view bytes) {
    std::uint32_t crc = 0xFFFFFFFFU;
    for (const char c : bytes)
        crc = crcTable[(crc ^ static_cast<unsigned char>(c)) & 0xFF] ^ (crc >> 8);
    return ~crc;
}

void appendLittleEndian(std::string& text, std::uint32_t value, int count) {
    for (int i = 0; i < count; ++i)
        text += static_cast<char>((value >> (8 * i)) & 0xFF);
}

} // namespace

std::string gzip(std::string_view bytes) {
    constexpr std::size_t largestBlock = 65'535;
    std::string member("\x1f\x8b\x08\0\0\0\0\0\0\xff", 10);
    std::string_view rest = bytes;
    do {
        const std::string_view block = rest.substr(0, largestBlock);
        rest.remove_prefix(block.size());
        const auto length = static_cast<std::uint32_t>(block.size());
        member += rest.empty() ? '\1' : '\0';
        appendLittleEndian(member, length, 2);
        appendLittleEndian(member, ~length, 2);
        member += block;
    } while (!rest.empty());
    appendLittleEndian(member, crc32(bytes), 4);
    appendLittleEndian(member, static_cast<std::uint32_t>(bytes.size()), 4);
    return member;
}

} // namespace quorvel::sandbox
