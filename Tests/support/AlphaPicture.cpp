#include "Tests/support/AlphaPicture.h"

#include <vector>

namespace quorvel::test {

std::string alphaPicture(PixelSize size, AlphaForm form) {
    std::string bytes;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(
        png, &bytes,
        [](png_structp writer, png_bytep data, std::size_t count) {
            static_cast<std::string*>(png_get_io_ptr(writer))
                ->append(reinterpret_cast<const char*>(data), count);
        },
        [](png_structp) {});
    png_set_IHDR(png, info, size.width, size.height, form.depth, form.colour, form.interlace,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    const bool hasPalette = form.colour == PNG_COLOR_TYPE_PALETTE;
    constexpr png_color colours[] = {{10, 20, 30}, {200, 100, 50}, {1, 2, 3}};
    const png_byte alphas[] = {0xFF, 0xFF, form.lastAlpha};
    if (hasPalette) {
        png_set_PLTE(png, info, colours, 3);
        png_set_tRNS(png, info, alphas, 3, nullptr);
    }
    png_set_gAMA(png, info, 0.45455);
    png_set_pHYs(png, info, 2835, 2835, PNG_RESOLUTION_METER);
    png_write_info(png, info);
    const std::size_t sample = static_cast<std::size_t>(form.depth) / 8;
    const std::size_t channels = hasPalette ? 1 : form.colour == PNG_COLOR_TYPE_GA ? 2 : 4;
    std::vector<std::vector<png_byte>> rows(size.height);
    std::vector<png_bytep> pointers;
    for (std::size_t y = 0; y < rows.size(); ++y) {
        for (std::size_t x = 0; x < size.width; ++x)
            for (std::size_t byte = 0; byte < channels * sample; ++byte)
                rows[y].push_back(hasPalette ? static_cast<png_byte>((x + y) % 2)
                                  : byte >= (channels - 1) * sample
                                      ? 0xFF
                                      : static_cast<png_byte>(x * 7 + y * 13 + byte * 29));
        pointers.push_back(rows[y].data());
    }
    rows.back().back() = hasPalette ? 2 : form.lastAlpha;
    png_write_image(png, pointers.data());
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return bytes;
}

} // namespace quorvel::test
