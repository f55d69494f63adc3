// Those of an app's texts that the store's search looks at.
#pragma once

#include "Core/metadata/MetadataFolder.h"
#include "Platform/json/JSON.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Where a term stands in the texts that a storefront searches.
struct TermUse {
    std::string context;             // whose texts they are, such as "ios/next"
    std::string locale;              // the one that the storefront shows
    std::vector<FieldType> fields;   // of it that hold the whole term: name, subtitle, keywords
    bool isSpread = false;           // no field does, but all of them together do
    std::vector<std::string> others; // further locales of the storefront whose texts hold it
    QUORVEL_RECORD(TermUse, context, locale, fields, isSpread, others)
    bool operator==(const TermUse&) const = default;
};

/// The local texts of one context of an app, read when they are first asked for. A text that cannot be read
/// counts as empty.
class SearchedTexts {
  public:
    struct Texts {
        std::string name, subtitle, keywords;
    };

    SearchedTexts(const MetadataFolder& appFolder, const ContextID& context, std::string sourceLocale);

    /// The locale that a storefront shows: the first of its own that the folder has, else the source locale
    /// where the folder has that; nothing otherwise.
    [[nodiscard]] std::optional<std::string> localeOf(std::string_view country) const;
    /// Empty texts for a locale without a folder.
    [[nodiscard]] const Texts& of(const std::string& locale);
    /// Nothing where there are no texts for the storefront.
    [[nodiscard]] std::optional<TermUse> use(std::string_view term, std::string_view country);

  private:
    [[nodiscard]] bool hasLocale(std::string_view locale) const;

    const std::string context_;
    const MetadataFolder folder_;
    const std::string sourceLocale_;
    std::map<std::string, Texts> texts_;
};

/// The context of an app's folder whose texts are looked at for a tracked platform: `given` (such as
/// "ios/next"), for "mac" one of macOS that has a folder, the one that was worked on last, or the first that
/// has a folder. Nothing was pulled where there is none. Throws `MetadataError` for what is no context.
[[nodiscard]] std::optional<ContextID> searchedContext(const MetadataFolder& appFolder,
                                                       const std::optional<std::string>& given,
                                                       std::string_view trackedPlatform);

} // namespace quorvel
