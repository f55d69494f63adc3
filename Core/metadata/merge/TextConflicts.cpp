#include "Core/metadata/merge/TextConflicts.h"

#include "Core/metadata/AgeRating.h"
#include "Core/metadata/FieldValue.h"
#include "Core/metadata/TextRemarks.h"
#include "Core/metadata/TreeReader.h"
#include "Core/metadata/merge/FieldMerge.h"
#include "Platform/files/Files.h"
#include "Platform/json/JSON.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

// What the file of a conflict holds; its path says the locale and the field.
struct StoredConflict {
    std::string base;
    std::string ours;
    std::string theirs;
    std::optional<Date> since;
    std::vector<std::string> earlier;
    QUORVEL_RECORD(StoredConflict, base, ours, theirs, since, earlier)
};

constexpr std::string_view recordEnding = ".json";
constexpr std::string_view editEnding = ".edit.txt";

std::filesystem::path conflictsFolder(const MetadataFolder& folder) {
    return folder.privateFolder() / "conflicts";
}

std::optional<TextConflict> readConflict(const FieldKey& key, const std::filesystem::path& file) {
    const auto text = readFile(file);
    if (!text) return std::nullopt;
    TextConflict conflict{.key = key};
    try {
        auto stored = decodeJSON<StoredConflict>(*text);
        conflict.base = std::move(stored.base);
        conflict.ours = std::move(stored.ours);
        conflict.theirs = std::move(stored.theirs);
        conflict.since = stored.since;
        conflict.earlier = std::move(stored.earlier);
    } catch (const JSONError& error) {
        if (isSecret(key.field)) { // that it is there says enough
            conflict.base = setSecretText;
            conflict.ours = conflict.theirs = changedSecretText;
            return conflict;
        }
        conflict.problem = fmt::format("{} cannot be understood ({}); the text that was replaced lies in "
                                       ".brevant/kept.",
                                       escapeControls(file.native()), error.what());
    }
    return conflict;
}

} // namespace

std::filesystem::path TextConflicts::fileOf(const FieldKey& key, std::string_view ending) const {
    std::filesystem::path folder = conflictsFolder(folder_);
    if (!key.locale.empty())
        folder /= folder_.localeFolder(key.locale).filename(); // throws for an unsafe one
    std::filesystem::path file = folder / fmt::format("{}{}", rawValue(key.field), ending);
    requireInside(file, folder_.boundary());
    return file;
}

std::filesystem::path TextConflicts::editFile(const FieldKey& key) const {
    return fileOf(key, editEnding);
}

std::optional<TextConflict> TextConflicts::find(const FieldKey& key) const {
    return readConflict(key, fileOf(key, recordEnding));
}

std::vector<TextConflict> TextConflicts::all() const {
    std::vector<TextConflict> conflicts;
    const auto collect = [&](const std::string& locale, const std::vector<FolderEntry>& entries) {
        for (const FolderEntry& entry : entries) {
            const std::string_view name = entry.name;
            if (!name.ends_with(recordEnding)) continue;
            const auto field = fromRawValue<FieldType>(name.substr(0, name.size() - recordEnding.size()));
            if (!field) continue;
            if (auto conflict = find({locale, *field})) conflicts.push_back(*std::move(conflict));
        }
    };
    const auto folder = conflictsFolder(folder_);
    const auto entries = listFolder(folder).value_or(std::vector<FolderEntry>());
    collect("", entries);
    for (const FolderEntry& entry : entries)
        if (entry.kind == FolderEntry::Kind::folder && isSafeName(entry.name))
            collect(entry.name, listFolder(folder / entry.name).value_or(std::vector<FolderEntry>()));
    std::ranges::sort(conflicts, {}, &TextConflict::key);
    return conflicts;
}

void TextConflicts::keep(const TextConflict& conflict) const {
    const auto file = fileOf(conflict.key, recordEnding);
    createFolders(file.parent_path());
    StoredConflict stored{conflict.base, conflict.ours, conflict.theirs, conflict.since, conflict.earlier};
    const bool hides = isSecret(conflict.key.field);
    if (hides) {
        hideSecrets(stored.base, stored.ours, stored.theirs);
        stored.earlier.clear();
    }
    writeFileAtomically(file, encodeJSON(stored, JSONFormat::stateFile()) + "\n",
                        hides ? FileMode::secret : FileMode::shared);
}

void TextConflicts::remove(const FieldKey& key) const {
    removeFile(fileOf(key, editEnding));
    const auto file = fileOf(key, recordEnding);
    removeFile(file);
    std::error_code notEmpty;
    if (!key.locale.empty()) std::filesystem::remove(file.parent_path(), notEmpty);
    std::filesystem::remove(conflictsFolder(folder_), notEmpty);
}

bool isNewerEdit(const TextConflict& conflict, const std::optional<std::string>& local, FinalLineBreak rule) {
    if (!local || !conflict.knowsTexts()) return false;
    return countedText(rule, conflict.key.field, *local, conflict.theirs) != conflict.theirs &&
           *local != conflict.ours &&
           std::ranges::find(conflict.earlier, contentDigest(*local)) == conflict.earlier.end();
}

std::string ourTextOf(const TextConflict& conflict, const std::optional<std::string>& local,
                      FinalLineBreak rule) {
    if (!conflict.knowsTexts()) return local.value_or("");
    return isNewerEdit(conflict, local, rule) ? *local : conflict.ours;
}

std::string shownTextOf(const TextConflict& conflict, const std::optional<std::string>& local,
                        FinalLineBreak rule) {
    if (!isSecret(conflict.key.field)) {
        std::string ours = ourTextOf(conflict, local, rule);
        return kindOf(conflict.key.field) == FieldKind::json ? ageRatingOver(conflict.base, ours) : ours;
    }
    if (!local || isBlank(*local)) return "";
    return std::string(isBlank(conflict.base) ? setSecretText : changedSecretText);
}

} // namespace quorvel
