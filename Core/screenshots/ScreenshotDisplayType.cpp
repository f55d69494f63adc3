#include "Core/screenshots/ScreenshotDisplayType.h"

#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

constexpr PixelSize iPhone67[] = {{1290, 2796}, {1320, 2868}, {1260, 2736}};
constexpr PixelSize iPhone65[] = {{1242, 2688}, {1284, 2778}};
constexpr PixelSize iPhone61[] = {{1179, 2556}, {1206, 2622}};
constexpr PixelSize iPhone58[] = {{1125, 2436}, {1170, 2532}, {1080, 2340}};
constexpr PixelSize iPhone55[] = {{1242, 2208}};
constexpr PixelSize iPhone47[] = {{750, 1334}};
// With and without the status bar, which lies along the other side of a turned device.
constexpr PixelSize iPhone40[] = {{640, 1136}, {640, 1096}, {1136, 640}, {1136, 600}};
constexpr PixelSize iPhone35[] = {{640, 960}, {640, 920}, {960, 640}, {960, 600}};
constexpr PixelSize iPadPro13[] = {{2048, 2732}, {2064, 2752}};
constexpr PixelSize iPadPro11[] = {{1668, 2388}, {1668, 2420}, {1640, 2360}, {1488, 2266}};
constexpr PixelSize iPad129[] = {{2048, 2732}};
constexpr PixelSize iPad105[] = {{1668, 2224}};
constexpr PixelSize iPad97[] = {{1536, 2048}, {1536, 2008}, {2048, 1536}, {2048, 1496},
                                {768, 1024},  {768, 1004},  {1024, 768},  {1024, 748}};
constexpr PixelSize desktop[] = {{2880, 1800}, {2560, 1600}, {1440, 900}, {1280, 800}};
constexpr PixelSize appleTV[] = {{3840, 2160}, {1920, 1080}};
constexpr PixelSize visionPro[] = {{3840, 2160}};
constexpr PixelSize watchUltra[] = {{410, 502}, {422, 514}};
constexpr PixelSize watchSeries10[] = {{416, 496}};
constexpr PixelSize watchSeries7[] = {{396, 484}};
constexpr PixelSize watchSeries4[] = {{368, 448}};

constexpr PixelSize tallVideo[] = {{886, 1920}};
constexpr PixelSize wideVideo[] = {{1080, 1920}};
constexpr PixelSize smallVideo[] = {{750, 1334}};
constexpr PixelSize iPadVideo[] = {{1200, 1600}};
constexpr PixelSize olderIPadVideo[] = {{1200, 1600}, {900, 1200}};
constexpr PixelSize iPad97Video[] = {{900, 1200}};
constexpr PixelSize screenVideo[] = {{1920, 1080}};
constexpr PixelSize visionVideo[] = {{3840, 2160}};

constexpr auto turnable = DeviceTurning::allowed;
constexpr auto asListed = DeviceTurning::asListed;
constexpr auto previews = ShowsPreviews::yes;

