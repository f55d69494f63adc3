// Apps, their app infos and the localizations of those.
#pragma once

#include "Core/asc/records/Documents.h"

namespace quorvel {

struct ASCAppAttributes {
    std::optional<std::string> bundleId;
    std::optional<std::string> name;
    std::optional<std::string> primaryLocale;
    std::optional<std::string> sku;
    std::optional<bool> isOrEverWasMadeForKids;
    QUORVEL_RECORD(ASCAppAttributes, bundleId, name, primaryLocale, sku, isOrEverWasMadeForKids)
    bool operator==(const ASCAppAttributes&) const = default;
};

struct AppInfoAttributes {
    std::optional<std::string> appStoreState;
    std::optional<std::string> appStoreAgeRating;
    QUORVEL_RECORD(AppInfoAttributes, appStoreState, appStoreAgeRating)
    bool operator==(const AppInfoAttributes&) const = default;
};

template <>
struct JSONAliases<AppInfoAttributes> {
    static constexpr JSONAlias values[] = {{"state", "appStoreState"}};
};

struct AppInfoLocalizationAttributes {
    std::string locale;
    std::optional<std::string> name;
    std::optional<std::string> subtitle;
    std::optional<std::string> privacyPolicyUrl;
    std::optional<std::string> privacyChoicesUrl;
    std::optional<std::string> privacyPolicyText;
    QUORVEL_RECORD(AppInfoLocalizationAttributes, locale, name, subtitle, privacyPolicyUrl, privacyChoicesUrl,
                   privacyPolicyText)
    bool operator==(const AppInfoLocalizationAttributes&) const = default;
};

struct AppInfoLocalizationCreateAttributes {
    std::string locale;
    std::optional<std::string> name;
    std::optional<std::string> subtitle;
    std::optional<std::string> privacyPolicyUrl;
    std::optional<std::string> privacyChoicesUrl;
    std::optional<std::string> privacyPolicyText;
    QUORVEL_RECORD(AppInfoLocalizationCreateAttributes, locale, name, subtitle, privacyPolicyUrl,
                   privacyChoicesUrl, privacyPolicyText)
    bool operator==(const AppInfoLocalizationCreateAttributes&) const = default;
};

struct AppInfoLocalizationPatchAttributes {
    std::optional<std::string> name;
    std::optional<std::string> subtitle;
    std::optional<std::string> privacyPolicyUrl;
    std::optional<std::string> privacyChoicesUrl;
    std::optional<std::string> privacyPolicyText;
    QUORVEL_RECORD(AppInfoLocalizationPatchAttributes, name, subtitle, privacyPolicyUrl, privacyChoicesUrl,
                   privacyPolicyText)
    bool operator==(const AppInfoLocalizationPatchAttributes&) const = default;
};

struct AppInfoLocalizationPrivacyPatchAttributes {
    std::optional<std::string> privacyPolicyUrl;
    std::optional<std::string> privacyChoicesUrl;
    std::optional<std::string> privacyPolicyText;
    QUORVEL_RECORD(AppInfoLocalizationPrivacyPatchAttributes, privacyPolicyUrl, privacyChoicesUrl,
                   privacyPolicyText)
    bool operator==(const AppInfoLocalizationPrivacyPatchAttributes&) const = default;
};

/// The ids of an app info's categories, such as "GAMES" and "GAMES_PUZZLE"; in a patch, those to set.
struct AppInfoCategories {
    std::optional<std::string> primaryCategory;
    std::optional<std::string> primarySubcategoryOne;
    std::optional<std::string> primarySubcategoryTwo;
    std::optional<std::string> secondaryCategory;
    std::optional<std::string> secondarySubcategoryOne;
    std::optional<std::string> secondarySubcategoryTwo;
    QUORVEL_RECORD(AppInfoCategories, primaryCategory, primarySubcategoryOne, primarySubcategoryTwo,
                   secondaryCategory, secondarySubcategoryOne, secondarySubcategoryTwo)
    bool operator==(const AppInfoCategories&) const = default;
};

struct AppInfoCategoryPatchEnvelope {
    struct Relationships {
        std::optional<ASCRelationshipBox> primaryCategory;
        std::optional<ASCRelationshipBox> primarySubcategoryOne;
        std::optional<ASCRelationshipBox> primarySubcategoryTwo;
        std::optional<ASCRelationshipBox> secondaryCategory;
        std::optional<ASCRelationshipBox> secondarySubcategoryOne;
        std::optional<ASCRelationshipBox> secondarySubcategoryTwo;
        QUORVEL_RECORD(Relationships, primaryCategory, primarySubcategoryOne, primarySubcategoryTwo,
                       secondaryCategory, secondarySubcategoryOne, secondarySubcategoryTwo)
    };
    struct Data {
        std::string type;
        std::string id;
        Relationships relationships;
        QUORVEL_RECORD(Data, type, id, relationships)
    };
    Data data;
    QUORVEL_RECORD(AppInfoCategoryPatchEnvelope, data)
};

} // namespace quorvel
