#include "Core/screenshots/ImageHeader.h"
#include "Core/screenshots/PNGChecksum.h"
#include "Core/screenshots/SamplePicture.h"
#include "Platform/files/Files.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstring>

using namespace quorvel;
using testing::HasSubstr;

namespace {

ImageHeader readBytes(std::string_view text) {
    return readImageHeader(
        ImageBytes{text.size(), [&](std::uint64_t offset, std::span<char> buffer) -> std::size_t {
                       if (offset >= text.size()) return 0;
                       const std::size_t count = std::min(buffer.size(), text.size() - offset);
                       std::memcpy(buffer.data(), text.data() + offset, count);
                       return count;
                   }});
}

std::string problemOfBytes(std::string_view text) {
    try {
        (void)readBytes(text);
        return "";
    } catch (const ImageError& error) {
        return error.what();
    }
}

std::string number(std::uint32_t value) {
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
            static_cast<char>(value)};
}

std::string chunk(const std::string& type, const std::string& data) {
    return number(static_cast<std::uint32_t>(data.size())) + type + data + number(pngChecksum(type + data));
}

// With an IHDR of its own: colour type and bit depth as given.
std::string png(std::uint32_t width, std::uint32_t height, char depth, char colour,
                const std::string& between = "") {
    const std::string header = number(width) + number(height) + depth + colour + std::string(3, '\0');
    return "\x89PNG\r\n\x1a\n" + chunk("IHDR", header) + between + chunk("IDAT", "data") + chunk("IEND", "");
}

// A JPEG of `segments` before the frame header, with a little picture behind it.
std::string jpeg(const std::string& segments, char frame = '\xC2', const std::string& end = "\xFF\xD9") {
    const std::string size = std::string("\x00\x11\x08\x0A\xEC\x05\x0A\x03", 8); // 1290 × 2796
    return "\xFF\xD8" + segments + "\xFF" + frame + size + std::string(9, '\1') + "\xFF\xDA" +
           std::string("\x00\x02", 2) + "picture" + end;
}

std::string segment(char marker, std::size_t length) {
    return std::string("\xFF") + marker + static_cast<char>(length >> 8) + static_cast<char>(length) +
           std::string(length - 2, '\xFF');
}

} // namespace

TEST(ImageHeaders, tellFormatSizeAndTransparency) {
    const PixelSize tall{1290, 2796};
    const struct {
        const char* what;
        std::string bytes;
        ImageHeader header;
    } rows[] = {
        {"our own drawing", samplePicture(tall, 4), {ImageFormat::png, tall, ImageAlpha::none}},
        {"true colour", png(1290, 2796, 8, 2), {ImageFormat::png, tall, ImageAlpha::none}},
        {"sixteen bits", png(1290, 2796, 16, 2), {ImageFormat::png, tall, ImageAlpha::none}},
        {"true colour and alpha", png(1290, 2796, 8, 6), {ImageFormat::png, tall, ImageAlpha::present}},
        {"grey and alpha", png(1290, 2796, 8, 4), {ImageFormat::png, tall, ImageAlpha::present}},
        {"a transparent palette entry",
         png(1290, 2796, 8, 3, chunk("PLTE", "rgb") + chunk("tRNS", "x")),
         {ImageFormat::png, tall, ImageAlpha::present}},
        {"progressive", jpeg(segment('\xE0', 16)), {ImageFormat::jpeg, tall, ImageAlpha::none}},
        {"many large segments before the frame",
         jpeg(segment('\xE1', 65535) + segment('\xE2', 65535) + segment('\xC4', 40), '\xC0'),
         {ImageFormat::jpeg, tall, ImageAlpha::none}},
        {"fill bytes between segments",
         jpeg("\xFF\xFF" + segment('\xE0', 16)),
         {ImageFormat::jpeg, tall, ImageAlpha::none}},
        {"something behind the end",
         jpeg("", '\xC0', "\xFF\xD9 left by a camera"),
         {ImageFormat::jpeg, tall, ImageAlpha::none}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(readBytes(row.bytes), row.header) << row.what;
}

TEST(ImageHeaders, nameWhatIsWrongWithAPicture) {
    const std::string good = samplePicture({410, 502}, 1);
    std::string flipped = good;
    flipped[18] ^= 1; // of the width
    const struct {
        const char* what;
        std::string bytes;
        const char* problem;
    } rows[] = {
        {"nothing", "", "is empty"},
        {"a text", "this is no picture", "is no PNG or JPEG"},
        {"another kind of picture", "GIF89a and more", "is no PNG or JPEG"},
        {"the signature only", good.substr(0, 8), "ends early"},
        {"half a header", good.substr(0, 20), "ends early"},
        {"a copy that broke off", good.substr(0, good.size() - 30), "ends early"},
        {"no end", good.substr(0, good.size() - 12), "ends early"},
        {"a changed bit", flipped, "check sum"},
        {"no width", png(0, 10, 8, 2), "makes no sense"},
        {"a negative height", png(10, 0x80000000, 8, 2), "makes no sense"},
        {"an unknown colour", png(10, 10, 8, 5), "makes no sense"},
        {"a bit depth that the colour has not", png(10, 10, 4, 2), "makes no sense"},
        {"another chunk first", "\x89PNG\r\n\x1a\n" + chunk("tEXt", "thirteen byte") + good.substr(8),
         "does not begin with its header"},
        {"no picture between", "\x89PNG\r\n\x1a\n" + good.substr(8, 25) + chunk("IEND", ""),
         "holds no picture"},
        {"only the start", "\xFF\xD8\xFF", "ends early"},
        {"a segment without length", "\xFF\xD8" + std::string("\xFF\xE0\x00\x01zz", 6), "no length"},
        {"a segment beyond the end", "\xFF\xD8" + segment('\xE0', 100).substr(0, 40), "ends early"},
        {"no frame", "\xFF\xD8" + segment('\xE0', 16) + "\xFF\xDA" + std::string(20, 'x'),
         "header is missing"},
        {"no end of the picture", jpeg("", '\xC0', "broken off"), "ends early"},
    };
    for (const auto& row : rows)
        EXPECT_THAT(problemOfBytes(row.bytes), HasSubstr(row.problem)) << row.what;
}

TEST(ImageHeaders, areReadWithFewShortReads) {
    const std::string head = png(1290, 2796, 8, 2);
    std::size_t reads = 0, bytes = 0;
    const ImageBytes huge{std::uint64_t{1} << 40, [&](std::uint64_t offset, std::span<char> buffer) {
                              ++reads;
                              bytes += buffer.size();
                              // Endless small chunks behind the header.
                              for (std::size_t at = 0; at < buffer.size(); ++at)
                                  buffer[at] = offset + at < 33 ? head[offset + at] : '\0';
                              return buffer.size();
                          }};
    EXPECT_EQ(readImageHeader(huge).size, (PixelSize{1290, 2796}));
    EXPECT_LE(reads, 100'010u);
    EXPECT_LE(bytes, 1u << 20);
}

TEST(ImageHeaders, ofThingsThatAreNoReadableFilesFailAtOnce) {
    const test::TemporaryFolder folder;
    std::filesystem::create_directory(folder / "folder.png");
    ASSERT_EQ(mkfifo((folder / "pipe.png").c_str(), 0600), 0);
    for (const char* name : {"folder.png", "pipe.png", "missing.png"})
        EXPECT_THROW((void)readImageHeader(folder / name), ImageError) << name;
}
