// Pictures that the program draws itself, for demonstrations and dry runs.
#pragma once

#include "Core/screenshots/ScreenshotDisplayType.h"

#include <string>

namespace quorvel {

/// A PNG file of that size: coloured bands with a tile for each unit of `number`, which also chooses the
/// colours. A few thousand bytes, whatever the size.
[[nodiscard]] std::string samplePicture(PixelSize size, unsigned number);

} // namespace quorvel
