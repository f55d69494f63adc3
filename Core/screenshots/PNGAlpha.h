// Pictures whose alpha channel says nothing, and copies of them without it.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string_view>

namespace quorvel {

/// What is said about a picture that really is transparent.
inline constexpr std::string_view transparentText =
    "has transparent pixels, which App Store Connect refuses. Export it without transparency.";

/// Whether every pixel of a PNG file is opaque. Throws `ImageError` when it cannot be decoded.
[[nodiscard]] bool isOpaque(const std::filesystem::path& png);

/// Writes a copy of an opaque PNG file without its alpha channel: the pixels, their depth, the colour profile
/// and what else the file says stay; a palette becomes true colour. The same file always gives the same
/// bytes. Throws `ImageError` when a pixel is not opaque, the file cannot be decoded, or the copy not be
/// written.
void writeWithoutAlpha(const std::filesystem::path& png, const std::filesystem::path& copy);

/// Copies that are sent in place of files, in a folder of their own that goes with this object. Thread-safe
/// for different files.
class TemporaryCopies {
  public:
    /// Throws `ImageError` when there is no place for them.
    TemporaryCopies();
    ~TemporaryCopies();
    TemporaryCopies(const TemporaryCopies&) = delete;
    TemporaryCopies& operator=(const TemporaryCopies&) = delete;

    /// Where the copy with this number may be written, under the name of the file.
    [[nodiscard]] std::filesystem::path place(std::size_t number, const std::filesystem::path& file) const;

  private:
    std::filesystem::path folder_;
};

} // namespace quorvel
