#include "Core/screenshots/ScreenshotImport.h"

#include "Core/screenshots/ScreenshotError.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <map>
#include <set>

namespace quorvel {

namespace {

using FolderOfSet = std::map<std::pair<std::string, std::string>, std::filesystem::path>;

// The folder <locale>/<name> that each set has already: "iphone-67" serves as well as "APP_IPHONE_67".
FolderOfSet foldersOfSets(const std::filesystem::path& pictures, ASCPlatform platform) {
    FolderOfSet folders;
    std::error_code unreachable;
    if (!std::filesystem::is_directory(pictures, unreachable)) return folders;
    for (const ScreenshotPushItem& item : ScreenshotPushScanner(pictures, platform).scan().items) {
        const auto folder = item.fileURL.parent_path();
        if (folder.parent_path() == pictures / item.locale &&
            displayTypeOfFolder(folder.filename().native()) == item.displayType)
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

std::string relativeTo(const std::filesystem::path& file, const std::filesystem::path& folder) {
    return shownPath(file.lexically_relative(folder));
}

} // namespace

ScreenshotImportReport importScreenshots(const std::filesystem::path& tree,
                                         const ScreenshotImportTarget& target,
                                         const ScreenshotSelection& selection, DryRun dryRun) {
    if (isWithin(tree, target.pictures) || isWithin(target.pictures, tree))
        throw ScreenshotError::ownFolder(tree);
    auto scan = scanScreenshots(tree, selection);
    ScreenshotImportReport report{.locales = localesOf(scan),
                                  .imported = {},
                                  .kept = {},
                                  .guesses = std::move(scan.guesses),
                                  .warnings = std::move(scan.warnings),
                                  .failures = {}};
    for (const auto& failure : scan.failures)
        report.failures.push_back(failure.text);
    const FolderOfSet folders = foldersOfSets(target.pictures, selection.platform);
    std::map<std::filesystem::path, std::filesystem::path> sources; // of the files that are taken
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
        try {
            const auto bytes = readFile(item.fileURL);
            if (!bytes) {
                report.failures.push_back(fmt::format("{}: cannot be read: it leads nowhere.", source));
                continue;
            }
            const auto present = readFile(file);
            if (present == bytes) {
                ++report.unchanged;
                continue;
            }
            report.imported.push_back(shown);
            const auto kept = target.kept / file.lexically_relative(target.pictures);
            if (present) report.kept.push_back({shown, kept.string()});
            if (dryRun == DryRun::yes) continue;
            if (present) {
                createFolders(kept.parent_path());
                writeFileAtomically(kept, *present, FileMode::shared, Durability::later);
            }
            createFolders(folder);
            writeFileAtomically(file, *bytes, FileMode::shared, Durability::later);
        } catch (const FileError& error) {
            // A picture that cannot be read stops no other; a disk that takes nothing does.
            if (error.path() != item.fileURL) throw;
            report.failures.push_back(fmt::format("{}: {}", source, error.what()));
        }
    }
    if (dryRun == DryRun::no && !report.imported.empty()) syncFiles(target.pictures);
    return report;
}

} // namespace quorvel
