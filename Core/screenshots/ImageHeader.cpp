#include "Core/screenshots/ImageHeader.h"

#include "Core/screenshots/PNGChecksum.h"
#include "Platform/files/FileDescriptor.h"
#include "Platform/task/Task.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

namespace quorvel {

namespace {

constexpr std::string_view pngSignature = "\x89PNG\r\n\x1a\n";
constexpr std::string_view jpegSignature = "\xFF\xD8\xFF";
constexpr int mostChunks = 100'000; // of a PNG; beyond, its end is not looked for
constexpr int mostSegments = 4'000; // of a JPEG before its frame header

std::uint32_t bigEndian(std::string_view bytes) {
    std::uint32_t number = 0;
    for (const char byte : bytes)
        number = number << 8 | static_cast<std::uint8_t>(byte);
    return number;
}

[[noreturn]] void failDamaged(std::string_view format, std::string_view problem) {
    throw ImageError(fmt::format("is damaged: {}. Export it again as a {} image.", problem, format));
}

class Reader {
  public:
    Reader(const ImageBytes& bytes, std::string_view format) : bytes_(bytes), format_(format) {}

    // Exactly `Count` bytes; valid until the next call.
    template <std::size_t Count>
    std::string_view take(std::uint64_t offset) {
        static_assert(Count <= sizeof buffer_);
        if (bytes_.read(offset, std::span(buffer_.data(), Count)) != Count)
            failDamaged(format_, "it ends early");
        return {buffer_.data(), Count};
    }

