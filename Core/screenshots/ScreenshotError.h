// What stops work on screenshots as a whole, and the words that more than one face of the program shows.
#pragma once

#include "Core/screenshots/AssetKind.h"

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quorvel {

/// An operation on screenshots or previews that cannot go on. The text is for users: it names the file or the
/// set, what is wrong and what to do.
class ScreenshotError : public std::runtime_error {
  public:
    enum class Kind {
        readOnlyVersion, // the version takes no changes
        badCatalog,      // damaged
        newerCatalog,    // written by a newer version of the program
        noFolder,        // there are none on disk
        ownFolder,       // an import of the app's own ones
    };
    ScreenshotError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
    [[nodiscard]] Kind kind() const { return kind_; }

    [[nodiscard]] static ScreenshotError readOnlyVersion(std::string_view versionString);
    [[nodiscard]] static ScreenshotError badCatalog(const std::filesystem::path& file,
                                                    std::string_view problem,
                                                    AssetKind kind = AssetKind::screenshot);
    [[nodiscard]] static ScreenshotError newerCatalog(const std::filesystem::path& file,
                                                      AssetKind kind = AssetKind::screenshot);
    [[nodiscard]] static ScreenshotError noFolder(const std::filesystem::path& folder,
                                                  AssetKind kind = AssetKind::screenshot);
    [[nodiscard]] static ScreenshotError ownFolder(const std::filesystem::path& folder,
                                                   AssetKind kind = AssetKind::screenshot);

  private:
    Kind kind_;
};

/// A path for a message: control characters escaped, ill-formed bytes replaced.
[[nodiscard]] std::string shownPath(const std::filesystem::path& path);

/// "en-US APP_IPHONE_67", as texts about a set begin.
[[nodiscard]] std::string setText(std::string_view locale, std::string_view displayType);

} // namespace quorvel
