#include "Core/metadata/TreeReader.h"

#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataStore.h"
#include "Core/metadata/TreeInPlace.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>

namespace quorvel {

namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
constexpr int fileFlags = O_RDONLY | O_NONBLOCK | O_CLOEXEC; // opening a FIFO must not wait for its writer

FileDescriptor openAt(int parent, const char* name, int flags) {
    return FileDescriptor(uninterrupted([&] { return ::openat(parent, name, flags); }));
}

bool isFolder(int parent, const dirent& entry) {
    if (entry.d_type == DT_DIR) return true;
    if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN) return false;
    struct stat status {};
    return ::fstatat(parent, entry.d_name, &status, 0) == 0 && S_ISDIR(status.st_mode);
}

// The length of the well-formed sequence that `text` begins with; 0 when it begins with none.
std::size_t sequenceLength(std::string_view text) {
    for (std::size_t length = 1; length <= std::min<std::size_t>(4, text.size()); ++length)
        if (isValidUTF8(text.substr(0, length))) return length;
    return 0;
}

std::size_t firstIllFormedByte(std::string_view text) {
    std::size_t offset = 0;
    while (const std::size_t length = sequenceLength(text.substr(offset)))
        offset += length;
    return offset;
}

// `path` is a function, as it is only needed for errors.
template <typename Path>
std::string readText(const FileDescriptor& file, const Path& path) {
    struct stat status {};
    if (::fstat(file.number(), &status) != 0) throw MetadataError::cannotRead(path(), errno);
    if (!S_ISREG(status.st_mode)) throw MetadataError::notAFile(path());
    const auto size = static_cast<std::uint64_t>(status.st_size);
    if (size > MetadataStore::fileLimit)
        throw MetadataError::tooLarge(path(), size, MetadataStore::fileLimit);
    std::string bytes(size, '\0');
    std::size_t end = 0;
    while (end < bytes.size()) {
        const auto count =
            uninterrupted([&] { return ::read(file.number(), bytes.data() + end, bytes.size() - end); });
        if (count < 0) throw MetadataError::cannotRead(path(), errno);
        if (count == 0) break; // became shorter meanwhile
        end += static_cast<std::size_t>(count);
    }
    bytes.resize(end);
    if (const std::size_t nul = bytes.find('\0'); nul != std::string::npos)
        throw MetadataError::holdsNUL(path(), nul);
    if (!isValidUTF8(bytes)) throw MetadataError::notUTF8(path(), firstIllFormedByte(bytes));
    return bytes;
}

// The folder's open listing; closed by its deleter.
auto openListing(int folder) {
    const auto close = [](DIR* listing) { ::closedir(listing); };
    const int number = uninterrupted([&] { return ::openat(folder, ".", folderFlags); });
    return std::unique_ptr<DIR, decltype(close)>(number < 0 ? nullptr : ::fdopendir(number), close);
}

std::optional<FolderEntry::Kind> kindOf(const dirent& entry) {
    switch (entry.d_type) {
    case DT_REG:
        return FolderEntry::Kind::file;
    case DT_DIR:
        return FolderEntry::Kind::folder;
    case DT_LNK:
        return FolderEntry::Kind::link;
    case DT_UNKNOWN:
        return std::nullopt; // the file system does not tell
    default:
        return FolderEntry::Kind::other;
    }
}

// The entries of an open folder; nothing where it cannot be listed, or their kinds are not told.
std::optional<std::vector<FolderEntry>> entriesIn(const FileDescriptor& folder) {
    if (!folder.isOpen()) return std::nullopt;
    const auto listing = openListing(folder.number());
    if (!listing) return std::nullopt;
    std::vector<FolderEntry> entries;
    errno = 0;
    while (const dirent* entry = ::readdir(listing.get())) {
        const auto kind = kindOf(*entry);
        if (!kind) return std::nullopt;
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") entries.push_back({std::string(name), *kind});
    }
    if (errno != 0) return std::nullopt;
    std::ranges::sort(entries, {}, &FolderEntry::name);
    return entries;
}

