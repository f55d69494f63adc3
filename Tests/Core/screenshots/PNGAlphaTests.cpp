// Copies without an alpha channel, of pictures as drawing programs write them.
#include "Core/screenshots/ImageHeader.h"
#include "Core/screenshots/PNGAlpha.h"
#include "Platform/files/Files.h"
#include "Tests/support/AlphaPicture.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <png.h>

#include <memory>

using namespace quorvel;
using test::alphaPicture;
using testing::HasSubstr;
using testing::Not;

namespace {

// Every pixel as red, green, blue and alpha of sixteen bits, without regard to profiles.
std::vector<png_uint_16> pixelsOf(const std::filesystem::path& file) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> opened(std::fopen(file.c_str(), "rb"),
                                                                 &std::fclose);
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, opened.get());
    png_read_png(png, info, PNG_TRANSFORM_EXPAND_16 | PNG_TRANSFORM_GRAY_TO_RGB, nullptr);
    std::vector<png_uint_16> pixels;
    const unsigned channels = png_get_channels(png, info);
    for (png_uint_32 y = 0; y < png_get_image_height(png, info); ++y)
        for (png_uint_32 x = 0; x < png_get_image_width(png, info); ++x) {
            const png_const_bytep pixel = png_get_rows(png, info)[y] + std::size_t{x} * channels * 2;
            for (unsigned channel = 0; channel < 4; ++channel)
                pixels.push_back(channel < channels ? png_get_uint_16(pixel + 2 * channel) : 0xFFFF);
        }
    png_destroy_read_struct(&png, &info, nullptr);
    return pixels;
}

} // namespace

TEST(AlphaChannels, goFromCopiesThatKeepEveryPixelTheirDepthAndTheProfile) {
    const test::TemporaryFolder folder;
    const struct {
        const char* what;
        int colour;
        int depth;
        int interlace;
        char copiedColour; // of the copy's header
    } rows[] = {
        {"true colour", PNG_COLOR_TYPE_RGBA, 8, PNG_INTERLACE_NONE, PNG_COLOR_TYPE_RGB},
        {"true colour, interlaced", PNG_COLOR_TYPE_RGBA, 8, PNG_INTERLACE_ADAM7, PNG_COLOR_TYPE_RGB},
        {"sixteen bits", PNG_COLOR_TYPE_RGBA, 16, PNG_INTERLACE_NONE, PNG_COLOR_TYPE_RGB},
        {"grey", PNG_COLOR_TYPE_GA, 8, PNG_INTERLACE_NONE, PNG_COLOR_TYPE_GRAY},
        {"a palette whose colours are all opaque", PNG_COLOR_TYPE_PALETTE, 8, PNG_INTERLACE_NONE,
         PNG_COLOR_TYPE_RGB},
    };
    for (const auto& row : rows) {
        const auto file = folder / "1.png", copy = folder / "copy.png", second = folder / "second.png";
        writeFileAtomically(file, alphaPicture({37, 23}, {row.colour, row.depth, row.interlace}));
        ASSERT_EQ(readImageHeader(file).alpha, ImageAlpha::present) << row.what;
        EXPECT_TRUE(isOpaque(file)) << row.what;
        writeWithoutAlpha(file, copy);
        const ImageHeader header = readImageHeader(copy, ImageReading::whole);
        EXPECT_EQ(header, (ImageHeader{ImageFormat::png, {37, 23}, ImageAlpha::none})) << row.what;
        EXPECT_EQ(pixelsOf(copy), pixelsOf(file)) << row.what;
        const std::string bytes = readFile(copy).value();
        EXPECT_EQ(bytes[24], row.depth) << row.what;
        EXPECT_EQ(bytes[25], row.copiedColour) << row.what;
        EXPECT_THAT(bytes, HasSubstr("gAMA")) << row.what << ": the profile";
        EXPECT_THAT(bytes, HasSubstr("pHYs")) << row.what;
        writeWithoutAlpha(file, second);
        EXPECT_EQ(readFile(second), bytes) << row.what << ": a second push recognises the first's copy";
    }
}

TEST(AlphaChannels, stayWhereAPixelIsTransparent) {
    const test::TemporaryFolder folder;
    const auto file = folder / "1.png";
    for (const int colour : {PNG_COLOR_TYPE_RGBA, PNG_COLOR_TYPE_GA, PNG_COLOR_TYPE_PALETTE})
        for (const int interlace : {PNG_INTERLACE_NONE, PNG_INTERLACE_ADAM7}) {
            writeFileAtomically(file, alphaPicture({37, 23}, {colour, 8, interlace, 0xFE}));
            EXPECT_FALSE(isOpaque(file)) << colour;
            EXPECT_THROW(writeWithoutAlpha(file, folder / "copy.png"), ImageError) << colour;
        }
    writeFileAtomically(file, alphaPicture({37, 23}, {PNG_COLOR_TYPE_RGBA, 16, PNG_INTERLACE_NONE, 0xFE}));
    EXPECT_FALSE(isOpaque(file)) << "the lower byte of sixteen bits counts";
    writeFileAtomically(file, alphaPicture({37, 23}, {}).substr(0, 200));
    EXPECT_THROW((void)isOpaque(file), ImageError) << "and the library's own failure is one sentence";
}
