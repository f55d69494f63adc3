// Finds the screenshots in a folder and what each of them is for.
#pragma once

#include "Core/screenshots/ScreenshotDisplayType.h"
#include "Platform/json/JSON.h"

#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace quorvel {

/// A file and the set that it belongs to.
struct ScreenshotPushItem {
    std::filesystem::path fileURL;
    std::string locale;
    std::string displayType;
    std::filesystem::path copy = {}; // that is sent in the file's place; empty: the file is
    std::string posterFrame = {};    // time code of a preview; empty: left to App Store Connect

    [[nodiscard]] const std::filesystem::path& sentFile() const { return copy.empty() ? fileURL : copy; }
    /// The file's name as App Store Connect shows it.
    [[nodiscard]] std::string fileName() const { return fileURL.filename().native(); }
    /// The set and the file, as texts about it begin: "en-US APP_IPHONE_67 1.png".
    [[nodiscard]] std::string text() const;
    bool operator==(const ScreenshotPushItem&) const = default;
};

/// A display type that no folder named; the picture's size told it.
struct GuessedDisplayType {
    std::string path; // under the folder scanned
    std::string displayType;
    std::string size;                   // "1290 × 2796"
    std::vector<std::string> otherwise; // display types that take this size as well
    QUORVEL_RECORD(GuessedDisplayType, path, displayType, size, otherwise)
    bool operator==(const GuessedDisplayType&) const = default;
};

/// Finds screenshots and previews alike. Reads the names of files and folders, and of a file the header where
/// no name tells its display type: <locale>/<display type>/1.png, <display type>/<locale>/1.png, <display
/// type>/<locale>.png, and of other tools the flat trees <locale>/1.png, <locale>/0_APP_IPHONE_67_0.png and
/// <platform>/<locale>/1.png are all understood.
class ScreenshotPushScanner {
  public:
    struct Failure {
        std::filesystem::path fileURL;
        std::string locale; // empty where no folder names it
        std::string text;
        bool operator==(const Failure&) const = default;
    };
    /// A picture that is not meant for this push.
    struct LeftOut {
        std::filesystem::path fileURL;
        std::string locale;
        std::string displayType; // empty where it is not known
        std::string reason;      // as it follows the word "picture": "of visionOS"
        bool operator==(const LeftOut&) const = default;
    };
    struct ScanResult {
        std::vector<ScreenshotPushItem> items; // by locale and display type, in natural order of their paths
        std::vector<std::string> warnings;     // what was passed over, and why
        std::vector<GuessedDisplayType> guesses;
        std::vector<LeftOut> leftOut;
        std::size_t pictures = 0;        // all that were found
        std::vector<Failure> failures;   // pictures of a locale that cannot be read
        std::vector<Failure> unreadable; // folders; the texts are among the warnings as well
    };
    struct Parsed {
        ScreenshotPushItem item;
        std::optional<GuessedDisplayType> guess;
    };
    struct Skipped {
        std::string reason;
        std::optional<std::string> locale = {}; // of a picture that belongs to one and cannot be read
    };
    using ParseResult = std::variant<Parsed, LeftOut, Skipped>;

    /// Pictures of other platforms are left out.
    explicit ScreenshotPushScanner(std::filesystem::path root, ASCPlatform platform = ASCPlatform::iOS,
                                   AssetKind kind = AssetKind::screenshot)
        : root_(std::move(root)), platform_(platform), kind_(kind) {}

    /// All pictures (png, jpg, jpeg) or videos (mov, mp4, m4v) under the root; hidden files are left out and
    /// links followed. Throws `ScreenshotError` when there is no root.
    [[nodiscard]] ScanResult scan() const;
    /// What one file is for.
    [[nodiscard]] ParseResult parse(const std::filesystem::path& file) const;

  private:
    struct Walk;
    void visit(const std::filesystem::path& folder, Walk& walk) const;

    std::filesystem::path root_;
    ASCPlatform platform_;
    AssetKind kind_;
};

} // namespace quorvel
