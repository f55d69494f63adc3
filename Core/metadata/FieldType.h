// The six store texts of a locale, their limits and where they live.
#pragma once

#include "Platform/json/RawValue.h"

#include <array>
#include <cstddef>
#include <string_view>

namespace quorvel {

/// In the order of display, iteration and of the limit table.
enum class FieldType { name, subtitle, description, promotionalText, releaseNotes, keywords };

/// Whether and how a field is translated.
enum class TranslateMode { off, on, optimized };

/// The App Store Connect resource that holds a field: the app info's localization is shared by all platforms,
/// the version's belongs to one version of one platform.
enum class FieldHome { appInfoLocalization, versionLocalization };

template <>
struct RawValues<FieldType> {
    static constexpr std::pair<FieldType, std::string_view> values[] = {
        {FieldType::name, "name"},
        {FieldType::subtitle, "subtitle"},
        {FieldType::description, "description"},
        {FieldType::promotionalText, "promotionalText"},
        {FieldType::releaseNotes, "releaseNotes"},
        {FieldType::keywords, "keywords"},
    };
};

template <>
struct RawValues<TranslateMode> {
    static constexpr std::pair<TranslateMode, std::string_view> values[] = {
        {TranslateMode::off, "off"},
        {TranslateMode::on, "on"},
        {TranslateMode::optimized, "optimized"},
    };
};

inline constexpr std::array<FieldType, 6> allFieldTypes = {
    FieldType::name,         FieldType::subtitle, FieldType::description, FieldType::promotionalText,
    FieldType::releaseNotes, FieldType::keywords};

/// The standard limit in grapheme clusters; exactly the limit is allowed.
[[nodiscard]] std::size_t limitOf(FieldType field);
[[nodiscard]] FieldHome homeOf(FieldType field);
/// The attribute's name on App Store Connect, such as "whatsNew" for the release notes.
[[nodiscard]] std::string_view attributeOf(FieldType field);
[[nodiscard]] std::string_view fileNameOf(FieldType field);
[[nodiscard]] std::string_view shortLabelOf(FieldType field);

/// Whether `text` has more user-perceived characters than the standard limit of `field`.
[[nodiscard]] bool isOverLimit(std::string_view text, FieldType field);

} // namespace quorvel
