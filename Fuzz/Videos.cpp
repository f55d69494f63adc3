// Any bytes as a video: a header of a video that has a size, or a few words about what is wrong, after a
// bounded number of short reads; and the same bytes as a poster frame's time code.
#include "Core/screenshots/previews/PosterFrame.h"
#include "Core/screenshots/previews/VideoHeader.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace quorvel;
    std::size_t reads = 0;
    const ImageBytes bytes{size, [&](std::uint64_t offset, std::span<char> buffer) -> std::size_t {
                               if (++reads > 200'000) std::abort();
                               if (offset >= size) return 0;
                               const auto count = std::min<std::size_t>(buffer.size(), size - offset);
                               std::memcpy(buffer.data(), data + offset, count);
                               return count;
                           }};
    try {
        const VideoHeader header = readVideoHeader(bytes);
        if (header.size.width == 0 || header.size.height == 0 || header.codec.size() != 4) std::abort();
        if (header.seconds && !(*header.seconds > 0)) std::abort();
    } catch (const VideoError& error) {
        if (std::strlen(error.what()) == 0) std::abort();
    }
    if (const auto code = timeCodeOf({reinterpret_cast<const char*>(data), size}))
        if (timeCodeOf(*code) != code || !(secondsOfTimeCode(*code) >= 0)) std::abort();
    return 0;
}
