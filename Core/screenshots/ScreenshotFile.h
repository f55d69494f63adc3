// A screenshot's file as it is when a push begins with it.
#pragma once

#include "Core/screenshots/ScreenshotPushScanner.h"
#include "Platform/files/Files.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

namespace quorvel {

/// One file that cannot be sent; the text is what is said about it.
class ScreenshotFileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The MD5 digest of a file in lower-case hexadecimal, read in pieces of 1,048,576 bytes. Throws
/// `ScreenshotFileError` when it cannot be read, and `CancellationError`.
[[nodiscard]] std::string fileChecksum(const std::filesystem::path& file);

/// Notices when a file is changed between its first look and the last.
class ScreenshotFile {
  public:
    /// Throws `ScreenshotFileError` when there is no such regular file, or an empty one.
    explicit ScreenshotFile(std::filesystem::path path);

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] std::uint64_t size() const { return stamp_.size; }
    /// Throws `ScreenshotFileError` when the file is no longer the one of the first look.
    void requireUnchanged() const;
    /// Throws `ScreenshotFileError` when the file has no `length` bytes from `offset` on.
    void requireBytes(std::int64_t offset, std::int64_t length) const;

  private:
    struct Stamp {
        std::uint64_t size = 0;
        std::filesystem::file_time_type changed;
        std::optional<FileIdentity> identity;
        bool operator==(const Stamp&) const = default;
    };
    [[nodiscard]] static Stamp look(const std::filesystem::path& path);

    std::filesystem::path path_;
    Stamp stamp_;
};

/// Throws `ScreenshotFileError` when a file cannot be opened for reading.
void requireReadable(const std::filesystem::path& file);

/// Why no file of this name can be sent; nothing when it can.
[[nodiscard]] std::optional<std::string> problemOfAssetName(const ScreenshotPushItem& item);

enum class PictureCheck { full, none };

/// What becomes of an alpha channel, which App Store Connect takes in no picture.
enum class AlphaChannel {
    refused,
    dropped, // in a copy that is sent, where every pixel is opaque
};

struct PictureProblem {
    std::string text;
    bool isOnlyAlphaChannel = false; // which could be dropped
};

/// Why a screenshot cannot be sent: an unreadable or empty file or a name that no text can hold, and with a
/// full check also a picture that is damaged, mislabelled, of a size that its display type does not take, or
/// has an alpha channel that is refused. Nothing when it can. Throws `CancellationError`.
[[nodiscard]] std::optional<PictureProblem> problemOf(const ScreenshotPushItem& item, PictureCheck check,
                                                      AlphaChannel alpha = AlphaChannel::refused);

} // namespace quorvel
