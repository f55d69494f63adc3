// The kinds of screens that screenshots are shown for: their names and pixel sizes.
#pragma once

#include "Core/asc/records/States.h"
#include "Core/screenshots/AssetKind.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

struct PixelSize {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool operator==(const PixelSize&) const = default;

    /// "1290 × 2796".
    [[nodiscard]] std::string text() const;
};

/// Whether a size may also be used with the device turned.
enum class DeviceTurning { allowed, asListed };

/// Whether a display type shows videos as well; its name is then the same without "APP_".
enum class ShowsPreviews { no, yes };

struct ScreenshotDisplayType {
    std::string_view rawValue;               // as App Store Connect names it, such as "APP_IPHONE_67"
    std::string_view label;                  // for people, such as "iPhone 6.7″"
    ASCPlatform platform = ASCPlatform::iOS; // whose versions show it
    DeviceTurning turning = DeviceTurning::allowed;
    std::span<const PixelSize> sizes; // the usual one first
    ShowsPreviews previews = ShowsPreviews::no;
    std::span<const PixelSize> videoSizes = {}; // of previews; none: only App Store Connect knows them

    [[nodiscard]] bool accepts(PixelSize size, AssetKind kind = AssetKind::screenshot) const;
    /// As App Store Connect names it for that kind: "APP_IPHONE_67" or "IPHONE_67".
    [[nodiscard]] std::string_view nameFor(AssetKind kind) const;
};

/// All that are known, those that are usual for a size before others that have it too.
[[nodiscard]] std::span<const ScreenshotDisplayType> allScreenshotDisplayTypes();

/// The display type of that name; nothing when it is not known, or does not show that kind.
[[nodiscard]] const ScreenshotDisplayType* findDisplayType(std::string_view rawValue,
                                                           AssetKind kind = AssetKind::screenshot);

/// The display type that a folder of this name stands for: one of the aliases, or a display type itself,
/// compared without regard to case. Any name that begins with "APP_" is taken as it is, as App Store Connect
/// may know more types than we do. Nothing for other names. Of previews the name is without "APP_", and the
/// folder's may be.
[[nodiscard]] std::optional<std::string> displayTypeOfFolder(std::string_view name,
                                                             AssetKind kind = AssetKind::screenshot);

/// The display type that a file's name without its extension stands for: an alias of the folders', or a known
/// display type between other words, as in "0_APP_IPAD_PRO_129_0".
[[nodiscard]] std::optional<std::string> displayTypeOfFileName(std::string_view stem,
                                                               AssetKind kind = AssetKind::screenshot);

/// The platform whose pictures a folder of this name gathers, such as "ios" or "visionOS".
[[nodiscard]] std::optional<ASCPlatform> platformOfFolder(std::string_view name);

/// Whether a folder of this name is of a device, such as "apple-watch" or "iMessage", that shows no previews.
[[nodiscard]] bool isOfDeviceWithoutPreviews(std::string_view name);

/// The display types that take pictures, or videos, of this size, the most usual first.
[[nodiscard]] std::vector<std::string_view> displayTypesOfSize(PixelSize size,
                                                               AssetKind kind = AssetKind::screenshot);

} // namespace quorvel
