#include "Quorvel/repository/RepositoryParts.h"

#include "Core/build/ProjectSearch.h"
#include "Core/metadata/FieldType.h"
#include "Core/metadata/Locales.h"
#include "Core/metadata/TreeInPlace.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <system_error>

namespace quorvel {

namespace {

namespace fs = std::filesystem;

constexpr int levels = 5;
constexpr std::size_t mostFolders = 5000; // a home folder is no repository
constexpr std::string_view passedOver[] = {"Pods",  "Carthage",     "DerivedData",
                                           "build", "node_modules", "vendor"};
constexpr std::string_view pictureEndings[] = {".png", ".jpg", ".jpeg"};

class PartsSearch {
  public:
    [[nodiscard]] RepositoryParts search(const fs::path& top) {
        // Level by level, so that what lies near the top comes first.
        std::vector<fs::path> folders = {top};
        std::size_t visited = 0;
        for (int level = 0; level < levels && !folders.empty(); ++level) {
            std::vector<fs::path> next;
            for (const fs::path& folder : folders)
                if (++visited <= mostFolders) look(folder, next);
            folders = std::move(next);
        }
        return std::move(parts_);
    }

  private:
    void look(const fs::path& folder, std::vector<fs::path>& next) {
        std::vector<fs::path> projects;
        for (const fs::path& child : foldersIn(folder)) {
            const std::string name = child.filename().string();
            if (isProjectName(child))
                projects.push_back(child);
            else if (isAppStoreLocale(name))
                takeLocale(folder, child);
            else if (std::ranges::find(passedOver, name) == std::ranges::end(passedOver))
                next.push_back(child);
        }
        const bool hasWorkspace = std::ranges::any_of(
            projects, [](const fs::path& path) { return path.extension() == ".xcworkspace"; });
        for (const fs::path& project : projects)
            if (!hasWorkspace || project.extension() == ".xcworkspace") add(parts_.projects, project);
    }

    void takeLocale(const fs::path& folder, const fs::path& locale) {
        std::error_code ignored;
        for (const FieldType field : allFieldTypes)
            if (fs::is_regular_file(locale / fileNameOf(field), ignored))
                return add(parts_.trees, treeAbove(folder));
        if (folder.filename() == "screenshots" && holdsPictures(locale, 2)) add(parts_.screenshots, folder);
    }

    // Without the levels of platforms and slots: <tree>/ios/next/de-DE, <tree>/ios/de-DE, <tree>/de-DE.
    static fs::path treeAbove(fs::path folder) {
        const std::string name = folder.filename().string();
        if (name == "next" || name == "live") folder = folder.parent_path();
        return platformOfTreeFolder(folder.filename().native()) ? folder.parent_path() : folder;
    }

    static bool holdsPictures(const fs::path& folder, int depth) {
        std::error_code ignored;
        for (fs::directory_iterator entry(folder, ignored), end; !ignored && entry != end;
             entry.increment(ignored)) {
            const std::string ending = asciiLowercase(entry->path().extension().string());
            if (std::ranges::find(pictureEndings, ending) != std::ranges::end(pictureEndings)) return true;
            if (depth > 1 && entry->is_directory(ignored) && holdsPictures(entry->path(), depth - 1))
                return true;
        }
        return false;
    }

    static std::vector<fs::path> foldersIn(const fs::path& folder) {
        std::vector<fs::path> folders;
        try {
            for (const FolderEntry& entry : listFolder(folder).value_or(std::vector<FolderEntry>()))
                if (entry.kind == FolderEntry::Kind::folder && !entry.name.starts_with('.'))
                    folders.push_back(folder / entry.name);
        } catch (const FileError&) {
            // nothing of it can be named
        }
        std::ranges::sort(folders);
        return folders;
    }

    static void add(std::vector<std::string>& paths, const fs::path& path) {
        if (std::ranges::find(paths, path.string()) == paths.end()) paths.push_back(path.string());
    }

    RepositoryParts parts_;
};

} // namespace

RepositoryParts findRepositoryParts(const fs::path& folder) {
    return PartsSearch().search(folder);
}

} // namespace quorvel
