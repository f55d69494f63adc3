#include "Core/screenshots/previews/PreviewFile.h"

#include "Core/screenshots/ScreenshotDisplayType.h"
#include "Core/screenshots/previews/PosterFrame.h"
#include "Core/screenshots/previews/VideoHeader.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>
#include <vector>

namespace quorvel {

namespace {

constexpr std::uint64_t megabyte = 1'000'000, largestVideo = 500 * megabyte;
constexpr double shortestVideo = 15, longestVideo = 30; // seconds
constexpr double mostFramesPerSecond = 30;
// A last frame and rounded rates are not worth a refusal that App Store Connect might not agree with.
constexpr double secondsOfGrace = 0.1, framesOfGrace = 0.5;

bool isQuickTime(const std::filesystem::path& file) {
    return asciiLowercase(file.extension().native()) == ".mov";
}

std::optional<std::string> problemOfCodec(const VideoHeader& header, const std::filesystem::path& file) {
    const std::string codec = escapeControls(repairUTF8(header.codec));
    if (header.codec == "avc1" || header.codec == "avc3") return std::nullopt;
    const bool isProRes = header.codec.starts_with("ap");
    if (isProRes && isQuickTime(file)) return std::nullopt;
    if (isProRes) return "is a ProRes video, which has to be a QuickTime file (.mov). Export it as one.";
    return fmt::format(
        "has the codec {}; App Store Connect takes H.264 and ProRes. Export it with one of them.",
        header.codec == "hvc1" || header.codec == "hev1" ? "HEVC" : codec);
}

std::optional<std::string> problemOfTimes(const VideoHeader& header) {
    if (header.seconds &&
        (*header.seconds < shortestVideo - secondsOfGrace || *header.seconds > longestVideo + secondsOfGrace))
        return fmt::format("lasts {:.1f} seconds; App Store Connect takes 15 to 30.", *header.seconds);
    if (header.framesPerSecond && *header.framesPerSecond > mostFramesPerSecond + framesOfGrace)
        return fmt::format("has {:.0f} frames per second; App Store Connect takes 30 at most.",
                           *header.framesPerSecond);
    return std::nullopt;
}

std::optional<std::string> problemOfSize(const VideoHeader& header, const std::string& displayType) {
    const ScreenshotDisplayType* type = findDisplayType(displayType, AssetKind::preview);
    if (!type || type->videoSizes.empty() || type->accepts(header.size, AssetKind::preview))
        return std::nullopt; // an unknown type is Apple's to judge
    std::vector<std::string> sizes;
    std::ranges::transform(type->videoSizes, std::back_inserter(sizes), &PixelSize::text);
    return fmt::format("has {} pixels; {} takes {}{}.", header.size.text(), displayType,
                       fmt::join(sizes, ", "), type->platform == ASCPlatform::iOS ? ", also turned" : "");
}

std::optional<std::string> problemOfVideo(const ScreenshotPushItem& item, std::uint64_t size) {
    if (size > largestVideo)
        return fmt::format("has {} MB; App Store Connect takes {} at most.", size / megabyte + 1,
                           largestVideo / megabyte);
    const VideoHeader header = readVideoHeader(item.fileURL);
    if (auto problem = problemOfCodec(header, item.fileURL)) return problem;
    if (auto problem = problemOfTimes(header)) return problem;
    if (auto problem = problemOfSize(header, item.displayType)) return problem;
    if (header.seconds && secondsOfTimeCode(item.posterFrame) > *header.seconds)
        return fmt::format("lasts {:.1f} seconds and has no poster frame at {}. Change {}.", *header.seconds,
                           item.posterFrame, posterFileOf(item.fileURL).filename().native());
    return std::nullopt;
}

} // namespace

std::string_view mimeTypeOfVideo(const std::filesystem::path& file) {
    if (isQuickTime(file)) return "video/quicktime";
    return asciiLowercase(file.extension().native()) == ".m4v" ? "video/x-m4v" : "video/mp4";
}

std::optional<std::string> problemOfPreview(const ScreenshotPushItem& item, PictureCheck check) {
    if (auto problem = problemOfAssetName(item)) return problem;
    try {
        const ScreenshotFile file(item.fileURL);
        requireReadable(item.fileURL);
        return check == PictureCheck::none ? std::nullopt : problemOfVideo(item, file.size());
    } catch (const ScreenshotFileError& error) {
        return error.what();
    } catch (const VideoError& error) {
        return error.what();
    }
}

} // namespace quorvel
