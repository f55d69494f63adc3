#include "Core/metadata/ReviewMarks.h"

#include "Core/metadata/TextRemarks.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

std::filesystem::path reviewFileOf(const MetadataFolder& folder) {
    return folder.privateFolder() / "review.json";
}

} // namespace

std::string_view shortTextOf(ReviewMark mark) {
    return mark == ReviewMark::cut ? "generated and cut, unread" : "generated, unread";
}

ReviewMarks ReviewMarks::load(const MetadataFolder& folder) {
    ReviewMarks marks;
    const auto text = readFile(reviewFileOf(folder));
    if (!text) return marks;
    try {
        marks.entries_ = decodeJSON<decltype(marks.entries_)>(*text);
    } catch (const JSONError& error) {
        Logger("ReviewMarks")
            .warning(fmt::format("{} is damaged ({}), so no text counts as unread",
                                 escapeControls(reviewFileOf(folder).native()), error.what()));
    }
    return marks;
}

void ReviewMarks::save(const MetadataFolder& folder) const {
    createFolders(folder.privateFolder());
    writeFileAtomically(reviewFileOf(folder), encodeJSON(entries_, JSONFormat::stateFile()) + "\n",
                        FileMode::shared, Durability::later);
}

void ReviewMarks::set(std::string_view locale, FieldType field, std::string_view text, ReviewMark mark) {
    entries_[std::string(locale)][std::string(rawValue(field))] = {contentDigest(text), mark};
}

void ReviewMarks::clear(const FieldKey& key) {
    const auto fields = entries_.find(key.locale);
    if (fields == entries_.end()) return;
    fields->second.erase(std::string(rawValue(key.field)));
    if (fields->second.empty()) entries_.erase(fields);
}

std::optional<ReviewMark> ReviewMarks::find(std::string_view locale, FieldType field,
                                            std::string_view text) const {
    const auto fields = entries_.find(std::string(locale));
    if (fields == entries_.end()) return std::nullopt;
    const auto found = fields->second.find(std::string(rawValue(field)));
    if (found == fields->second.end() || found->second.text != contentDigest(text)) return std::nullopt;
    return found->second.mark;
}

std::vector<UnreadText> ReviewMarks::unreadIn(const LocaleTexts& texts) const {
    std::vector<UnreadText> unread;
    for (const auto& [locale, fields] : entries_)
        if (const auto found = texts.find(locale); found != texts.end())
            for (const FieldType field : localeFields)
                if (const auto& text = found->second[field])
                    if (const auto mark = find(locale, field, *text))
                        unread.push_back({locale, field, *mark});
    return unread;
}

} // namespace quorvel
