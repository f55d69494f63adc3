#include "Tests/support/SampleVideo.h"

#include <cmath>

namespace quorvel::test {

namespace {

constexpr std::uint32_t timeScale = 600; // units of a second

std::string number(std::uint64_t value, std::size_t bytes = 4) {
    std::string text;
    for (std::size_t at = bytes; at-- > 0;)
        text += static_cast<char>(value >> (8 * at));
    return text;
}

std::string zeros(std::size_t count) {
    std::string text;
    text.resize(count);
    return text;
}

// The beginning that mvhd and mdhd have in common.
std::string times(const VideoTraits& traits) {
    const auto duration = static_cast<std::uint64_t>(std::lround(traits.seconds * timeScale));
    return traits.isLong ? number(1, 1) + zeros(3) + zeros(16) + number(timeScale) + number(duration, 8)
                         : zeros(4) + zeros(8) + number(timeScale) + number(duration);
}

std::string trackHeader(const VideoTraits& traits, bool isVideo) {
    const std::string one = number(0x10000), minusOne = number(0xFFFF0000), none = number(0);
    const std::string matrix = traits.isTurned && isVideo ? none + one + none + minusOne + none + none
                                                          : one + none + none + none + one + none;
    const std::string ids = traits.isLong ? zeros(16) + number(1) + zeros(4) + zeros(8)
                                          : zeros(8) + number(1) + zeros(4) + zeros(4);
    const std::string size = isVideo ? number(traits.width << 16) + number(traits.height << 16) : none + none;
    return box("tkhd", number(traits.isLong ? 1 : 0, 1) + zeros(3) + ids + zeros(16) + matrix + none + none +
                           number(0x40000000) + size);
}

std::string track(const VideoTraits& traits, bool isVideo) {
    const auto frames = static_cast<std::uint64_t>(std::lround(traits.seconds * traits.framesPerSecond));
    const std::string picture = zeros(24) + number(traits.width, 2) + number(traits.height, 2) + zeros(50);
    const std::string format = isVideo ? box(traits.codec, picture) : box("mp4a", zeros(28));
    const std::string table = box("stsd", zeros(4) + number(1) + format) +
                              box("stsz", zeros(4) + zeros(4) + number(isVideo ? frames : 900));
    const std::string handler = zeros(8) + (isVideo ? "vide" : "soun") + zeros(13);
    return box("trak", trackHeader(traits, isVideo) +
                           box("mdia", box("mdhd", times(traits) + zeros(4)) + box("hdlr", handler) +
                                           box("minf", box("stbl", table))));
}

} // namespace

std::string box(std::string_view type, std::string_view content) {
    return number(content.size() + 8) + std::string(type) + std::string(content);
}

std::string sampleVideo(const VideoTraits& traits) {
    std::string pictures(traits.bytes, static_cast<char>('a' + traits.number % 26));
    pictures += number(traits.number);
    const std::string data = traits.isLong ? number(1) + "mdat" + number(pictures.size() + 16, 8) + pictures
                                           : box("mdat", pictures);
    const std::string movie =
        box("moov", box("mvhd", times(traits) + zeros(80)) + (traits.hasSound ? track(traits, false) : "") +
                        track(traits, true));
    const std::string type = traits.brand.empty() ? "" : box("ftyp", std::string(traits.brand) + zeros(4));
    return type + data + movie;
}

} // namespace quorvel::test
