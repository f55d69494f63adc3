// Videos for tests: the boxes that tell what a video is, and bytes that nobody plays.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quorvel::test {

/// What a video tells of itself.
struct VideoTraits {
    std::uint32_t width = 886;
    std::uint32_t height = 1920;
    double seconds = 20;
    double framesPerSecond = 30;
    std::string_view codec = "avc1";
    std::string_view brand = "mp42"; // empty: an old QuickTime file without ftyp
    bool isTurned = false;           // by the track's matrix
    bool isLong = false;             // with 64-bit times and lengths
    bool hasSound = true;            // in a track before the pictures'
    std::size_t bytes = 3'000;       // of its pictures
    unsigned number = 0;             // tells it from others
};

/// A box: its length, its type and what it holds.
[[nodiscard]] std::string box(std::string_view type, std::string_view content);

[[nodiscard]] std::string sampleVideo(const VideoTraits& traits = {});

} // namespace quorvel::test
