// The picture of a video that the page shows until it is played.
#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quorvel {

/// The frames that a second of a time code counts.
inline constexpr int framesOfTimeCode = 30;
/// What App Store Connect takes where nobody chose a frame.
inline constexpr std::string_view usualPosterFrame = "00:00:05:00";

/// A poster frame that cannot be used; the text is the end of a sentence about the video.
class PosterFrameError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The time code "HH:MM:SS:FF" of a text that holds such a one, or seconds such as "7" or "7.5"; nothing for
/// any other text.
[[nodiscard]] std::optional<std::string> timeCodeOf(std::string_view text);
/// The seconds from the beginning that a time code "HH:MM:SS:FF" stands for.
[[nodiscard]] double secondsOfTimeCode(std::string_view timeCode);
/// Whether both are the same moment, whatever stands between their numbers.
[[nodiscard]] bool isSameTimeCode(std::string_view left, std::string_view right);

/// The file beside a video that chooses its poster frame: "1.poster.txt" of "1.mp4".
[[nodiscard]] std::filesystem::path posterFileOf(const std::filesystem::path& video);
/// Whether a file's name is that of such a file.
[[nodiscard]] bool isPosterFileName(std::string_view name);

/// The time code that the file beside a video holds; empty where there is none, or a blank one. Throws
/// `PosterFrameError` when it cannot be read or holds something else.
[[nodiscard]] std::string readPosterFrame(const std::filesystem::path& video);

} // namespace quorvel
