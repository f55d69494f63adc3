#include "Core/screenshots/ScreenshotPushScanner.h"

#include "Core/metadata/Locales.h"
#include "Core/metadata/PlatformContext.h"
#include "Core/screenshots/ImageHeader.h"
#include "Core/screenshots/ScreenshotError.h"
#include "Core/screenshots/previews/PosterFrame.h"
#include "Core/screenshots/previews/VideoHeader.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <tuple>

namespace quorvel {

namespace {

constexpr std::array<std::string_view, 3> imageExtensions = {".png", ".jpg", ".jpeg"};
constexpr std::array<std::string_view, 3> videoExtensions = {".mov", ".mp4", ".m4v"};

using Components = std::vector<std::string>;

bool isAssetName(const std::filesystem::path& file, AssetKind kind) {
    const std::string extension = asciiLowercase(file.extension().native());
    const auto& extensions = kind == AssetKind::preview ? videoExtensions : imageExtensions;
    return std::ranges::find(extensions, extension) != extensions.end();
}

PixelSize sizeOf(const std::filesystem::path& file, AssetKind kind) {
    return kind == AssetKind::preview ? readVideoHeader(file).size : readImageHeader(file).size;
}

// A poster frame whose video has another name, or is gone.
bool lacksItsVideo(const std::string& posterFile, const std::vector<FolderEntry>& entries) {
    return std::ranges::none_of(entries, [&](const FolderEntry& entry) {
        return isAssetName(entry.name, AssetKind::preview) && posterFileOf(entry.name) == posterFile;
    });
}

// The folders between the root and the file, and the file's name without its extension; empty when the file
// does not lie under the root.
Components componentsBelow(const std::filesystem::path& file, const std::filesystem::path& root) {
    const auto relative = file.lexically_normal().lexically_relative(root.lexically_normal());
    Components components;
    if (relative.empty() || *relative.begin() == "..") return components;
    for (const auto& component : relative.parent_path())
        components.push_back(component.native());
    components.push_back(relative.stem().native());
    return components;
}

// The innermost folder counts, and the file's own name only where no folder does: "en-US/it.png" is English.
std::optional<std::string> localeIn(const Components& components) {
    for (auto at = components.rbegin() + 1; at < components.rend(); ++at)
        if (isAppStoreLocale(*at)) return *at;
    if (isAppStoreLocale(components.back())) return components.back();
    return std::nullopt;
}

std::string localeHint(const Components& components) {
    for (const std::string& component : components)
        if (const auto locale = respelledAppStoreLocale(component))
            return fmt::format(" Did you mean {}?", *locale);
    return {};
}

std::optional<std::string> displayTypeIn(const Components& components, AssetKind kind) {
    for (auto at = components.rbegin() + 1; at < components.rend(); ++at)
        if (auto type = displayTypeOfFolder(*at, kind)) return type;
    return displayTypeOfFileName(components.back(), kind);
}

std::optional<ASCPlatform> platformIn(const Components& components) {
    for (auto at = components.rbegin() + 1; at < components.rend(); ++at)
        if (const auto platform = platformOfFolder(*at)) return platform;
    return std::nullopt;
}

// The display type, or the folder of a device, for which App Store Connect takes no video.
std::optional<std::string> placeWithoutPreviews(const Components& components,
                                                const std::optional<std::string>& type) {
    if (type) {
        const bool isWithout = !findDisplayType(*type, AssetKind::preview) &&
                               (findDisplayType(*type) || findDisplayType("APP_" + *type));
        return isWithout ? type : std::nullopt;
    }
    for (auto at = components.rbegin() + 1; at < components.rend(); ++at)
        if (isOfDeviceWithoutPreviews(*at)) return *at;
    return std::nullopt;
}

// "of visionOS", "of tvOS or visionOS".
std::string ofPlatforms(const std::vector<std::string_view>& types, AssetKind kind) {
    std::vector<std::string_view> labels;
    for (const std::string_view type : types)
        if (const auto label = platformLabel(findDisplayType(type, kind)->platform);
            std::ranges::find(labels, label) == labels.end())
            labels.push_back(label);
    return fmt::format("of {}", fmt::join(labels, " or "));
}

std::string relativeText(const std::filesystem::path& file, const std::filesystem::path& root) {
    const auto relative = file.lexically_relative(root);
    return shownPath(relative.empty() ? file : relative);
}

// Two folders may lead to one display type, such as iphone-67 and iphone-69; a set then shows both.
void warnOfSharedSets(ScreenshotPushScanner::ScanResult& result, const std::filesystem::path& root,
                      AssetKind kind) {
    const auto& items = result.items;
    for (std::size_t at = 0, first = 0; at < items.size(); first = at) {
        std::vector<std::string> folders;
        for (; at < items.size() && items[at].locale == items[first].locale &&
               items[at].displayType == items[first].displayType;
             ++at)
            if (const auto folder = relativeText(items[at].fileURL.parent_path(), root);
                folders.empty() || folders.back() != folder)
                folders.push_back(folder);
        if (folders.size() > 1)
            result.warnings.push_back(fmt::format("{} takes the {}s of several folders: {}",
                                                  setText(items[first].locale, items[first].displayType),
                                                  traitsOf(kind).file, fmt::join(folders, ", ")));
    }
}

} // namespace

std::string ScreenshotPushItem::text() const {
    return setText(locale, displayType) + " " + shownPath(fileURL.filename());
}

/// What is found on the way; `path` holds the folders above the present one, so that a link back is noticed.
struct ScreenshotPushScanner::Walk {
    ScanResult result;
    std::vector<FileIdentity> path;
};

ScreenshotPushScanner::ScanResult ScreenshotPushScanner::scan() const {
    std::error_code unreachable;
    if (!std::filesystem::is_directory(root_, unreachable)) throw ScreenshotError::noFolder(root_, kind_);
    Walk walk;
    visit(root_, walk);
    std::ranges::sort(walk.result.items, [](const ScreenshotPushItem& left, const ScreenshotPushItem& right) {
        const auto set = [](const ScreenshotPushItem& item) {
            return std::tie(item.locale, item.displayType);
        };
        if (set(left) != set(right)) return set(left) < set(right);
        return naturalLess(left.fileURL.native(), right.fileURL.native());
    });
    warnOfSharedSets(walk.result, root_, kind_);
    return std::move(walk.result);
}

void ScreenshotPushScanner::visit(const std::filesystem::path& folder, Walk& walk) const {
    checkCancellation();
    const auto identity = fileIdentity(folder);
    if (!identity || std::ranges::find(walk.path, *identity) != walk.path.end()) return;
    std::vector<FolderEntry> entries;
    try {
        entries = listFolder(folder).value_or(std::vector<FolderEntry>());
    } catch (const FileError&) {
        const std::string text = "Folder unreadable: " + shownPath(folder);
        walk.result.warnings.push_back(text);
        const Components components = componentsBelow(folder / "pictures", root_);
        walk.result.unreadable.push_back({folder, localeIn(components).value_or(""), text});
        return;
    }
    if (entries.empty()) walk.result.warnings.push_back("Folder empty: " + shownPath(folder));
    std::ranges::sort(entries, naturalLess, &FolderEntry::name);
    walk.path.push_back(*identity);
    for (const FolderEntry& entry : entries) {
        const auto path = folder / entry.name;
        std::error_code unknown; // a link that leads nowhere is neither
        if (entry.name.starts_with('.')) continue;
        if (std::filesystem::is_directory(path, unknown)) {
            visit(path, walk);
        } else if (kind_ == AssetKind::preview && isPosterFileName(entry.name)) {
            if (lacksItsVideo(entry.name, entries))
                walk.result.warnings.push_back(
                    fmt::format("{}: there is no video beside it of that name.", relativeText(path, root_)));
        } else if (isAssetName(path, kind_)) {
            ++walk.result.pictures;
            ParseResult parsed = parse(path);
            if (auto* found = std::get_if<Parsed>(&parsed)) {
                walk.result.items.push_back(std::move(found->item));
                if (found->guess) walk.result.guesses.push_back(std::move(*found->guess));
                continue;
            }
            if (auto* leftOut = std::get_if<LeftOut>(&parsed)) {
                walk.result.leftOut.push_back(std::move(*leftOut));
                continue;
            }
            const auto& skipped = std::get<Skipped>(parsed);
            const std::string text = fmt::format("{}: {}", relativeText(path, root_), skipped.reason);
            if (skipped.locale)
                walk.result.failures.push_back({path, *skipped.locale, text});
            else
                walk.result.warnings.push_back(text);
        }
    }
    walk.path.pop_back();
}

ScreenshotPushScanner::ParseResult ScreenshotPushScanner::parse(const std::filesystem::path& file) const {
    const Components components = componentsBelow(file, root_);
    if (components.empty()) return Skipped{"Could not derive relative path from root."};
    auto locale = localeIn(components);
    if (!locale)
        return Skipped{"No locale found in path. Expected something like en-US.png or en-US/file.png." +
                       localeHint(components)};
    const auto leftOut = [&](std::string type, std::string reason) {
        return LeftOut{file, *locale, std::move(type), std::move(reason)};
    };
    const auto type = displayTypeIn(components, kind_);
    const ScreenshotDisplayType* known = type ? findDisplayType(*type, kind_) : nullptr;
    if (kind_ == AssetKind::preview)
        if (const auto shown = placeWithoutPreviews(components, type))
            return Skipped{fmt::format("{} shows no previews. Move the video to the folder of a device that "
                                       "does, such as IPHONE_67, or remove it.",
                                       escapeControls(*shown)),
                           locale};
    const auto platform = known ? known->platform : platformIn(components).value_or(platform_);
    if (platform != platform_)
        return leftOut(type.value_or(""), fmt::format("of {}", platformLabel(platform)));
    if (type) return Parsed{{file, std::move(*locale), *type}, {}};
    try {
        const PixelSize size = sizeOf(file, kind_);
        const auto all = displayTypesOfSize(size, kind_);
        std::vector<std::string_view> types;
        std::ranges::copy_if(all, std::back_inserter(types), [&](std::string_view one) {
            return findDisplayType(one, kind_)->platform == platform_;
        });
        if (all.empty())
            return Skipped{fmt::format("No display type found in path, and none has {} pixels. "
                                       "Expected a folder like iphone-67.",
                                       size.text()),
                           locale};
        if (types.empty()) return leftOut({}, "with a size " + ofPlatforms(all, kind_));
        GuessedDisplayType guess{relativeText(file, root_),
                                 std::string(types.front()),
                                 size.text(),
                                 {types.begin() + 1, types.end()}};
        return Parsed{{file, std::move(*locale), guess.displayType}, guess};
    } catch (const ImageError& error) {
        return Skipped{error.what(), locale};
    } catch (const VideoError& error) {
        return Skipped{error.what(), locale};
    }
}

} // namespace quorvel
