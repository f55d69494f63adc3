// Whether App Store Connect would take a video as a preview.
#pragma once

#include "Core/screenshots/ScreenshotFile.h"

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// The media type of a video by its file's name: "video/quicktime", "video/mp4" or "video/x-m4v".
[[nodiscard]] std::string_view mimeTypeOfVideo(const std::filesystem::path& file);

/// Why a preview cannot be sent: an unreadable or empty file or a name that no text can hold, a poster frame
/// that is none, and with a full check also a video that is damaged, too large, too short or too long, or of
/// a size, codec or frame rate that its display type does not take. Nothing when it can, or when only App
/// Store Connect can tell. Throws `CancellationError`.
[[nodiscard]] std::optional<std::string> problemOfPreview(const ScreenshotPushItem& item, PictureCheck check);

} // namespace quorvel
