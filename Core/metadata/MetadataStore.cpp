#include "Core/metadata/MetadataStore.h"

#include "Core/metadata/TreeReader.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

std::filesystem::path pullMarker(const MetadataFolder& folder) {
    return folder.privateFolder() / "pulling";
}

// The id of the pulled version, and in a second line when that was.
std::filesystem::path versionNote(const MetadataFolder& folder) {
    return folder.privateFolder() / "version";
}

FileMode modeOf(FieldType field) {
    return isSecret(field) ? FileMode::secret : FileMode::shared;
}

// A moment as a folder's name, such as "2026-03-01T12-30-00Z"; a later one of the same second has a number.
std::string folderNameOf(Date moment, int attempt) {
    std::string name = formatISO8601(moment);
    std::ranges::replace(name, ':', '-');
    return attempt == 1 ? name : fmt::format("{}-{}", name, attempt);
}

} // namespace

MetadataStore::MetadataStore(MetadataFolder folder, Logger logger)
    : folder_(std::move(folder)), logger_(std::move(logger)) {}

std::optional<std::string> MetadataStore::read(std::string_view locale, FieldType field,
                                               TextSide side) const {
    return TreeReader(folder_, side).read(locale, field);
}

FieldTexts MetadataStore::readLocale(std::string_view locale, TextSide side) const {
    return TreeReader(folder_, side).readLocale(locale);
}

LocaleTexts MetadataStore::readAll(TextSide side) const {
    const TreeReader reader(folder_, side);
    LocaleTexts all;
    for (const std::string& locale : reader.locales())
        all.emplace_hint(all.end(), locale, reader.readLocale(locale));
    return all;
}

ReadTexts MetadataStore::readAllUsable(TextSide side, FolderListings* listings) const {
    return TreeReader(folder_, side).readAllUsable(listings);
}

void MetadataStore::write(std::string_view locale, FieldType field, std::string_view text, TextSide side,
                          Durability durability) const {
    const std::filesystem::path file = checkedFile(locale, field, side);
    createFolders(file.parent_path());
    writeFileAtomically(file, text, modeOf(field), durability);
}

bool MetadataStore::update(std::string_view locale, FieldType field, const Rewrite& rewrite,
                           Durability durability) const {
    constexpr int attempts = 10;
    const std::filesystem::path file = checkedFile(locale, field, TextSide::local);
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const auto present = read(locale, field);
        const auto text = rewrite(present);
        if (!text) return false;
        createFolders(file.parent_path());
        if (replaceFile(file, present, *text, durability, modeOf(field))) return true;
    }
    throw MetadataError::keepsChanging(file);
}

bool MetadataStore::remove(std::string_view locale, FieldType field, TextSide side) const {
    const std::filesystem::path file = checkedFile(locale, field, side);
    const bool removed = removeFile(file);
    std::error_code notEmpty;
    if (side == TextSide::pulled && file.parent_path() != folder_.textsFolder(side))
        std::filesystem::remove(file.parent_path(), notEmpty);
    return removed;
}

bool MetadataStore::exists(std::string_view locale, FieldType field, TextSide side) const {
    std::error_code unreachable;
    return std::filesystem::exists(folder_.fieldFile(locale, field, side), unreachable);
}

std::vector<std::string> MetadataStore::localesOnDisk(TextSide side) const {
    return TreeReader(folder_, side).locales();
}

void MetadataStore::createLocaleLocally(std::string_view locale) const {
    createFolders(folder_.localeFolder(locale));
    for (const FieldType field : storeTexts)
        if (!exists(locale, field))
            update(locale, field, [](const auto& present) {
                return present ? std::nullopt : std::optional<std::string>("");
            });
    logger_.info(fmt::format("Created the files of locale {}", locale));
}

MetadataSnapshot MetadataStore::snapshot() const {
    return MetadataSnapshot::of(readAll());
}

bool MetadataStore::hasInterruptedPull() const {
    std::error_code unreachable;
    return std::filesystem::exists(pullMarker(folder_), unreachable);
}

void MetadataStore::beginPull() const {
    createFolders(folder_.privateFolder());
    writeFileAtomically(pullMarker(folder_), "");
}

void MetadataStore::endPull() const {
    syncFiles(folder_.rootURL);
    removeFile(pullMarker(folder_));
}

std::optional<std::string> MetadataStore::pulledVersionID() const {
    auto note = readFile(versionNote(folder_));
    if (note) note->resize(std::min(note->find('\n'), note->size()));
    return note;
}

std::optional<Date> MetadataStore::pulledAt() const {
    const auto note = readFile(versionNote(folder_));
    const std::size_t lineEnd = note ? note->find('\n') : std::string::npos;
    return lineEnd == std::string::npos ? std::nullopt : parseISO8601(note->substr(lineEnd + 1));
}

void MetadataStore::notePulledVersion(std::string_view versionID, Date moment) const {
    createFolders(folder_.textsFolder(TextSide::pulled));
    writeFileAtomically(versionNote(folder_), fmt::format("{}\n{}", versionID, formatISO8601(moment)));
}

bool MetadataStore::wasPulled() const {
    std::error_code unreachable;
    return std::filesystem::is_directory(folder_.textsFolder(TextSide::pulled), unreachable);
}

std::filesystem::path newKeptFolder(const MetadataFolder& folder, Date moment) {
    std::error_code unreachable;
    for (int attempt = 1;; ++attempt)
        if (auto kept = folder.privateFolder() / "kept" / folderNameOf(moment, attempt);
            !std::filesystem::exists(kept, unreachable))
            return kept;
}

std::filesystem::path MetadataStore::keepBeside(std::string_view locale, FieldType field,
                                                std::string_view text, Date moment) const {
    // Throws for an unsafe name.
    const auto name = folder_.fieldFile(locale, field).lexically_relative(folder_.rootURL);
    for (int attempt = 1;; ++attempt) {
        const std::filesystem::path file =
            folder_.privateFolder() / "kept" / folderNameOf(moment, attempt) / name;
        requireInside(file, folder_.boundary());
        const auto present = readFile(file);
        if (present == text) return file;
        if (present) continue;
        createFolders(file.parent_path());
        writeFileAtomically(file, text, modeOf(field));
        logger_.info(fmt::format("Kept the local {} of {} before it is replaced", rawValue(field),
                                 shownLocale(locale)));
        return file;
    }
}

void MetadataStore::restrictSecrets() const {
    namespace fs = std::filesystem;
    for (const FieldType field : pageFields) {
        if (!isSecret(field)) continue;
        for (const TextSide side : {TextSide::local, TextSide::pulled}) {
            const fs::path file = folder_.fieldFile(pageLocale, field, side);
            std::error_code failure;
            const fs::file_status status = fs::symlink_status(file, failure);
            constexpr fs::perms others = fs::perms::group_all | fs::perms::others_all;
            if (status.type() != fs::file_type::regular || (status.permissions() & others) == fs::perms::none)
                continue;
            fs::permissions(file, others, fs::perm_options::remove, failure);
            if (failure)
                logger_.warning(fmt::format("{} stays readable by others: {}", escapeControls(file.native()),
                                            failure.message()));
        }
    }
}

std::filesystem::path MetadataStore::checkedFile(std::string_view locale, FieldType field,
                                                 TextSide side) const {
    const std::filesystem::path file = folder_.fieldFile(locale, field, side);
    requireInside(file, folder_.boundary());
    return file;
}

} // namespace quorvel
