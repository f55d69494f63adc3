#include "Core/ai/translation/TranslationOrigins.h"

#include "Core/metadata/TextRemarks.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

std::filesystem::path fileOf(const MetadataFolder& folder) {
    return folder.privateFolder() / "translations.json";
}

} // namespace

TranslationOrigin TranslationOrigin::of(std::string_view sourceText, std::string_view translation) {
    return {contentDigest(sourceText), contentDigest(translation)};
}

TranslationOrigins TranslationOrigins::load(const MetadataFolder& folder) {
    TranslationOrigins origins;
    const auto text = readFile(fileOf(folder));
    if (!text) return origins;
    try {
        origins.origins_ = decodeJSON<decltype(origins.origins_)>(*text);
    } catch (const JSONError& error) {
        Logger("TranslationOrigins")
            .warning(fmt::format("{} is damaged ({}) and counts as empty",
                                 escapeControls(fileOf(folder).native()), error.what()));
    }
    return origins;
}

void TranslationOrigins::save(const MetadataFolder& folder) const {
    createFolders(folder.privateFolder());
    writeFileAtomically(fileOf(folder), encodeJSON(origins_, JSONFormat::stateFile()) + "\n",
                        FileMode::shared, Durability::later);
}

void TranslationOrigins::note(std::string_view locale, FieldType field, std::string_view sourceText,
                              std::string_view translation, std::optional<std::string> sourceLocale) {
    TranslationOrigin& origin = origins_[std::string(locale)][std::string(rawValue(field))];
    origin = TranslationOrigin::of(sourceText, translation);
    origin.sourceLocale = std::move(sourceLocale);
}

void TranslationOrigins::adopt(const std::string& sourceLocale, const LocaleTexts& local,
                               const LocaleTexts& pulled) {
    const auto textOf = [](const LocaleTexts& texts, const std::string& locale, FieldType field) {
        const auto found = texts.find(locale);
        return found == texts.end() ? std::nullopt : found->second[field];
    };
    for (const auto& [locale, texts] : local)
        for (const FieldType field : storeTexts) {
            const std::string text = texts[field].value_or("");
            const auto source = textOf(local, sourceLocale, field);
            if (locale == sourceLocale || field == FieldType::keywords || isBlank(text) || !source) continue;
            const auto known = find(locale, field);
            if (known && known->translation == TranslationOrigin::of("", text).translation) continue;
            const bool isAsPulled = textOf(pulled, locale, field) == text;
            const auto pulledSource = textOf(pulled, sourceLocale, field);
            note(locale, field, isAsPulled && pulledSource ? *pulledSource : *source, text, sourceLocale);
        }
}

void TranslationOrigins::adoptFrom(const MetadataStore& store, const std::string& sourceLocale) {
    // The copies of a pull that was cut off tell nothing of what belongs together.
    adopt(sourceLocale, store.readAllUsable().texts,
          store.hasInterruptedPull() ? LocaleTexts() : store.readAllUsable(TextSide::pulled).texts);
}

void TranslationOrigins::learn(const MetadataStore& store, const std::string& sourceLocale) {
    const TranslationOrigins before = load(store.folder());
    TranslationOrigins now = before;
    now.adoptFrom(store, sourceLocale);
    if (now != before) now.save(store.folder());
}

std::optional<TranslationOrigin> TranslationOrigins::find(std::string_view locale, FieldType field) const {
    const auto fields = origins_.find(std::string(locale));
    if (fields == origins_.end()) return std::nullopt;
    const auto found = fields->second.find(std::string(rawValue(field)));
    return found == fields->second.end() ? std::nullopt : std::optional(found->second);
}

} // namespace quorvel
