// Any bytes as a picture: a header of a picture that has a size, or a few words about what is wrong, after a
// bounded number of short reads.
#include "Core/screenshots/ImageHeader.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace quorvel;
    std::size_t reads = 0;
    const ImageBytes bytes{size, [&](std::uint64_t offset, std::span<char> buffer) -> std::size_t {
                               if (++reads > 110'000) std::abort();
                               if (offset >= size) return 0;
                               const auto count = std::min<std::size_t>(buffer.size(), size - offset);
                               std::memcpy(buffer.data(), data + offset, count);
                               return count;
                           }};
    try {
        const ImageHeader header = readImageHeader(bytes);
        if (header.size.width == 0 || header.size.height == 0) std::abort();
        (void)displayTypesOfSize(header.size);
    } catch (const ImageError& error) {
        if (std::strlen(error.what()) == 0) std::abort();
    }
    return 0;
}