constexpr ScreenshotDisplayType displayTypes[] = {
    {"APP_IPHONE_67", "iPhone 6.7″", ASCPlatform::iOS, turnable, iPhone67, previews, tallVideo},
    {"APP_IPHONE_65", "iPhone 6.5″", ASCPlatform::iOS, turnable, iPhone65, previews, tallVideo},
    {"APP_IPHONE_61", "iPhone 6.1″", ASCPlatform::iOS, turnable, iPhone61, previews, tallVideo},
    {"APP_IPHONE_58", "iPhone 5.8″", ASCPlatform::iOS, turnable, iPhone58, previews, tallVideo},
    {"APP_IPHONE_55", "iPhone 5.5″", ASCPlatform::iOS, turnable, iPhone55, previews, wideVideo},
    {"APP_IPHONE_47", "iPhone 4.7″", ASCPlatform::iOS, turnable, iPhone47, previews, smallVideo},
    {"APP_IPHONE_40", "iPhone 4″", ASCPlatform::iOS, asListed, iPhone40, previews, wideVideo},
    {"APP_IPHONE_35", "iPhone 3.5″", ASCPlatform::iOS, asListed, iPhone35, previews},
    {"APP_IPAD_PRO_3GEN_129", "iPad Pro 12.9″", ASCPlatform::iOS, turnable, iPadPro13, previews, iPadVideo},
    {"APP_IPAD_PRO_3GEN_11", "iPad Pro 11″", ASCPlatform::iOS, turnable, iPadPro11, previews, iPadVideo},
    {"APP_IPAD_PRO_129", "iPad Pro 12.9″ (2nd generation)", ASCPlatform::iOS, turnable, iPad129, previews,
     olderIPadVideo},
    {"APP_IPAD_PRO_11", "iPad Pro 11″ (older name)", ASCPlatform::iOS, turnable, iPadPro11},
    {"APP_IPAD_129", "iPad 12.9″", ASCPlatform::iOS, turnable, iPad129},
    {"APP_IPAD_105", "iPad 10.5″", ASCPlatform::iOS, turnable, iPad105, previews, iPadVideo},
    {"APP_IPAD_97", "iPad 9.7″", ASCPlatform::iOS, asListed, iPad97, previews, iPad97Video},
    {"APP_DESKTOP", "Mac", ASCPlatform::macOS, asListed, desktop, previews, screenVideo},
    {"APP_APPLE_TV", "Apple TV", ASCPlatform::tvOS, asListed, appleTV, previews, screenVideo},
    {"APP_APPLE_VISION_PRO", "Apple Vision Pro", ASCPlatform::visionOS, asListed, visionPro, previews,
     visionVideo},
    {"APP_WATCH_ULTRA", "Apple Watch Ultra", ASCPlatform::iOS, asListed, watchUltra},
    {"APP_WATCH_SERIES_10", "Apple Watch Series 10", ASCPlatform::iOS, asListed, watchSeries10},
    {"APP_WATCH_SERIES_7", "Apple Watch Series 7", ASCPlatform::iOS, asListed, watchSeries7},
    {"APP_WATCH_SERIES_4", "Apple Watch Series 4", ASCPlatform::iOS, asListed, watchSeries4},
    {"IMESSAGE_APP_IPHONE", "iMessage on iPhone", ASCPlatform::iOS, turnable, iPhone67},
    {"IMESSAGE_APP_IPAD", "iMessage on iPad", ASCPlatform::iOS, turnable, iPadPro13},
};

struct Alias {
    std::string_view folder; // in lower case
    std::string_view displayType;
};
// The 6.9-inch names lead to the 6.7-inch type on purpose: App Store Connect has one for both.
constexpr Alias aliases[] = {
    {"iphone-69", "APP_IPHONE_67"},
    {"iphone69", "APP_IPHONE_67"},
    {"iphone_69", "APP_IPHONE_67"},
    {"iphone-67", "APP_IPHONE_67"},
    {"iphone67", "APP_IPHONE_67"},
    {"iphone_67", "APP_IPHONE_67"},
    {"iphone-65", "APP_IPHONE_65"},
    {"iphone65", "APP_IPHONE_65"},
    {"iphone_65", "APP_IPHONE_65"},
    {"iphone-61", "APP_IPHONE_61"},
    {"iphone61", "APP_IPHONE_61"},
    {"iphone_61", "APP_IPHONE_61"},
    {"iphone-58", "APP_IPHONE_58"},
    {"iphone58", "APP_IPHONE_58"},
    {"iphone_58", "APP_IPHONE_58"},
    {"ipad-pro-129", "APP_IPAD_PRO_3GEN_129"},
    {"ipadpro129", "APP_IPAD_PRO_3GEN_129"},
    {"ipad-pro-11", "APP_IPAD_PRO_3GEN_11"},
    {"ipadpro11", "APP_IPAD_PRO_3GEN_11"},
    {"desktop", "APP_DESKTOP"},
    {"macos", "APP_DESKTOP"},
};

// The names of folders that gather the pictures of a platform, in lower case. What lies under "macos" and
// "desktop" has a display type already.
struct PlatformName {
    std::string_view folder;
    ASCPlatform platform;
};
constexpr PlatformName platformNames[] = {
    {"ios", ASCPlatform::iOS},       {"mac", ASCPlatform::macOS},    {"osx", ASCPlatform::macOS},
    {"tvos", ASCPlatform::tvOS},     {"appletv", ASCPlatform::tvOS}, {"visionos", ASCPlatform::visionOS},
    {"xros", ASCPlatform::visionOS},
};

const Alias* findAlias(std::string_view lower) {
    const auto* alias = std::ranges::find(aliases, lower, &Alias::folder);
    return alias == std::end(aliases) ? nullptr : alias;
}

bool isWordCharacter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= '0' && character <= '9');
}