  private:
    const ImageBytes& bytes_;
    std::string_view format_;
    std::array<char, 32> buffer_{};
};

// The colour types of PNG with the bit depths that each allows, as a bit per depth.
bool isPNGColour(unsigned colourType, unsigned depth) {
    switch (colourType) {
    case 0:
        return depth == 1 || depth == 2 || depth == 4 || depth == 8 || depth == 16;
    case 3:
        return depth == 1 || depth == 2 || depth == 4 || depth == 8;
    case 2:
    case 4:
    case 6:
        return depth == 8 || depth == 16;
    default:
        return false;
    }
}

ImageHeader readPNGFrame(Reader& reader) {
    // Length, type, thirteen bytes and their check sum.
    const std::string_view chunk = reader.take<25>(pngSignature.size());
    if (bigEndian(chunk.substr(0, 4)) != 13 || chunk.substr(4, 4) != "IHDR")
        failDamaged("PNG", "it does not begin with its header");
    if (pngChecksum(chunk.substr(4, 17)) != bigEndian(chunk.substr(21, 4)))
        failDamaged("PNG", "the check sum of its header is wrong");
    const auto byteAt = [&](std::size_t at) { return static_cast<std::uint8_t>(chunk[at]); };
    const ImageHeader header{.format = ImageFormat::png,
                             .size = {bigEndian(chunk.substr(8, 4)), bigEndian(chunk.substr(12, 4))},
                             .alpha =
                                 byteAt(17) == 4 || byteAt(17) == 6 ? ImageAlpha::present : ImageAlpha::none};
    constexpr std::uint32_t largest = 0x7FFFFFFF;
    if (header.size.width == 0 || header.size.height == 0 || header.size.width > largest ||
        header.size.height > largest || !isPNGColour(byteAt(17), byteAt(16)))
        failDamaged("PNG", "its header makes no sense");
    return header;
}

// A chunk whose type and data begin at `offset`; its check sum follows them.
void requirePNGChecksum(const ImageBytes& bytes, std::uint64_t offset, std::uint64_t length) {
    std::vector<char> piece(std::min<std::uint64_t>(length, 256 << 10));
    std::uint32_t checksum = 0;
    Reader reader(bytes, "PNG");
    for (std::uint64_t done = 0; done < length;) {
        checkCancellation();
        const std::span part(piece.data(),
                             static_cast<std::size_t>(std::min<std::uint64_t>(piece.size(), length - done)));
        if (bytes.read(offset + done, part) != part.size()) failDamaged("PNG", "it ends early");
        checksum = pngChecksum({part.data(), part.size()}, checksum);
        done += part.size();
    }
    if (bigEndian(reader.take<4>(offset + length)) != checksum)
        failDamaged("PNG", "a check sum of its data is wrong");
}

// Goes from chunk to chunk, as a copy that broke off shows only at the end of the file.
ImageHeader readPNG(const ImageBytes& bytes, ImageReading reading) {
    Reader reader(bytes, "PNG");
    ImageHeader header = readPNGFrame(reader);
    constexpr std::uint64_t framing = 12; // of a chunk: length, type and check sum
    std::uint64_t offset = pngSignature.size() + 25;
    bool hasData = false;
    for (int chunks = 0; chunks < mostChunks; ++chunks) {
        const std::string_view head = reader.take<8>(offset);
        const std::string_view type = head.substr(4);
        if (type == "tRNS") header.alpha = ImageAlpha::present;
        if (type == "IDAT") hasData = true;
        const bool isEnd = type == "IEND";
        const std::uint64_t length = bigEndian(head.substr(0, 4)), begin = offset + 4;
        offset += framing + length;
        if (offset > bytes.size) failDamaged("PNG", "it ends early");
        if (reading == ImageReading::whole) requirePNGChecksum(bytes, begin, 4 + length);
        if (isEnd) {
            if (!hasData) failDamaged("PNG", "it holds no picture");
            return header;
        }
    }
    return header;
}

// Start-of-frame markers; those between are tables and an extension.
bool isFrameMarker(unsigned marker) {
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

// Anything may follow the end marker, but never much.
void requireJPEGEnd(const ImageBytes& bytes) {
    constexpr std::uint64_t searched = 64 << 10;
    std::array<char, searched> tail{};
    const std::uint64_t start = bytes.size > searched ? bytes.size - searched : 0;
    const std::size_t count = bytes.read(start, tail);
    if (std::string_view(tail.data(), count).find("\xFF\xD9") == std::string_view::npos)
        failDamaged("JPEG", "it ends early");
}

ImageHeader readJPEG(const ImageBytes& bytes) {
    Reader reader(bytes, "JPEG");
    std::uint64_t offset = 2;
    for (int segments = 0; segments < mostSegments; ++segments) {
        const std::string_view head = reader.take<4>(offset);
        if (static_cast<std::uint8_t>(head[0]) != 0xFF) failDamaged("JPEG", "a segment is missing");
        const unsigned marker = static_cast<std::uint8_t>(head[1]);
        if (marker == 0xFF) { // a fill byte
            ++offset;
            continue;
        }
        if (marker == 0xD9 || marker == 0xDA) break; // the picture itself, without a frame header
        if (isFrameMarker(marker)) {
            const std::string_view frame = reader.take<9>(offset);
            const ImageHeader header{.format = ImageFormat::jpeg,
                                     .size = {bigEndian(frame.substr(7, 2)), bigEndian(frame.substr(5, 2))}};
            if (header.size.width == 0 || header.size.height == 0)
                failDamaged("JPEG", "its header makes no sense");
            requireJPEGEnd(bytes);
            return header;
        }
        const std::uint32_t length = bigEndian(head.substr(2, 2));
        if (length < 2) failDamaged("JPEG", "a segment has no length");
        offset += 2 + length;
    }
    failDamaged("JPEG", "its header is missing");
}

FileDescriptor openPicture(const std::filesystem::path& file) {
    // Without O_NONBLOCK opening a pipe would wait for its writer.
    FileDescriptor descriptor(
        uninterrupted([&] { return ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
    if (!descriptor.isOpen())
        throw ImageError(fmt::format("cannot be read: {}", std::generic_category().message(errno)));
    return descriptor;
}

} // namespace

ImageHeader readImageHeader(const ImageBytes& bytes, ImageReading reading) {
    if (bytes.size == 0) throw ImageError("is empty. Export it again.");
    std::array<char, 8> start{};
    const std::string_view signature(start.data(), bytes.read(0, start));
    if (signature == pngSignature) return readPNG(bytes, reading);
    if (signature.starts_with(jpegSignature)) return readJPEG(bytes);
    throw ImageError("is no PNG or JPEG image. Export it as one.");
}

ImageHeader imageHeaderOf(std::string_view bytes, ImageReading reading) {
    return readImageHeader(ImageBytes{bytes.size(),
                                      [&](std::uint64_t offset, std::span<char> buffer) -> std::size_t {
                                          if (offset >= bytes.size()) return 0;
                                          return bytes.substr(offset).copy(buffer.data(), buffer.size());
                                      }},
                           reading);
}

ImageBytes openImageBytes(const std::filesystem::path& file) {
    const auto descriptor = std::make_shared<const FileDescriptor>(openPicture(file));
    struct stat status {};
    if (::fstat(descriptor->number(), &status) != 0 || !S_ISREG(status.st_mode))
        throw ImageError("is not a regular file.");
    return {static_cast<std::uint64_t>(status.st_size),
            [descriptor](std::uint64_t offset, std::span<char> buffer) -> std::size_t {
                std::size_t filled = 0;
                while (filled < buffer.size()) {
                    const auto count = uninterrupted([&] {
                        return ::pread(descriptor->number(), buffer.data() + filled, buffer.size() - filled,
                                       static_cast<off_t>(offset + filled));
                    });
                    if (count < 0)
                        throw ImageError(
                            fmt::format("cannot be read: {}", std::generic_category().message(errno)));
                    if (count == 0) break;
                    filled += static_cast<std::size_t>(count);
                }
                return filled;
            }};
}

ImageHeader readImageHeader(const std::filesystem::path& file, ImageReading reading) {
    return readImageHeader(openImageBytes(file), reading);
}

} // namespace quorvel
