#include "Core/screenshots/ScreenshotFile.h"

#include "Core/screenshots/ImageHeader.h"
#include "Core/screenshots/PNGAlpha.h"
#include "Core/screenshots/ScreenshotError.h"
#include "Platform/crypto/Digest.h"
#include "Platform/files/FileDescriptor.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <fcntl.h>

#include <algorithm>
#include <system_error>
#include <vector>

namespace quorvel {

namespace {

constexpr std::size_t chunkBytes = 1'048'576;

std::string systemReason() {
    return std::generic_category().message(errno);
}

FileDescriptor openFile(const std::filesystem::path& file) {
    // Without O_NONBLOCK opening a pipe would wait for its writer.
    FileDescriptor descriptor(
        uninterrupted([&] { return ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
    if (!descriptor.isOpen()) throw ScreenshotFileError(fmt::format("cannot be read: {}", systemReason()));
    return descriptor;
}

ImageFormat formatOfName(const std::filesystem::path& file) {
    return asciiLowercase(file.extension().native()) == ".png" ? ImageFormat::png : ImageFormat::jpeg;
}

std::optional<std::string> problemOfPicture(const ImageHeader& header, const ScreenshotPushItem& item) {
    if (header.format != formatOfName(item.fileURL)) {
        const bool isPNG = header.format == ImageFormat::png;
        return fmt::format("is a {} image by its content. Rename it to end in {}.", isPNG ? "PNG" : "JPEG",
                           isPNG ? ".png" : ".jpg");
    }
    const ScreenshotDisplayType* type = findDisplayType(item.displayType);
    if (!type || type->accepts(header.size)) return std::nullopt; // an unknown type is Apple's to judge
    std::vector<std::string> sizes;
    std::ranges::transform(type->sizes, std::back_inserter(sizes), &PixelSize::text);
    return fmt::format("has {} pixels; {} takes {}{}.", header.size.text(), item.displayType,
                       fmt::join(sizes, ", "),
                       type->turning == DeviceTurning::allowed ? ", also turned" : "");
}

} // namespace

void requireReadable(const std::filesystem::path& file) {
    (void)openFile(file);
}

std::optional<std::string> problemOfAssetName(const ScreenshotPushItem& item) {
    const std::string name = item.fileName();
    if (!isValidUTF8(name)) return "has a name that is no UTF-8. Rename it.";
    if (!isSafeName(name)) return "has a name with a control character. Rename it.";
    return std::nullopt;
}

std::string fileChecksum(const std::filesystem::path& file) {
    const FileDescriptor descriptor = openFile(file);
    MD5 digest;
    std::vector<char> chunk(chunkBytes);
    while (true) {
        checkCancellation();
        const auto count =
            uninterrupted([&] { return ::read(descriptor.number(), chunk.data(), chunk.size()); });
        if (count < 0) throw ScreenshotFileError(fmt::format("cannot be read: {}", systemReason()));
        if (count == 0) return digest.finishHex();
        digest.update({chunk.data(), static_cast<std::size_t>(count)});
    }
}

ScreenshotFile::ScreenshotFile(std::filesystem::path path) : path_(std::move(path)), stamp_(look(path_)) {
    if (stamp_.size == 0) throw ScreenshotFileError("is empty. Export it again.");
}

ScreenshotFile::Stamp ScreenshotFile::look(const std::filesystem::path& path) {
    std::error_code unknown;
    Stamp stamp;
    if (!std::filesystem::is_regular_file(path, unknown)) throw ScreenshotFileError("Could not stat file");
    stamp.size = std::filesystem::file_size(path, unknown);
    if (!unknown) stamp.changed = std::filesystem::last_write_time(path, unknown);
    if (unknown) throw ScreenshotFileError("Could not stat file");
    stamp.identity = fileIdentity(path);
    return stamp;
}

void ScreenshotFile::requireUnchanged() const {
    if (look(path_) != stamp_) throw ScreenshotFileError("was changed while it was being sent. Push again.");
}

void ScreenshotFile::requireBytes(std::int64_t offset, std::int64_t length) const {
    const auto size = static_cast<std::int64_t>(look(path_).size);
    const bool isRange = offset >= 0 && length >= 0;
    const std::int64_t there = isRange ? std::clamp<std::int64_t>(size - offset, 0, length) : 0;
    if (!isRange || there < length)
        throw ScreenshotFileError(
            fmt::format("Could not read {} bytes at offset {} — got {}.", length, offset, there));
}

std::optional<PictureProblem> problemOf(const ScreenshotPushItem& item, PictureCheck check,
                                        AlphaChannel alpha) {
    if (auto problem = problemOfAssetName(item)) return PictureProblem{*problem};
    try {
        const ScreenshotFile file(item.fileURL);
        requireReadable(item.fileURL);
        if (check == PictureCheck::none) return std::nullopt;
        const ImageHeader header = readImageHeader(item.fileURL, ImageReading::whole);
        if (auto problem = problemOfPicture(header, item)) return PictureProblem{*problem};
        if (header.alpha == ImageAlpha::none || alpha == AlphaChannel::dropped) return std::nullopt;
        if (!isOpaque(item.fileURL)) return PictureProblem{std::string(transparentText)};
        return PictureProblem{"has an alpha channel, which App Store Connect refuses, though every pixel is "
                              "opaque. Send a copy without the channel, or export it without transparency.",
                              true};
    } catch (const ScreenshotFileError& error) {
        return PictureProblem{error.what()};
    } catch (const ImageError& error) {
        return PictureProblem{error.what()};
    }
}

} // namespace quorvel
