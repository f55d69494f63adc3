#include "Core/metadata/FallbackTexts.h"

#include "Core/metadata/TreeReader.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <set>
#include <utility>

namespace quorvel {

FallbackTexts::FallbackTexts(const MetadataFolder& folder) {
    if (!folder.isPartOfTree()) return;
    place_ = (folder.rootURL.lexically_relative(folder.treeURL) / fallbackFolderName).lexically_normal();
    TreeReader::Locale read = TreeReader(folder, TextSide::local).readUsable(fallbackFolderName);
    texts_ = std::move(read.texts);
    unreadable_ = std::move(read.unreadable);
    for (auto& text : texts_.texts)
        if (text && isBlank(*text)) text.reset();
}

const std::optional<std::string>& FallbackTexts::standingFor(const std::optional<std::string>& local,
                                                             FieldType field) const {
    static const std::optional<std::string> nothing;
    return local && !isBlank(*local) ? nothing : texts_[field];
}

std::vector<FieldKey> FallbackTexts::fill(ReadTexts& local, const std::vector<std::string>& others) const {
    std::vector<FieldKey> filled;
    if (texts_.isAbsent() && unreadable_.empty()) return filled;
    std::set<FieldKey> unreadable;
    for (const UnreadableText& text : local.unreadable)
        unreadable.insert(text.key());
    if (!texts_.isAbsent())
        for (const std::string& locale : others)
            local.texts.try_emplace(locale);
    for (auto& [locale, texts] : local.texts)
        for (const FieldType field : localeFields) {
            if (locale.empty() || unreadable.contains({locale, field})) continue;
            if (const auto& text = standingFor(texts[field], field)) {
                texts[field] = text;
                filled.push_back({locale, field});
            }
        }
    for (const UnreadableText& fallback : unreadable_)
        for (const auto& [locale, texts] : local.texts)
            if (!locale.empty() && isBlank(texts[fallback.field].value_or("")))
                local.unreadable.push_back({locale, fallback.field, fallback.explanation, fallback.isFile});
    return filled;
}

std::vector<SkippedEntry> FallbackTexts::unused(const std::vector<FieldKey>& filled) const {
    std::vector<SkippedEntry> entries;
    for (const FieldType field : localeFields)
        if (texts_[field] && std::ranges::find(filled, field, &FieldKey::field) == filled.end())
            entries.push_back({(place_ / fileNameOf(field)).native(),
                               "stands for no locale, as each has a text of its own"});
    return entries;
}

std::optional<std::string> readTextThatCounts(const MetadataFolder& folder, std::string_view locale,
                                              FieldType field) {
    auto own = TreeReader(folder, TextSide::local).read(locale, field);
    const FallbackTexts fallbacks(folder);
    const auto& standIn = fallbacks.standingFor(own, field);
    return standIn ? standIn : own;
}

ReadTexts readTextsThatCount(const MetadataFolder& folder) {
    ReadTexts texts = TreeReader(folder, TextSide::local).readAllUsable();
    (void)FallbackTexts(folder).fill(texts);
    return texts;
}

} // namespace quorvel
