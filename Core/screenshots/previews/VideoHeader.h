// What the boxes of a video file tell: how long it lasts, its size in pixels, its codec and frame rate.
#pragma once

#include "Core/screenshots/ImageHeader.h"

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

namespace quorvel {

struct VideoHeader {
    PixelSize size;                // as it is shown: turned videos with their sides exchanged
    std::string codec;             // four characters, such as "avc1"
    std::optional<double> seconds; // nothing where the file does not tell
    std::optional<double> framesPerSecond;
    bool operator==(const VideoHeader&) const = default;
};

/// A video that cannot be used; the text is the end of a sentence about the file ("is damaged: …").
class VideoError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Reads the boxes of a QuickTime or MPEG-4 file, a few bytes at a time and a bounded number of times,
/// however large the video is. Throws `VideoError` for other formats and for videos that are damaged, end
/// early or show no picture, and `CancellationError`.
[[nodiscard]] VideoHeader readVideoHeader(const ImageBytes& bytes);
/// The same for a file; throws `VideoError` also when it cannot be read or is no regular file.
[[nodiscard]] VideoHeader readVideoHeader(const std::filesystem::path& file);

} // namespace quorvel
