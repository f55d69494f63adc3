#include "Core/metadata/StrayEntries.h"

#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataError.h"
#include "Core/metadata/TreeInPlace.h"
#include "Platform/files/Files.h"
#include "Platform/text/Spelling.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace quorvel {

namespace {

using Kind = SkippedEntry::Kind;

// How other tools and people name the files beside the names that `fieldNamed` knows.
constexpr std::pair<std::string_view, FieldType> otherNames[] = {
    {"appname", FieldType::name},
    {"title", FieldType::name},
    {"subtitles", FieldType::subtitle},
    {"desc", FieldType::description},
    {"descriptions", FieldType::description},
    {"fulldescription", FieldType::description},
    {"longdescription", FieldType::description},
    {"promo", FieldType::promotionalText},
    {"promotional", FieldType::promotionalText},
    {"releasenote", FieldType::releaseNotes},
    {"notes", FieldType::releaseNotes},
    {"changelog", FieldType::releaseNotes},
    {"changes", FieldType::releaseNotes},
    {"keyword", FieldType::keywords},
};

using NameAndReason = std::pair<std::string_view, std::string_view>;

constexpr std::string_view picturesFolders[] = {"screenshots", "previews"};
constexpr std::string_view picturesReason = "holds pictures, which are no texts";

// What other tools keep beside the locales.
constexpr NameAndReason knownFolders[] = {
    {"android", "holds the texts for another store"},
    {"trade_representative_contact_information", "holds what App Store Connect's API no longer takes"},
};

// Each context has its own, the usual one without a suffix.
bool isPicturesFolder(std::string_view name) {
    return std::ranges::any_of(picturesFolders, [&](std::string_view base) {
        if (!name.starts_with(base)) return false;
        std::string context(name.substr(base.size()));
        if (context.empty()) return true;
        std::ranges::replace(context, '-', '/');
        return context.starts_with('/') && parseContextID(context.substr(1));
    });
}

// "What's New.txt" becomes "whatsnew".
std::string bareName(std::string_view fileName) {
    std::string bare = asciiLowercase(fileName);
    for (const std::string_view ending : {".txt", ".text", ".md", ".markdown"})
        if (bare.ends_with(ending)) {
            bare.resize(bare.size() - ending.size());
            break;
        }
    std::erase_if(bare, [](char character) {
        return character == '_' || character == '-' || character == ' ' || character == '\'';
    });
    return bare;
}

bool contains(const std::vector<std::string>& names, std::string_view name) {
    return std::ranges::find(names, name) != names.end();
}

struct Listing {
    std::vector<std::string> folders;
    std::vector<std::string> files;
};

// Links count as what they lead to; hidden entries are left out.
Listing listingOf(const std::filesystem::path& folder, const std::vector<FolderEntry>& entries) {
    Listing listing;
    for (const FolderEntry& entry : entries) {
        if (entry.name.starts_with('.')) continue;
        std::error_code unreachable;
        const bool isFolder = entry.kind == FolderEntry::Kind::folder ||
                              (entry.kind == FolderEntry::Kind::link &&
                               std::filesystem::is_directory(folder / entry.name, unreachable));
        (isFolder ? listing.folders : listing.files).push_back(entry.name);
    }
    return listing;
}

Listing listingOf(const std::filesystem::path& folder) {
    return listingOf(folder, listFolder(folder).value_or(std::vector<FolderEntry>()));
}

std::optional<Listing> tryListing(const std::filesystem::path& folder) {
    try {
        return listingOf(folder);
    } catch (const FileError&) {
        return std::nullopt; // a place that cannot be searched is one where nothing is found
    }
}

bool holdsField(const std::filesystem::path& folder) {
    const auto listing = tryListing(folder);
    return listing && std::ranges::any_of(listing->files, isFieldFile);
}

// Whether a locale folder with a field file lies directly in it.
bool isTree(const std::filesystem::path& folder, const Listing& listing) {
    return std::ranges::any_of(listing.folders, [&](const std::string& name) {
        return isAppStoreLocale(name) && holdsField(folder / name);
    });
}

// Searched breadth first, so that the tree nearest to the top is found.
std::optional<std::filesystem::path> treeBelow(const std::filesystem::path& top, int levels) {
    constexpr std::size_t searchedAtMost = 500; // folders of one level
    std::vector<std::filesystem::path> level{top};
    for (int depth = 0; depth <= levels && !level.empty(); ++depth) {
        std::vector<std::filesystem::path> next;
        for (const auto& folder : level) {
            const auto listing = tryListing(folder);
            if (!listing) continue;
            if (isTree(folder, *listing)) return folder;
            for (const std::string& name : listing->folders)
                if (next.size() < searchedAtMost) next.push_back(folder / name);
        }
        level = std::move(next);
    }
    return std::nullopt;
}

// Where the tree lies that somebody meant by naming `folder`.
std::optional<std::filesystem::path> nearbyTree(const std::filesystem::path& folder) {
    constexpr int levelsBelow = 3;
    constexpr int levelsBeside = 2;
    const auto path = folder.lexically_normal();
    const auto whole = path.filename().empty() ? path.parent_path() : path;
    const auto parent = whole.parent_path();
    if (isAppStoreLocale(whole.filename().native()) && holdsField(whole)) return parent;
    if (auto below = treeBelow(whole, levelsBelow)) return below;
    return parent.empty() || parent == whole ? std::nullopt : treeBelow(parent, levelsBeside);
}

} // namespace

