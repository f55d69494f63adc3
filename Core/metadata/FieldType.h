// The fields of a store page, their limits and where they live.
#pragma once

#include "Platform/json/RawValue.h"

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

namespace quorvel {

/// In the order of display, iteration and of the limit table: the six store texts, the other fields of a
/// locale, then the fields of the page, which have no locale.
enum class FieldType {
    name,
    subtitle,
    description,
    promotionalText,
    releaseNotes,
    keywords,

    supportURL,
    marketingURL,
    privacyPolicyURL,
    privacyChoicesURL,
    privacyPolicyText,

    copyright,
    releaseType,
    earliestReleaseDate,
    primaryCategory,
    primarySubcategoryOne,
    primarySubcategoryTwo,
    secondaryCategory,
    secondarySubcategoryOne,
    secondarySubcategoryTwo,
    ageRating,
    contactFirstName,
    contactLastName,
    contactPhone,
    contactEmail,
    demoAccountName,
    demoAccountPassword,
    demoAccountRequired,
    reviewNotes
};

/// Whether and how a field is translated.
enum class TranslateMode { off, on, optimized };

/// The App Store Connect resource that holds a field: the app info and what hangs on it is shared by all
/// platforms, the version and what hangs on it belongs to one version of one platform.
enum class FieldHome {
    appInfoLocalization,
    versionLocalization,
    version,
    appInfo,
    ageRating,    // the declaration of the app info
    reviewDetail, // of the version
};

/// What kind of value a field's file holds.
enum class FieldKind {
    text,     // any text, of any number of lines
    line,     // a text of one line
    address,  // of a web page
    choice,   // one of a few words
    category, // the id of an App Store category
    date,     // a moment
    flag,     // true or false
    json,     // an object
    secret,   // a line that is shown nowhere
};

/// The limit of a field that has none.
inline constexpr std::size_t noLimit = 1'000'000'000;

/// All that is fixed about a field. A new one needs an enumerator, a row of `fieldFacts`, its member in the
/// attribute records of App Store Connect, and, when it is a store text, its words for the translator's
/// prompt.
struct FieldFacts {
    FieldType field;
    std::string_view rawName; // in records and files
    std::size_t limit;        // in grapheme clusters; exactly the limit is allowed
    FieldHome home;
    FieldKind kind;
    std::string_view attribute; // on App Store Connect, such as "whatsNew" for the release notes
    std::string_view fileName;  // in a locale's folder; of a field of the page, in the folder of those
    std::string_view shortLabel;
};

/// The folder of the fields that App Review reads, beside the locales.
inline constexpr std::string_view reviewFolderName = "review_information";

/// A row per field, in the order of the enumeration.
inline constexpr std::array<FieldFacts, 29> fieldFacts = [] {
    using F = FieldType;
    using H = FieldHome;
    using K = FieldKind;
    return std::array<FieldFacts, 29>{{
        {F::name, "name", 30, H::appInfoLocalization, K::text, "name", "name.txt", "Name"},
        {F::subtitle, "subtitle", 30, H::appInfoLocalization, K::text, "subtitle", "subtitle.txt",
         "Subtitle"},
        {F::description, "description", 4000, H::versionLocalization, K::text, "description",
         "description.txt", "Description"},
        {F::promotionalText, "promotionalText", 170, H::versionLocalization, K::text, "promotionalText",
         "promotional_text.txt", "Promo text"},
        {F::releaseNotes, "releaseNotes", 4000, H::versionLocalization, K::text, "whatsNew",
         "release_notes.txt", "What's new"},
        {F::keywords, "keywords", 100, H::versionLocalization, K::text, "keywords", "keywords.txt",
         "Keywords"},

        {F::supportURL, "supportURL", 255, H::versionLocalization, K::address, "supportUrl",
         "support_url.txt", "Support URL"},
        {F::marketingURL, "marketingURL", 255, H::versionLocalization, K::address, "marketingUrl",
         "marketing_url.txt", "Marketing URL"},
        {F::privacyPolicyURL, "privacyPolicyURL", 255, H::appInfoLocalization, K::address, "privacyPolicyUrl",
         "privacy_url.txt", "Privacy URL"},
        {F::privacyChoicesURL, "privacyChoicesURL", 255, H::appInfoLocalization, K::address,
         "privacyChoicesUrl", "privacy_choices_url.txt", "Privacy choices URL"},
        {F::privacyPolicyText, "privacyPolicyText", noLimit, H::appInfoLocalization, K::text,
         "privacyPolicyText", "apple_tv_privacy_policy.txt", "Privacy text (tvOS)"},

        {F::copyright, "copyright", noLimit, H::version, K::line, "copyright", "copyright.txt", "Copyright"},
        {F::releaseType, "releaseType", noLimit, H::version, K::choice, "releaseType", "release_type.txt",
         "Release type"},
        {F::earliestReleaseDate, "earliestReleaseDate", noLimit, H::version, K::date, "earliestReleaseDate",
         "earliest_release_date.txt", "Earliest release"},
        {F::primaryCategory, "primaryCategory", noLimit, H::appInfo, K::category, "primaryCategory",
         "primary_category.txt", "Category"},
        {F::primarySubcategoryOne, "primarySubcategoryOne", noLimit, H::appInfo, K::category,
         "primarySubcategoryOne", "primary_first_sub_category.txt", "First subcategory"},
        {F::primarySubcategoryTwo, "primarySubcategoryTwo", noLimit, H::appInfo, K::category,
         "primarySubcategoryTwo", "primary_second_sub_category.txt", "Second subcategory"},
        {F::secondaryCategory, "secondaryCategory", noLimit, H::appInfo, K::category, "secondaryCategory",
         "secondary_category.txt", "Secondary category"},
        {F::secondarySubcategoryOne, "secondarySubcategoryOne", noLimit, H::appInfo, K::category,
         "secondarySubcategoryOne", "secondary_first_sub_category.txt", "Secondary first subcategory"},
        {F::secondarySubcategoryTwo, "secondarySubcategoryTwo", noLimit, H::appInfo, K::category,
         "secondarySubcategoryTwo", "secondary_second_sub_category.txt", "Secondary second subcategory"},
        {F::ageRating, "ageRating", noLimit, H::ageRating, K::json, "ageRatingDeclaration",
         "rating_config.json", "Age rating"},
        {F::contactFirstName, "contactFirstName", noLimit, H::reviewDetail, K::line, "contactFirstName",
         "review_information/first_name.txt", "Contact's first name"},
        {F::contactLastName, "contactLastName", noLimit, H::reviewDetail, K::line, "contactLastName",
         "review_information/last_name.txt", "Contact's last name"},
        {F::contactPhone, "contactPhone", noLimit, H::reviewDetail, K::line, "contactPhone",
         "review_information/phone_number.txt", "Contact's phone"},
        {F::contactEmail, "contactEmail", noLimit, H::reviewDetail, K::line, "contactEmail",
         "review_information/email_address.txt", "Contact's e-mail"},
        {F::demoAccountName, "demoAccountName", noLimit, H::reviewDetail, K::line, "demoAccountName",
         "review_information/demo_user.txt", "Demo account"},
        {F::demoAccountPassword, "demoAccountPassword", noLimit, H::reviewDetail, K::secret,
         "demoAccountPassword", "review_information/demo_password.txt", "Demo password"},
        {F::demoAccountRequired, "demoAccountRequired", noLimit, H::reviewDetail, K::flag,
         "demoAccountRequired", "review_information/demo_required.txt", "Demo account required"},
        {F::reviewNotes, "reviewNotes", 4000, H::reviewDetail, K::text, "notes",
         "review_information/notes.txt", "Review notes"},
    }};
}();

/// One value of each row.
template <typename Value>
[[nodiscard]] constexpr auto fieldColumn(Value value) {
    std::array<decltype(value(fieldFacts[0])), fieldFacts.size()> column{};
    for (std::size_t row = 0; row < fieldFacts.size(); ++row)
        column[row] = value(fieldFacts[row]);
    return column;
}

/// Of every store page, in the order of the enumeration.
inline constexpr auto allFieldTypes = fieldColumn([](const FieldFacts& facts) { return facts.field; });
/// What translation, limits of the user's own and the grids work on: the name to the keywords.
inline constexpr std::span storeTexts = std::span(allFieldTypes).first<6>();
/// The fields that each locale has: the store texts, addresses and the privacy text.
inline constexpr std::span localeFields = std::span(allFieldTypes).first<11>();
/// The fields without a locale.
inline constexpr std::span pageFields = std::span(allFieldTypes).subspan<11>();

/// Stands for the locale of the fields that have none; "page" where it is shown.
inline constexpr std::string_view pageLocale;
inline constexpr std::string_view shownPageLocale = "page";

/// The fields of a locale, or of the page.
[[nodiscard]] constexpr std::span<const FieldType> fieldsOf(std::string_view locale) {
    if (locale == pageLocale) return pageFields;
    return localeFields;
}
/// How a locale is shown: by its code, or as "page".
[[nodiscard]] constexpr std::string_view shownLocale(std::string_view locale) {
    return locale == pageLocale ? shownPageLocale : locale;
}
[[nodiscard]] constexpr bool isStoreText(FieldType field) {
    return field <= FieldType::keywords;
}
[[nodiscard]] constexpr bool isPageField(FieldType field) {
    return field >= FieldType::copyright;
}

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
[[nodiscard]] constexpr FieldKind kindOf(FieldType field) {
    return factsOf(field).kind;
}
/// Whether the field's text is shown and kept nowhere but in its file.
[[nodiscard]] constexpr bool isSecret(FieldType field) {
    return kindOf(field) == FieldKind::secret;
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

/// The field that a person means by any of its names: "releaseNotes", "release_notes", "release_notes.txt",
/// "whatsNew", "What's new".
[[nodiscard]] std::optional<FieldType> fieldNamed(std::string_view name);

/// Whether `text` has more user-perceived characters than the standard limit of `field`.
[[nodiscard]] bool isOverLimit(std::string_view text, FieldType field);

} // namespace quorvel
