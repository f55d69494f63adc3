#include "Programs/quorvel/commands/DemoPictures.h"

#include "Core/screenshots/SamplePicture.h"
#include "Platform/files/Files.h"

#include <fmt/format.h>

namespace quorvel {

std::vector<std::string> drawDemoPictures(const std::filesystem::path& appFolder) {
    constexpr unsigned picturesPerLocale = 3;
    const ScreenshotDisplayType* type = findDisplayType("APP_IPHONE_67");
    std::vector<std::string> paths;
    for (const std::string_view locale : {"de-DE", "ja"})
        for (unsigned number = 1; number <= picturesPerLocale; ++number) {
            paths.push_back(fmt::format("screenshots/{}/iphone-67/{}.png", locale, number));
            createFolders((appFolder / paths.back()).parent_path());
            writeFileAtomically(appFolder / paths.back(), samplePicture(type->sizes.front(), number));
        }
    return paths;
}

} // namespace quorvel
