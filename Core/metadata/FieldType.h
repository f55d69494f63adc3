// The six store texts of a locale, their limits and where they live.
#pragma once

#include "Platform/json/RawValue.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

namespace quorvel {

/// In the order of display, iteration and of the limit table.
enum class FieldType { name, subtitle, description, promotionalText, releaseNotes, keywords };

/// Whether and how a field is translated.
enum class TranslateMode { off, on, optimized };

/// The App Store Connect resource that holds a field: the app info's localization is shared by all platforms,
/// the version's belongs to one version of one platform.
enum class FieldHome { appInfoLocalization, versionLocalization };

/// All that is fixed about a store text. A new one needs an enumerator, a row of `fieldFacts`, its member in
/// the attribute records of App Store Connect, and its words for the translator's prompt.
struct FieldFacts {
    FieldType field;
    std::string_view rawName; // in records and files
    std::size_t limit;        // in grapheme clusters; exactly the limit is allowed
    FieldHome home;
    std::string_view attribute; // on App Store Connect, such as "whatsNew" for the release notes
    std::string_view fileName;
    std::string_view shortLabel;
};

/// A row per field, in the order of the enumeration.
inline constexpr std::array<FieldFacts, 6> fieldFacts = {{
    {FieldType::name, "name", 30, FieldHome::appInfoLocalization, "name", "name.txt", "Name"},
    {FieldType::subtitle, "subtitle", 30, FieldHome::appInfoLocalization, "subtitle", "subtitle.txt",
     "Subtitle"},
    {FieldType::description, "description", 4000, FieldHome::versionLocalization, "description",
     "description.txt", "Description"},
    {FieldType::promotionalText, "promotionalText", 170, FieldHome::versionLocalization, "promotionalText",
     "promotional_text.txt", "Promo text"},
    {FieldType::releaseNotes, "releaseNotes", 4000, FieldHome::versionLocalization, "whatsNew",
     "release_notes.txt", "What's new"},
    {FieldType::keywords, "keywords", 100, FieldHome::versionLocalization, "keywords", "keywords.txt",
     "Keywords"},
}};

/// One value of each row.
template <typename Value>
[[nodiscard]] constexpr auto fieldColumn(Value value) {
    std::array<decltype(value(fieldFacts[0])), fieldFacts.size()> column{};
    for (std::size_t row = 0; row < fieldFacts.size(); ++row)
        column[row] = value(fieldFacts[row]);
    return column;
}

inline constexpr auto allFieldTypes = fieldColumn([](const FieldFacts& facts) { return facts.field; });

template <>
struct RawValues<FieldType> {
    static constexpr auto values = fieldColumn([](const FieldFacts& facts) {
        return std::pair<FieldType, std::string_view>(facts.field, facts.rawName);
    });
};

template <>
struct RawValues<TranslateMode> {
    static constexpr std::pair<TranslateMode, std::string_view> values[] = {
        {TranslateMode::off, "off"},
        {TranslateMode::on, "on"},
        {TranslateMode::optimized, "optimized"},
    };
};

[[nodiscard]] constexpr const FieldFacts& factsOf(FieldType field) {
    return fieldFacts[static_cast<std::size_t>(field)];
}
[[nodiscard]] constexpr std::size_t limitOf(FieldType field) {
    return factsOf(field).limit;
}
[[nodiscard]] constexpr FieldHome homeOf(FieldType field) {
    return factsOf(field).home;
}
[[nodiscard]] constexpr std::string_view attributeOf(FieldType field) {
    return factsOf(field).attribute;
}
[[nodiscard]] constexpr std::string_view fileNameOf(FieldType field) {
    return factsOf(field).fileName;
}
[[nodiscard]] constexpr std::string_view shortLabelOf(FieldType field) {
    return factsOf(field).shortLabel;
}

/// The field that a person means by any of its names: "releaseNotes", "release_notes", "whatsNew", "What's
/// new".
[[nodiscard]] std::optional<FieldType> fieldNamed(std::string_view name);

/// Whether `text` has more user-perceived characters than the standard limit of `field`.
[[nodiscard]] bool isOverLimit(std::string_view text, FieldType field);

} // namespace quorvel
