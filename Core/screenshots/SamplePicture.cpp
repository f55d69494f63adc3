#include "Core/screenshots/SamplePicture.h"

#include "Core/screenshots/PNGChecksum.h"

#include <zlib.h>

#include <algorithm>
#include <new>
#include <string_view>

namespace quorvel {

namespace {

constexpr std::uint32_t pixelsPerByte = 4; // two bits each

std::string bigEndian(std::uint32_t value) {
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
            static_cast<char>(value)};
}

std::string chunk(std::string_view type, std::string_view data) {
    const std::string body = std::string(type) + std::string(data);
    return bigEndian(static_cast<std::uint32_t>(data.size())) + body + bigEndian(pngChecksum(body));
}

std::string compressed(const std::string& bytes) {
    uLongf length = ::compressBound(bytes.size());
    std::string out(length, '\0');
    // With room for the bound only a lack of memory is left to fail.
    if (::compress(reinterpret_cast<Bytef*>(out.data()), &length,
                   reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()) != Z_OK)
        throw std::bad_alloc();
    out.resize(length);
    return out;
}

// One line of packed pixels: a frame and, where `tiles` is not 0, that many tiles.
std::string line(std::uint32_t width, std::uint8_t colour, unsigned tiles) {
    const std::uint32_t length = (width + pixelsPerByte - 1) / pixelsPerByte;
    std::string pixels(length, static_cast<char>(colour * 0x55));
    const std::uint32_t step = length / (2 * tiles + 1);
    for (unsigned tile = 0; step > 0 && tile < tiles; ++tile)
        pixels.replace((2 * tile + 1) * step, step, step, static_cast<char>(3 * 0x55));
    return pixels;
}

std::string palette(unsigned number) {
    std::string colours;
    for (unsigned at = 0; at < 3; ++at)
        for (const unsigned factor : {37U, 71U, 113U})
            colours.push_back(static_cast<char>((number * factor + at * 61 + 90) % 256));
    return colours + "\xFF\xFF\xFF";
}

} // namespace

std::string samplePicture(PixelSize size, unsigned number) {
    std::string raw, before;
    const std::uint32_t band = std::max(size.height / 6, 1U);
    for (std::uint32_t y = 0; y < size.height; ++y) {
        const std::uint32_t at = y / band;
        const std::string now =
            line(size.width, static_cast<std::uint8_t>(at % 3), at == 2 ? number % 10 : 0);
        // A line like the one before is its difference to that: nothing.
        raw += now == before ? std::string(1, '\2') + std::string(now.size(), '\0') : '\0' + now;
        before = now;
    }
    const std::string header = bigEndian(size.width) + bigEndian(size.height) + std::string("\2\3\0\0\0", 5);
    return "\x89PNG\r\n\x1a\n" + chunk("IHDR", header) + chunk("PLTE", palette(number)) +
           chunk("IDAT", compressed(raw)) + chunk("IEND", "");
}

} // namespace quorvel
