// The kinds of screens that screenshots are shown for: their names and pixel sizes.
#pragma once

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

struct ScreenshotDisplayType {
    std::string_view rawValue; // as App Store Connect names it, such as "APP_IPHONE_67"
    std::string_view label;    // for people, such as "iPhone 6.7″"
    DeviceTurning turning = DeviceTurning::allowed;
    std::span<const PixelSize> sizes; // the usual one first

    [[nodiscard]] bool accepts(PixelSize size) const;
};

/// All that are known, those that are usual for a size before others that have it too.
[[nodiscard]] std::span<const ScreenshotDisplayType> allScreenshotDisplayTypes();

/// The display type of that name; nothing when it is not known.
[[nodiscard]] const ScreenshotDisplayType* findDisplayType(std::string_view rawValue);

/// The display type that a folder of this name stands for: one of the aliases, or a display type itself,
/// compared without regard to case. Any name that begins with "APP_" is taken as it is, as App Store Connect
/// may know more types than we do. Nothing for other names.
[[nodiscard]] std::optional<std::string> displayTypeOfFolder(std::string_view name);

/// The display types that take pictures of this size, the most usual first.
[[nodiscard]] std::vector<std::string_view> displayTypesOfSize(PixelSize size);

} // namespace quorvel