// A file system may find a file in any spelling of its name.
bool mayHold(const std::vector<FolderEntry>& entries, std::string_view name) {
    return std::ranges::any_of(entries, [&](const FolderEntry& entry) {
        return entry.name.size() == name.size() && (entry.name == name || asciiLowercase(entry.name) == name);
    });
}

// Whether `path`, which begins with `root` as it is written, has no link below it; links above are the user's
// own way to the tree.
bool hasNoLinkBelow(const std::filesystem::path& path, const std::filesystem::path& root) {
    const auto [rest, end] = std::ranges::mismatch(path, root);
    if (end != root.end()) return false;
    std::filesystem::path walked = root;
    return std::none_of(rest, path.end(), [&](const std::filesystem::path& name) {
        walked /= name;
        return name == ".." || std::filesystem::is_symlink(walked);
    });
}

} // namespace

void requireInside(const std::filesystem::path& path, const std::filesystem::path& root) try {
    if (hasNoLinkBelow(path, root)) return;
    std::filesystem::path target = path;
    // weakly_canonical() would take a link to what does not exist yet for a plain name.
    for (int hops = 0; hops < 40 && std::filesystem::is_symlink(target); ++hops)
        target = target.parent_path() / std::filesystem::read_symlink(target);
    const auto whole = std::filesystem::weakly_canonical(target);
    const auto base = std::filesystem::weakly_canonical(root);
    if (std::ranges::mismatch(base, whole).in1 != base.end()) throw MetadataError::leadsOutside(path, root);
} catch (const std::filesystem::filesystem_error& error) {
    // Such as a link to itself.
    throw MetadataError::cannotRead(path, error.code().value());
}

TreeReader::TreeReader(const MetadataFolder& folder, TextSide side) : folder_(folder), side_(side) {
    std::filesystem::path walked = folder.boundary();
    texts_ = openAt(AT_FDCWD, walked.c_str(), folderFlags);
    if (!texts_.isOpen() && errno != ENOENT) throw MetadataError::cannotRead(walked, errno);
    for (const std::filesystem::path& name : folder.textsFolder(side).lexically_relative(walked)) {
        if (!texts_.isOpen() || name == ".") break;
        walked /= name;
        texts_ = openFolder(texts_, name.native(), walked);
    }
}

std::vector<std::string> TreeReader::locales() const {
    std::vector<std::string> names;
    if (!texts_.isOpen()) return names;
    const auto folder = openListing(texts_.number());
    if (!folder) throw MetadataError::cannotRead(folder_.textsFolder(side_), errno);
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(folder.get());
        if (!entry && errno != 0) throw MetadataError::cannotRead(folder_.textsFolder(side_), errno);
        if (!entry) break;
        if (isSafeName(entry->d_name) && entry->d_name != reviewFolderName && mayBeLocale(entry->d_name) &&
            isFolder(texts_.number(), *entry) && !(entry->d_type != DT_DIR && isStrayLink(entry->d_name)))
            names.emplace_back(entry->d_name);
    }
    std::ranges::sort(names);
    return names;
}

FieldTexts TreeReader::readLocale(std::string_view locale) const {
    FieldTexts texts;
    Folders folders{.lists = true};
    for (const FieldType field : fieldsOf(locale))
        texts[field] = readFieldFile(folders, locale, field);
    return texts;
}

TreeReader::Locale TreeReader::readUsable(std::string_view locale) const {
    Locale reading;
    const auto report = [&](FieldType field, const MetadataError& error) {
        reading.unreadable.push_back(
            {std::string(locale), field, error.what(), error.kind() == MetadataError::Kind::unusableText});
    };
    Folders folders{.lists = true};
    for (const FieldType field : fieldsOf(locale)) {
        try {
            reading.texts[field] = readFieldFile(folders, locale, field);
        } catch (const MetadataError& error) {
            report(field, error);
        }
    }
    if (folders.own) reading.entries = std::move(folders.own->entries);
    return reading;
}

