// What a push has to do so that App Store Connect shows the local screenshots.
#pragma once

#include "Core/screenshots/ScreenshotFile.h"
#include "Core/screenshots/ScreenshotPushScanner.h"
#include "Core/screenshots/ScreenshotsCatalog.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace quorvel {

enum class ScreenshotPushMode {
    append,     // keep what App Store Connect has and add the new files
    replaceSet, // delete the set's remote screenshots first, except for those that are local files already
};

/// What replacing does with the sets that have no local file.
enum class SetsWithoutFiles { leave, empty };

/// A place in a set's wanted order: a screenshot that stays, or a file being uploaded.
struct ScreenshotOrderToken {
    struct ASC {
        std::string id;
        bool operator==(const ASC&) const = default;
    };
    struct Local {
        std::filesystem::path url;
        bool operator==(const Local&) const = default;
    };
    std::variant<ASC, Local> value;

    [[nodiscard]] static ScreenshotOrderToken asc(std::string id) { return {ASC{std::move(id)}}; }
    [[nodiscard]] static ScreenshotOrderToken local(std::filesystem::path url) {
        return {Local{std::move(url)}};
    }
    bool operator==(const ScreenshotOrderToken&) const = default;
};

struct ScreenshotSetEdit {
    /// The poster frame of a preview that stays.
    struct PosterFrame {
        std::string id;
        std::string fileName;
        std::string timeCode;
        bool operator==(const PosterFrame&) const = default;
    };
    std::string locale;
    std::string displayType;
    std::vector<std::string> ascIdsToDelete;
    std::vector<ScreenshotPushItem> localsToUpload;
    std::vector<ScreenshotOrderToken> finalOrder;
    std::vector<PosterFrame> posterFrames = {}; // that are to be chosen
    bool operator==(const ScreenshotSetEdit&) const = default;
};

/// How one set differs from its local files, by file names in their order.
struct ScreenshotSetStatus {
    std::string locale;
    std::string displayType;
    std::vector<std::string> toDelete;
    std::vector<std::string> toUpload;
    std::vector<std::string> moved; // stay, but stand elsewhere among those that stay
    std::int64_t unchanged = 0;
    std::int64_t local = 0;             // files on disk that can be sent
    std::int64_t refused = 0;           // files on disk that cannot
    std::int64_t remote = 0;            // screenshots on App Store Connect
    std::optional<std::string> problem; // why nothing of the set is done
    // Of previews: those of `toDelete` and `toUpload` that are sent again only to stand in their place, and
    // those that stay and get another poster frame.
    std::optional<std::vector<std::string>> sentAgain = std::nullopt;
    std::optional<std::vector<std::string>> posterFrames = std::nullopt;
    QUORVEL_RECORD(ScreenshotSetStatus, locale, displayType, toDelete, toUpload, moved, unchanged, local,
                   refused, remote, problem, sentAgain, posterFrames)

    [[nodiscard]] bool differs() const {
        return !toDelete.empty() || !toUpload.empty() || !moved.empty() || posterFrames.has_value();
    }
    /// Whether App Store Connect has screenshots that no file is for.
    [[nodiscard]] bool isWithoutFiles() const { return local == 0 && refused == 0 && remote > 0; }
    bool operator==(const ScreenshotSetStatus&) const = default;
};

/// A local file with what tells it from others.
struct LocalScreenshot {
    enum class Fate {
        sent,     // unless it is on App Store Connect already
        refused,  // cannot be sent; what App Store Connect has under its name must not go for it
        supposed, // the same of a file that is perhaps there
    };
    ScreenshotPushItem item;
    std::uint64_t size = 0;
    std::string checksum; // empty where no screenshot of the same set could be the file
    Fate fate = Fate::sent;
};

/// Reads the size of what is sent, and its checksum when it may be on App Store Connect already. Throws
/// `ScreenshotFileError` for a file that cannot be read.
[[nodiscard]] LocalScreenshot inspect(const ScreenshotPushItem& item, const ScreenshotsCatalog& catalog);

struct ScreenshotPlan {
    std::vector<ScreenshotSetEdit> edits;  // of the sets that have something to do
    std::vector<ScreenshotSetStatus> sets; // of all sets that are on either side
    // Files that are on App Store Connect, which has not finished processing them.
    std::vector<ScreenshotPushItem> inProcessing;
};

/// Whether `entry` is `local`: a whole screenshot of that name with the same checksum, or with the same size
/// while App Store Connect does not tell its checksum.
[[nodiscard]] bool isSameScreenshot(const ScreenshotsCatalog::Entry& entry, const LocalScreenshot& local);

/// Compares local files, in the order in which they shall be shown, with what App Store Connect holds. Sets
/// without a local file that can be sent are left alone, unless replacing is to empty those without any. What
/// is there already, under whatever name, is neither deleted nor sent again; leftovers of an upload of one of
/// the files that was cut off or failed are deleted in both modes. In both modes the files end in their own
/// order; appending leaves the places of other screenshots. Nothing is done in a set that would hold more
/// screenshots than App Store Connect takes; its status names the problem.
///
/// Previews are shown in the order in which they were sent: from the first of ours on that stands elsewhere,
/// ours are deleted and sent again, behind those of others.
[[nodiscard]] ScreenshotPlan planScreenshots(const std::vector<LocalScreenshot>& locals,
                                             const ScreenshotsCatalog& catalog, ScreenshotPushMode mode,
                                             SetsWithoutFiles withoutFiles = SetsWithoutFiles::leave,
                                             AssetKind kind = AssetKind::screenshot);

} // namespace quorvel
