#include "Core/metadata/OlderLayout.h"

#include "Core/metadata/DryRun.h"
#include "Core/metadata/Locales.h"
#include "Platform/files/Files.h"
#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <set>

namespace quorvel {

namespace {

namespace fs = std::filesystem;

std::vector<FolderEntry> entriesOf(const fs::path& folder) {
    if (!isFolder({folder})) return {}; // a file called "tvos" concerns nobody
    return listFolder(folder).value_or(std::vector<FolderEntry>());
}

bool holdsFieldFile(const fs::path& folder) {
    return std::ranges::any_of(localeFields, [&](FieldType field) {
        std::error_code unreachable;
        return fs::is_regular_file(folder / fileNameOf(field), unreachable);
    });
}

bool isOccupied(const fs::path& path) {
    std::error_code unreachable;
    const fs::file_status status = fs::symlink_status(path, unreachable);
    if (fs::is_directory(status)) return !fs::is_empty(path, unreachable);
    return status.type() != fs::file_type::not_found;
}

// Whether the folder moved. A rename puts a folder in the place of an empty one only, so nothing is replaced
// even if somebody makes something there at this moment.
bool moveFolder(const fs::path& from, const fs::path& to) {
    createFolders(to.parent_path());
    if (std::rename(from.c_str(), to.c_str()) == 0) return true;
    if (errno == ENOTEMPTY || errno == EEXIST || errno == ENOTDIR) return false;
    throw FileError(from, fmt::format("cannot be moved to {}", escapeControls(to.native())), errno);
}

MetadataFolder nextFolder(const MetadataFolder& appFolder, ASCPlatform platform) {
    return appFolder.contextFolder({platform, AppStoreVersionStateClass::editable});
}

void append(auto& list, const auto& more) {
    list.insert(list.end(), more.begin(), more.end());
}

// The older folder of one platform.
class Carrier {
  public:
    Carrier(const MetadataFolder& appFolder, ASCPlatform platform, DryRun dryRun)
        : root_(appFolder.rootURL),
          older_(appFolder.platformFolder(platform)),
          next_(nextFolder(appFolder, platform)),
          dryRun_(dryRun) {}

    OlderLayoutReport carry() {
        carry(TextSide::local);
        carry(TextSide::pulled);
        if (dryRun_ == DryRun::no && !report_.moved.empty()) {
            std::error_code notEmpty;
            fs::remove(older_.textsFolder(TextSide::pulled), notEmpty);
            fs::remove(older_.privateFolder(), notEmpty);
        }
        return std::move(report_);
    }

  private:
    void carry(TextSide side) {
        for (const FolderEntry& entry : entriesOf(older_.textsFolder(side))) {
            const fs::path from = older_.textsFolder(side) / entry.name;
            if (!isAppStoreLocale(entry.name) || !holdsFieldFile(from)) continue;
            const CarriedFolder folder{shown(from), shown(next_.localeFolder(entry.name, side))};
            if (const std::string reason = carry(entry, side, from); reason.empty())
                report_.moved.push_back(folder);
            else {
                staying_.insert(entry.name);
                report_.leftInPlace.push_back({folder, fmt::format("{} {}", folder.from, reason)});
            }
        }
    }

    // Why the folder stays; empty when it moved.
    std::string carry(const FolderEntry& entry, TextSide side, const fs::path& from) {
        const fs::path to = next_.localeFolder(entry.name, side);
        const fs::path copyOfOther = next_.localeFolder(entry.name, TextSide::pulled);
        if (entry.kind != FolderEntry::Kind::folder)
            return "stays where it is: it is a link. Move what it leads to yourself.";
        if (staying_.contains(entry.name)) return "stays beside the texts that it is the copy of.";
        // Texts are not put beside the copy of another pull, which would make edits of them.
        const fs::path& taken = side == TextSide::local && isOccupied(copyOfOther) ? copyOfOther : to;
        if (isOccupied(taken) || (dryRun_ == DryRun::no && !moveFolder(from, to)))
            return fmt::format("stays where it is: {} is there already. Compare the two and remove one.",
                               shown(taken));
        return {};
    }

    [[nodiscard]] std::string shown(const fs::path& path) const {
        return path.lexically_relative(root_).generic_string();
    }

    fs::path root_;
    MetadataFolder older_;
    MetadataFolder next_;
    DryRun dryRun_;
    OlderLayoutReport report_;
    std::set<std::string> staying_;
};

OlderLayoutReport carryAll(const MetadataFolder& appFolder, DryRun dryRun) {
    OlderLayoutReport report;
    for (const ASCPlatform platform : allPlatforms) {
        const OlderLayoutReport one = Carrier(appFolder, platform, dryRun).carry();
        append(report.moved, one.moved);
        append(report.leftInPlace, one.leftInPlace);
    }
    return report;
}

} // namespace

std::vector<std::string> OlderLayoutReport::lines() const {
    std::vector<std::string> lines;
    if (!moved.empty())
        lines.push_back(fmt::format("Carried {} of the older layout over, such as {} to {}.",
                                    counted(moved.size(), "folder"), moved.front().from, moved.front().to));
    for (const LeftFolder& left : leftInPlace)
        lines.push_back(left.explanation);
    return lines;
}

OlderLayoutReport findOlderLayout(const MetadataFolder& appFolder) {
    return carryAll(appFolder, DryRun::yes);
}

OlderLayoutReport carryOverOlderLayout(const MetadataFolder& appFolder) {
    return carryAll(appFolder, DryRun::no);
}

} // namespace quorvel