ReadTexts TreeReader::readAllUsable(FolderListings* listings) const {
    ReadTexts all;
    for (const std::string& locale : locales()) {
        Locale one = readUsable(locale);
        if (listings && one.entries) listings->emplace(locale, *std::move(one.entries));
        all.texts.emplace_hint(all.texts.end(), locale, std::move(one.texts));
        all.unreadable.insert(all.unreadable.end(), one.unreadable.begin(), one.unreadable.end());
    }
    Locale page = readUsable(pageLocale);
    all.page = std::move(page.texts);
    all.unreadable.insert(all.unreadable.begin(), page.unreadable.begin(), page.unreadable.end());
    return all;
}

std::optional<std::string> TreeReader::read(std::string_view locale, FieldType field) const {
    Folders folders;
    return readFieldFile(folders, locale, field);
}

bool TreeReader::mayBeLocale(std::string_view name) const {
    return side_ == TextSide::pulled || !folder_.isPartOfTree() || isLocaleOfTree(name);
}

bool TreeReader::isStrayLink(const std::string& name) const {
    std::error_code unreachable;
    if (isAppStoreLocale(name) ||
        std::filesystem::exists(folder_.localeFolder(name, TextSide::pulled), unreachable))
        return false; // to be refused by name when it is read
    try {
        requireInside(folder_.localeFolder(name, side_), folder_.boundary());
        return false;
    } catch (const MetadataError& error) {
        Logger("TreeReader").warning(fmt::format("Left out, as it is no locale: {}", error.what()));
        return true;
    }
}

FileDescriptor TreeReader::openFolder(const FileDescriptor& parent, const std::string& name,
                                      const std::filesystem::path& path) const {
    FileDescriptor folder = openAt(parent.number(), name.c_str(), folderFlags | O_NOFOLLOW);
    if (!folder.isOpen() && (errno == ELOOP || errno == ENOTDIR)) { // a link, or no folder at all
        requireInside(path, folder_.boundary());
        folder = openAt(parent.number(), name.c_str(), folderFlags);
    }
    if (!folder.isOpen() && errno != ENOENT) throw MetadataError::cannotRead(path, errno);
    return folder;
}

const TreeReader::Folder& TreeReader::open(Folders& folders, std::string_view locale, FieldType field) const {
    const bool isOfReview = fileNameOf(field).find('/') != std::string_view::npos;
    auto& folder = isOfReview ? folders.review : folders.own;
    if (folder) return *folder;
    folder = Folder{isOfReview ? openLocale(reviewFolderName)
                               : openLocale(locale == pageLocale ? std::string_view(".") : locale),
                    {}};
    if (folders.lists) folder->entries = entriesIn(folder->descriptor);
    return *folder;
}

FileDescriptor TreeReader::openLocale(std::string_view locale) const {
    if (!texts_.isOpen()) return FileDescriptor();
    if (locale == ".") return openFolder(texts_, ".", folder_.textsFolder(side_));
    return openFolder(texts_, std::string(locale), folder_.localeFolder(locale, side_));
}

std::optional<std::string> TreeReader::readFieldFile(Folders& folders, std::string_view locale,
                                                     FieldType field) const {
    const bool isOfPage = locale == pageLocale && isPageField(field);
    if (!isOfPage && !isSafeName(locale)) throw MetadataError::unsafeLocale(locale);
    const auto& [folder, entries] = open(folders, locale, field);
    if (!folder.isOpen()) return std::nullopt;
    const std::string name(fileNameOf(field).substr(fileNameOf(field).find('/') + 1));
    if (entries && !mayHold(*entries, name)) return std::nullopt;
    const auto path = [&] { return folder_.fieldFile(locale, field, side_); };
    FileDescriptor file = openAt(folder.number(), name.c_str(), fileFlags | O_NOFOLLOW);
    if (!file.isOpen() && errno == ELOOP) {
        requireInside(path(), folder_.boundary());
        file = openAt(folder.number(), name.c_str(), fileFlags);
    }
    if (!file.isOpen() && errno == ENOENT) return std::nullopt;
    if (!file.isOpen()) throw MetadataError::cannotRead(path(), errno);
    return readText(file, path);
}

} // namespace quorvel
