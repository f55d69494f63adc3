// Remembers which source text each translated text of a tree was made from.
#pragma once

#include "Core/metadata/MetadataStore.h"
#include "Platform/json/JSON.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// Digests of the two texts, 64 hexadecimal digits each.
struct TranslationOrigin {
    std::string source;
    std::string translation;
    std::optional<std::string> sourceLocale = {}; // unknown in older files
    QUORVEL_RECORD(TranslationOrigin, source, translation, sourceLocale)

    /// A byte order mark or a final line break, which editors add, makes no other text.
    [[nodiscard]] static TranslationOrigin of(std::string_view sourceText, std::string_view translation);
    bool operator==(const TranslationOrigin&) const = default;
};

/// The content of <root>/.brevant/translations.json: locale → field → origin.
class TranslationOrigins {
  public:
    /// Those of the tree. A file that is damaged counts as none, with a warning in the log: what it told is a
    /// hint only. Throws `FileError` where it cannot be read.
    [[nodiscard]] static TranslationOrigins load(const MetadataFolder& folder);
    /// Replaces the file in one step. Throws `FileError`.
    void save(const MetadataFolder& folder) const;

    /// Learns what belongs together in a tree that was pulled just now, and saves it where that is news.
    /// Throws `MetadataError`, `FileError`.
    static void learn(const MetadataStore& store, const std::string& sourceLocale);

    void note(std::string_view locale, FieldType field, std::string_view sourceText,
              std::string_view translation, std::optional<std::string> sourceLocale = {});
    /// Takes every text of which nothing is known, since a person wrote it, for a translation of the source
    /// text that it was pulled with, or of the present one where it is not as it was pulled. Keywords are no
    /// translations and left out.
    void adopt(const std::string& sourceLocale, const LocaleTexts& local, const LocaleTexts& pulled);
    /// The same with the texts of a tree. Throws `MetadataError`, `FileError`.
    void adoptFrom(const MetadataStore& store, const std::string& sourceLocale);
    [[nodiscard]] std::optional<TranslationOrigin> find(std::string_view locale, FieldType field) const;

    bool operator==(const TranslationOrigins&) const = default;

  private:
    std::map<std::string, std::map<std::string, TranslationOrigin>> origins_;
};

} // namespace quorvel
