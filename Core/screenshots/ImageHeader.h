// What the first bytes of a picture tell: its format, its size in pixels, and whether it is transparent.
#pragma once

#include "Core/screenshots/ScreenshotDisplayType.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <span>
#include <stdexcept>
#include <string_view>

namespace quorvel {

enum class ImageFormat { png, jpeg };
enum class ImageAlpha { none, present };

struct ImageHeader {
    ImageFormat format = ImageFormat::png;
    PixelSize size;
    ImageAlpha alpha = ImageAlpha::none;
    bool operator==(const ImageHeader&) const = default;
};

/// A picture that cannot be used; the text is the end of a sentence about the file ("is damaged: …").
class ImageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The bytes of a picture, wherever they are: `read` fills the buffer from an offset as far as there are
/// bytes and returns how many there were.
struct ImageBytes {
    std::uint64_t size = 0;
    std::function<std::size_t(std::uint64_t offset, std::span<char> buffer)> read;
};

/// The bytes of a file, which stays open as long as they are wanted. Throws `ImageError`, also later, when it
/// cannot be read or is no regular file.
[[nodiscard]] ImageBytes openImageBytes(const std::filesystem::path& file);

enum class ImageReading {
    header, // a few bytes at a time and a bounded number of times, however large the picture is
    whole,  // also all check sums, which only PNG has
};

/// Reads the header of a PNG or JPEG picture. Throws `ImageError` for other formats and for pictures that are
/// damaged or end early, and `CancellationError`.
[[nodiscard]] ImageHeader readImageHeader(const ImageBytes& bytes,
                                          ImageReading reading = ImageReading::header);
/// The same for a file; throws `ImageError` also when it cannot be read or is no regular file.
[[nodiscard]] ImageHeader readImageHeader(const std::filesystem::path& file,
                                          ImageReading reading = ImageReading::header);
/// The same for bytes in memory.
[[nodiscard]] ImageHeader imageHeaderOf(std::string_view bytes, ImageReading reading = ImageReading::header);

} // namespace quorvel