// Whether `words` stand in `text` and neither begin nor end within a word; both in lower case.
bool holdsWords(std::string_view text, std::string_view words) {
    for (auto at = text.find(words); at != text.npos; at = text.find(words, at + 1)) {
        const std::size_t end = at + words.size();
        if ((at == 0 || !isWordCharacter(text[at - 1])) &&
            (end == text.size() || !isWordCharacter(text[end])))
            return true;
    }
    return false;
}

constexpr PixelSize turned(PixelSize size) {
    return {size.height, size.width};
}

constexpr std::string_view displayTypePrefix = "APP_";

std::string_view withoutPrefix(std::string_view name) {
    if (name.starts_with(displayTypePrefix)) name.remove_prefix(displayTypePrefix.size());
    return name;
}

bool shows(const ScreenshotDisplayType& type, AssetKind kind) {
    return kind == AssetKind::screenshot || type.previews == ShowsPreviews::yes;
}

} // namespace

std::string PixelSize::text() const {
    return fmt::format("{} × {}", width, height);
}

bool ScreenshotDisplayType::accepts(PixelSize size, AssetKind kind) const {
    const bool isVideo = kind == AssetKind::preview;
    const auto listed = isVideo ? videoSizes : sizes;
    const auto isListed = [&](PixelSize wanted) { return std::ranges::find(listed, wanted) != listed.end(); };
    // A video has no status bar to tell its sides apart.
    const bool turns = isVideo ? platform == ASCPlatform::iOS : turning == DeviceTurning::allowed;
    return isListed(size) || (turns && isListed(turned(size)));
}

std::string_view ScreenshotDisplayType::nameFor(AssetKind kind) const {
    return kind == AssetKind::preview ? withoutPrefix(rawValue) : rawValue;
}

std::span<const ScreenshotDisplayType> allScreenshotDisplayTypes() {
    return displayTypes;
}

const ScreenshotDisplayType* findDisplayType(std::string_view rawValue, AssetKind kind) {
    const auto* found = std::ranges::find_if(displayTypes, [&](const ScreenshotDisplayType& type) {
        return shows(type, kind) && type.nameFor(kind) == rawValue;
    });
    return found == std::end(displayTypes) ? nullptr : found;
}

std::optional<std::string> displayTypeOfFolder(std::string_view name, AssetKind kind) {
    const std::string lower = asciiLowercase(name);
    if (const Alias* alias = findAlias(lower))
        return std::string(findDisplayType(alias->displayType)->nameFor(kind));
    for (const ScreenshotDisplayType& type : displayTypes)
        if (asciiLowercase(type.rawValue) == lower || asciiLowercase(type.nameFor(kind)) == lower)
            return std::string(type.nameFor(kind));
    if (name.starts_with(displayTypePrefix))
        return std::string(kind == AssetKind::preview ? withoutPrefix(name) : name);
    return std::nullopt;
}

std::optional<std::string> displayTypeOfFileName(std::string_view stem, AssetKind kind) {
    const std::string lower = asciiLowercase(stem);
    if (const Alias* alias = findAlias(lower))
        return std::string(findDisplayType(alias->displayType)->nameFor(kind));
    std::string_view longest;
    for (const ScreenshotDisplayType& type : displayTypes)
        // A single word, such as DESKTOP, may stand in any name.
        if (const std::string_view known = type.nameFor(kind); known.size() > longest.size() &&
                                                               known.find('_') != known.npos &&
                                                               holdsWords(lower, asciiLowercase(known)))
            longest = known;
    return longest.empty() ? std::nullopt : std::optional(std::string(longest));
}

std::optional<ASCPlatform> platformOfFolder(std::string_view name) {
    const auto* found = std::ranges::find(platformNames, asciiLowercase(name), &PlatformName::folder);
    return found == std::end(platformNames) ? std::nullopt : std::optional(found->platform);
}

bool isOfDeviceWithoutPreviews(std::string_view name) {
    const std::string lower = asciiLowercase(name);
    constexpr std::string_view devices[] = {"watch", "watchos", "applewatch", "imessage"};
    return std::ranges::any_of(devices, [&](std::string_view device) { return holdsWords(lower, device); });
}

std::vector<std::string_view> displayTypesOfSize(PixelSize size, AssetKind kind) {
    std::vector<std::string_view> types;
    for (const ScreenshotDisplayType& type : displayTypes)
        if (shows(type, kind) && type.accepts(size, kind)) types.push_back(type.nameFor(kind));
    return types;
}

} // namespace quorvel
