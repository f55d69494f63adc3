// Pictures with an alpha channel, as drawing programs write them.
#pragma once

#include "Core/screenshots/ScreenshotDisplayType.h"

#include <png.h>

#include <string>

namespace quorvel::test {

struct AlphaForm {
    int colour = PNG_COLOR_TYPE_RGBA; // or GA, or PALETTE with a transparency table
    int depth = 8;
    int interlace = PNG_INTERLACE_NONE;
    png_byte lastAlpha = 0xFF; // the lowest byte of the last pixel's alpha, or of its palette entry
};

/// A PNG file of many colours with a gamma and a resolution; every pixel but the last is opaque.
std::string alphaPicture(PixelSize size, AlphaForm form = {});

} // namespace quorvel::test