bool isFieldFile(std::string_view name) {
    return std::ranges::find(localeFields, name, fileNameOf) != localeFields.end();
}

bool isPageFile(std::string_view name) {
    return std::ranges::find(pageFields, name, fileNameOf) != pageFields.end();
}

bool isReviewFile(std::string_view folder, std::string_view name) {
    return folder == reviewFolderName && isPageFile(fmt::format("{}/{}", folder, name));
}

std::optional<FieldType> fieldMeantBy(std::string_view fileName) {
    if (isFieldFile(fileName)) return std::nullopt;
    const std::string bare = bareName(fileName);
    if (const auto field = fieldNamed(bare); field && !isPageField(*field)) return field;
    for (const auto& [name, field] : otherNames)
        if (bare == name) return field;
    constexpr std::size_t shortest = 5; // letters; among shorter words everything is near
    constexpr auto names = fieldColumn([](const FieldFacts& facts) { return facts.rawName; });
    if (bare.size() < shortest || std::filesystem::path(fileName).extension() != ".txt") return std::nullopt;
    const auto nearest = nearestSpelling(bare, std::span(names).first<localeFields.size()>());
    return nearest ? fieldNamed(*nearest) : std::nullopt;
}

SkippedEntry strayFolder(std::string_view name, const std::vector<std::string>& present) {
    SkippedEntry entry{std::string(name), "is no App Store locale"};
    if (name == fallbackFolderName) {
        entry.reason += "; other tools take its texts for every locale without its own, "
                        "here each locale needs its own files";
        return entry;
    }
    if (isPicturesFolder(name)) return {std::string(name), std::string(picturesReason)};
    for (const auto& [known, reason] : knownFolders)
        if (name == known) return {std::string(name), std::string(reason)};
    if (const auto platform = platformOfTreeFolder(name))
        return {std::string(name),
                fmt::format("is a folder for {}, but the locales lie beside it", platformLabel(*platform))};
    const auto nearest = nearestAppStoreLocale(name);
    if (!nearest) return entry;
    entry.kind = Kind::misnamed;
    entry.reason += contains(present, *nearest)
                        ? fmt::format("; \"{}\" lies beside it, move over what is missing there", *nearest)
                        : fmt::format("; rename it to \"{}\" if that is meant", *nearest);
    return entry;
}

SkippedEntry strayFile(std::string_view locale, std::string_view name,
                       const std::vector<std::string>& present) {
    SkippedEntry entry{(std::filesystem::path(locale) / name).native(), "is no field of the metadata"};
    if (locale != reviewFolderName && isPageFile(name)) {
        entry.kind = Kind::misnamed;
        entry.reason = "is a field of the page, not of a locale; move it beside the locales' folders";
        return entry;
    }
    const auto field = locale == reviewFolderName ? std::nullopt : fieldMeantBy(name);
    if (!field) return entry;
    const std::string_view own = fileNameOf(*field);
    entry.kind = Kind::misnamed;
    entry.reason += contains(present, own) ? fmt::format("; \"{}\" beside it is the one that counts", own)
                                           : fmt::format("; rename it to \"{}\" if that is meant", own);
    return entry;
}

