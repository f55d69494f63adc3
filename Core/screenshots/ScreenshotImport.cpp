#include "Core/screenshots/ScreenshotImport.h"

#include "Core/screenshots/ScreenshotError.h"
#include "Core/screenshots/ScreenshotFile.h"
#include "Core/screenshots/previews/PosterFrame.h"
#include "Core/screenshots/previews/VideoHeader.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <map>
#include <set>
#include <system_error>

namespace quorvel {

namespace {

using FolderOfSet = std::map<std::pair<std::string, std::string>, std::filesystem::path>;

// The folder <locale>/<name> that each set has already: "iphone-67" serves as well as "APP_IPHONE_67".
FolderOfSet foldersOfSets(const std::filesystem::path& pictures, ASCPlatform platform, AssetKind kind) {
    FolderOfSet folders;
    std::error_code unreachable;
    if (!std::filesystem::is_directory(pictures, unreachable)) return folders;
    for (const ScreenshotPushItem& item : ScreenshotPushScanner(pictures, platform, kind).scan().items) {
        const auto folder = item.fileURL.parent_path();
        if (folder.parent_path() == pictures / item.locale &&
            displayTypeOfFolder(folder.filename().native(), kind) == item.displayType)
            folders.try_emplace({item.locale, item.displayType}, folder);
    }
    return folders;
}

bool isWithin(const std::filesystem::path& path, const std::filesystem::path& folder) {
    std::error_code unknown;
    const auto relative = std::filesystem::weakly_canonical(path, unknown)
                              .lexically_relative(std::filesystem::weakly_canonical(folder, unknown));
    return !relative.empty() && *relative.begin() != "..";
}

// A file that is taken: where it is, and where it goes.
struct TakenFile {
    std::filesystem::path source;
    std::filesystem::path target;
};

bool isThere(const std::filesystem::path& file) {
    std::error_code unknown;
    return std::filesystem::is_regular_file(file, unknown);
}

bool areEqual(const std::filesystem::path& left, const std::filesystem::path& right) {
    std::error_code unknown;
    const auto size = std::filesystem::file_size(left, unknown);
    return !unknown && size == std::filesystem::file_size(right, unknown) && !unknown &&
           fileChecksum(left) == fileChecksum(right);
}

// A video is too large to be held in memory. Who is killed meanwhile leaves a hidden part, which no scan
// finds and the next import replaces.
void copyInOneStep(const std::filesystem::path& source, std::filesystem::path target) {
    std::error_code error;
    if (std::filesystem::is_symlink(target, error)) target = std::filesystem::canonical(target, error);
    createFolders(target.parent_path());
    const auto temporary = target.parent_path() / fmt::format(".{}.part", target.filename().native());
    const auto fail = [&] {
        const FileError failed(target, fmt::format("{}: {}", shownPath(target), error.message()),
                               error.value());
        std::filesystem::remove(temporary, error);
        throw failed;
    };
    std::filesystem::copy_file(source, temporary, std::filesystem::copy_options::overwrite_existing, error);
    if (error) fail();
    std::filesystem::rename(temporary, target, error);
    if (error) fail();
}

// A name says little: what is no video would be refused by every push to come. A picture that is damaged is
// told by the push, which may be asked to send it all the same.
void requireContent(const std::filesystem::path& file, AssetKind kind) {
    if (kind == AssetKind::preview && !isPosterFileName(file.filename().native()))
        (void)readVideoHeader(file);
}

std::string relativeTo(const std::filesystem::path& file, const std::filesystem::path& folder) {
    return shownPath(file.lexically_relative(folder));
}

} // namespace

ScreenshotImportReport importScreenshots(const std::filesystem::path& tree,
                                         const ScreenshotImportTarget& target,
                                         const ScreenshotSelection& selection, DryRun dryRun) {
    if (isWithin(tree, target.pictures) || isWithin(target.pictures, tree))
        throw ScreenshotError::ownFolder(tree, selection.kind);
    auto scan = scanScreenshots(tree, selection);
    ScreenshotImportReport report{.locales = localesOf(scan),
                                  .imported = {},
                                  .kept = {},
                                  .guesses = std::move(scan.guesses),
                                  .warnings = std::move(scan.warnings),
                                  .failures = {}};
    for (const auto& failure : scan.failures)
        report.failures.push_back(failure.text);
    const FolderOfSet folders = foldersOfSets(target.pictures, selection.platform, selection.kind);
    std::map<std::filesystem::path, std::filesystem::path> sources; // of the files that are taken
    std::vector<TakenFile> taken;
    for (const ScreenshotPushItem& item : scan.items) {
        checkCancellation();
        const auto found = folders.find({item.locale, item.displayType});
        const auto folder =
            found == folders.end() ? target.pictures / item.locale / item.displayType : found->second;
        const auto file = folder / item.fileURL.filename();
        const std::string shown = relativeTo(file, target.pictures), source = relativeTo(item.fileURL, tree);
        if (const auto [first, isNew] = sources.try_emplace(file, item.fileURL); !isNew) {
            report.failures.push_back(
                fmt::format("{}: not taken, as {} takes its place {}. Rename one of them.", source,
                            relativeTo(first->second, tree), shown));
            continue;
        }
        taken.push_back({item.fileURL, file});
        // The choice of its poster frame goes with a video.
        if (const auto poster = posterFileOf(item.fileURL);
            selection.kind == AssetKind::preview && isThere(poster))
            taken.push_back({poster, posterFileOf(file)});
    }
    for (const auto& [source, file] : taken) {
        checkCancellation();
        const std::string shown = relativeTo(file, target.pictures);
        try {
            if (!isThere(source)) {
                report.failures.push_back(fmt::format("{}: cannot be read: it is no file, or leads to none.",
                                                      relativeTo(source, tree)));
                continue;
            }
            requireContent(source, selection.kind);
            const bool isPresent = isThere(file);
            if (isPresent && areEqual(source, file)) {
                ++report.unchanged;
                continue;
            }
            requireReadable(source);
            report.imported.push_back(shown);
            const auto kept = target.kept / file.lexically_relative(target.pictures);
            if (isPresent) report.kept.push_back({shown, kept.string()});
            if (dryRun == DryRun::yes) continue;
            if (isPresent) copyInOneStep(file, kept);
            copyInOneStep(source, file);
        } catch (const VideoError& error) {
            report.failures.push_back(fmt::format("{}: {}", relativeTo(source, tree), error.what()));
        } catch (const ScreenshotFileError& error) {
            // A picture that cannot be read stops no other; a disk that takes nothing does.
            report.failures.push_back(fmt::format("{}: {}", relativeTo(source, tree), error.what()));
        }
    }
    if (dryRun == DryRun::no && !report.imported.empty()) syncFiles(target.pictures);
    return report;
}

} // namespace quorvel
