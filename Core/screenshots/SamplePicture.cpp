#include "Core/screenshots/SamplePicture.h"

#include "Core/screenshots/PNGChecksum.h"

#include <algorithm>
#include <string_view>

namespace quorvel {

namespace {

constexpr std::uint32_t pixelsPerByte = 4; // two bits each
constexpr std::size_t longestMatch = 258;
constexpr std::size_t shortestMatch = 4;

// A stream of RFC 1951 in the codes that are fixed there; only runs of one byte are shortened, which is all
// that a picture of plain areas needs.
class RunDeflater {
  public:
    RunDeflater() {
        bits(1, 1); // the last block
        bits(1, 2); // with the fixed codes
    }
    void bytes(std::string_view text) {
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t end = std::min(text.find_first_not_of(text[at], at), text.size());
            symbol(static_cast<std::uint8_t>(text[at++]));
            while (end - at >= shortestMatch) {
                const std::size_t length = std::min(end - at, longestMatch);
                repeatLast(length);
                at += length;
            }
        }
    }
    [[nodiscard]] std::string finish() {
        symbol(256);
        if (count_ > 0) out_.push_back(static_cast<char>(pending_));
        return std::move(out_);
    }

  private:
    void symbol(unsigned value) {
        if (value < 144)
            code(0x30 + value, 8);
        else if (value < 256)
            code(0x190 + value - 144, 9);
        else if (value < 280)
            code(value - 256, 7);
        else
            code(0xC0 + value - 280, 8);
    }
    void repeatLast(std::size_t length) {
        // The first length, the number of extra bits and the first symbol of each group of lengths.
        struct Group {
            std::size_t first;
            int extra;
            unsigned symbol;
        };
        constexpr Group groups[] = {{258, 0, 285}, {131, 5, 281}, {67, 4, 277}, {35, 3, 273},
                                    {19, 2, 269},  {11, 1, 265},  {3, 0, 257}};
        const Group& group = *std::ranges::find_if(groups, [=](const Group& g) { return length >= g.first; });
        const std::size_t rest = length - group.first;
        symbol(group.symbol + static_cast<unsigned>(rest >> group.extra));
        bits(static_cast<unsigned>(rest & ((1U << group.extra) - 1)), group.extra);
        code(0, 5); // a distance of one byte
    }
    void code(unsigned value, int length) { // most significant bit first
        for (int bit = length - 1; bit >= 0; --bit)
            bits(value >> bit & 1, 1);
    }
    void bits(unsigned value, int length) { // least significant bit first
        for (int bit = 0; bit < length; ++bit) {
            pending_ |= (value >> bit & 1) << count_;
            if (++count_ < 8) continue;
            out_.push_back(static_cast<char>(pending_));
            pending_ = 0;
            count_ = 0;
        }
    }

    std::string out_;
    unsigned pending_ = 0;
    int count_ = 0;
};

std::string bigEndian(std::uint32_t value) {
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
            static_cast<char>(value)};
}

std::string chunk(std::string_view type, std::string_view data) {
    const std::string body = std::string(type) + std::string(data);
    return bigEndian(static_cast<std::uint32_t>(data.size())) + body + bigEndian(pngChecksum(body));
}

std::uint32_t adler32(std::string_view bytes) {
    std::uint32_t low = 1, high = 0;
    for (const char byte : bytes) {
        low = (low + static_cast<std::uint8_t>(byte)) % 65521;
        high = (high + low) % 65521;
    }
    return high << 16 | low;
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
    RunDeflater deflater;
    deflater.bytes(raw);
    const std::string header = bigEndian(size.width) + bigEndian(size.height) + std::string("\2\3\0\0\0", 5);
    return "\x89PNG\r\n\x1a\n" + chunk("IHDR", header) + chunk("PLTE", palette(number)) +
           chunk("IDAT", "\x78\x01" + deflater.finish() + bigEndian(adler32(raw))) + chunk("IEND", "");
}

} // namespace quorvel