std::vector<SkippedEntry> strayEntries(const MetadataFolder& context, const FolderListings& listings) {
    const std::filesystem::path place = context.rootURL.lexically_relative(context.boundary());
    std::vector<SkippedEntry> entries;
    const auto add = [&](SkippedEntry entry) {
        if (place != ".") entry.path = (place / entry.path).native();
        entries.push_back(std::move(entry));
    };
    const Listing top = listingOf(context.rootURL);
    for (const std::string& name : top.files)
        if (isPageFile(name))
            continue;
        else if (isFieldFile(name) || fieldMeantBy(name))
            add({name, "lies outside of a locale's folder; move it into one", Kind::misnamed});
        else if (isAppStoreLocale(name))
            add({name, "is a file where a locale's folder belongs", Kind::misnamed});
        else
            add({name, "is no file of the metadata"});
    for (const std::string& name : top.folders) {
        const bool holdsFields = isAppStoreLocale(name) || name == reviewFolderName ||
                                 (name == fallbackFolderName && context.isPartOfTree());
        if (!holdsFields) {
            add(strayFolder(name, top.folders));
            continue;
        }
        const auto listed = listings.find(name);
        const auto found = listed == listings.end()
                               ? tryListing(context.rootURL / name)
                               : std::optional(listingOf(context.rootURL / name, listed->second));
        if (!found) continue;
        for (const std::string& file : found->files)
            if (name == reviewFolderName ? !isReviewFile(name, file) : !isFieldFile(file))
                add(strayFile(name, file, found->files));
        for (const std::string& folder : found->folders)
            if (isFieldFile(folder))
                continue; // reading it says what is wrong
            else
                add({(std::filesystem::path(name) / folder).native(), "is a folder, and no field is one"});
    }
    if (place != ".") { // the folders of the platforms have neighbours, too
        const Listing outer = listingOf(context.boundary());
        for (const std::string& name : outer.files)
            entries.push_back({name, "lies outside of a platform's folder"});
        for (const std::string& name : outer.folders)
            if (isPicturesFolder(name))
                entries.push_back({name, std::string(picturesReason)});
            else if (const auto known =
                         std::ranges::find(knownFolders, std::string_view(name), &NameAndReason::first);
                     known != std::end(knownFolders))
                entries.push_back({name, std::string(known->second)});
            else if (!platformOfTreeFolder(name))
                entries.push_back({name, "is no platform's folder", Kind::misnamed});
    }
    std::ranges::sort(entries, {}, &SkippedEntry::path);
    return entries;
}

bool isOfPictures(const SkippedEntry& entry) {
    return isPicturesFolder(entry.path);
}

std::vector<SkippedEntry> misnamedEntries(const MetadataFolder& context, const FolderListings& listings) {
    std::vector<SkippedEntry> entries = strayEntries(context, listings);
    if (context.isPartOfTree()) { // its pictures are the app's
        std::erase_if(entries, isOfPictures);
        return entries;
    }
    std::erase_if(entries, [](const SkippedEntry& entry) { return entry.kind != Kind::misnamed; });
    if (!holdsField(context.rootURL / fallbackFolderName)) return entries;
    std::erase_if(entries, [](const SkippedEntry& entry) {
        return std::filesystem::path(entry.path).begin()->native() == fallbackFolderName;
    });
    SkippedEntry fallback = strayFolder(fallbackFolderName, {});
    fallback.kind = Kind::misnamed; // its texts go nowhere
    entries.insert(std::ranges::upper_bound(entries, fallback.path, {}, &SkippedEntry::path),
                   std::move(fallback));
    return entries;
}

void requireTree(const std::filesystem::path& folder) {
    const Listing listing = listingOf(folder);
    if (isTree(folder, listing)) return;
    std::string advice = "A tree has a folder per locale, such as de-DE/name.txt.";
    const auto misnamed = std::ranges::find_if(listing.folders, [&](const std::string& name) {
        return !isAppStoreLocale(name) && nearestAppStoreLocale(name) && holdsField(folder / name);
    });
    if (misnamed != listing.folders.end())
        advice = fmt::format("\"{}\" may mean \"{}\"; rename it then.", escapeControls(*misnamed),
                             *nearestAppStoreLocale(*misnamed));
    else if (const auto near = nearbyTree(folder))
        advice = fmt::format("There is a tree in {}; name that.", escapeControls(near->native()));
    else if (std::ranges::any_of(listing.folders, isAppStoreLocale))
        return; // each of its files is named with what is wrong
    throw MetadataError(
        MetadataError::Kind::noLocales,
        fmt::format("{}: holds no text of an App Store locale. {}", escapeControls(folder.native()), advice),
        {folder, {}, {}});
}

} // namespace quorvel
