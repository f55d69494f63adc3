// App Store versions, their localizations, review details and phased releases.
#pragma once

#include "Core/asc/records/Documents.h"

namespace quorvel {

struct AppStoreVersionAttributes {
    std::optional<std::string> platform;
    std::optional<std::string> versionString;
    std::optional<std::string> appStoreState;
    std::optional<std::string> releaseType;
    std::optional<std::string> createdDate;
    std::optional<std::string> earliestReleaseDate;
    std::optional<std::string> copyright;
    QUORVEL_RECORD(AppStoreVersionAttributes, platform, versionString, appStoreState, releaseType,
                   createdDate, earliestReleaseDate, copyright)
    bool operator==(const AppStoreVersionAttributes&) const = default;
};

template <>
struct JSONAliases<AppStoreVersionAttributes> {
    static constexpr JSONAlias values[] = {{"appVersionState", "appStoreState"}};
};

struct AppStoreVersionCreateAttributes {
    std::string platform;
    std::string versionString;
    std::optional<std::string> releaseType;
    QUORVEL_RECORD(AppStoreVersionCreateAttributes, platform, versionString, releaseType)
    bool operator==(const AppStoreVersionCreateAttributes&) const = default;
};

struct AppStoreVersionPatchAttributes {
    std::optional<std::string> releaseType;
    std::optional<std::string> earliestReleaseDate;
    std::optional<std::string> versionString;
    QUORVEL_RECORD(AppStoreVersionPatchAttributes, releaseType, earliestReleaseDate, versionString)
    bool operator==(const AppStoreVersionPatchAttributes&) const = default;
};

struct AppStoreVersionLocalizationAttributes {
    std::string locale;
    std::optional<std::string> description;
    std::optional<std::string> keywords;
    std::optional<std::string> promotionalText;
    std::optional<std::string> whatsNew;
    std::optional<std::string> supportUrl;
    std::optional<std::string> marketingUrl;
    QUORVEL_RECORD(AppStoreVersionLocalizationAttributes, locale, description, keywords, promotionalText,
                   whatsNew, supportUrl, marketingUrl)
    bool operator==(const AppStoreVersionLocalizationAttributes&) const = default;
};

struct VersionLocalizationCreateAttributes {
    std::string locale;
    std::optional<std::string> description;
    std::optional<std::string> keywords;
    std::optional<std::string> promotionalText;
    std::optional<std::string> whatsNew;
    std::optional<std::string> supportUrl;
    std::optional<std::string> marketingUrl;
    QUORVEL_RECORD(VersionLocalizationCreateAttributes, locale, description, keywords, promotionalText,
                   whatsNew, supportUrl, marketingUrl)
    bool operator==(const VersionLocalizationCreateAttributes&) const = default;
};

struct VersionLocalizationPatchAttributes {
    std::optional<std::string> description;
    std::optional<std::string> keywords;
    std::optional<std::string> promotionalText;
    std::optional<std::string> whatsNew;
    std::optional<std::string> supportUrl;
    std::optional<std::string> marketingUrl;
    QUORVEL_RECORD(VersionLocalizationPatchAttributes, description, keywords, promotionalText, whatsNew,
                   supportUrl, marketingUrl)
    bool operator==(const VersionLocalizationPatchAttributes&) const = default;
};

/// What App Review needs to reach and use the app; the demo password must reach no log and no message.
struct AppStoreReviewDetailAttributes {
    std::optional<std::string> contactFirstName;
    std::optional<std::string> contactLastName;
    std::optional<std::string> contactPhone;
    std::optional<std::string> contactEmail;
    std::optional<std::string> demoAccountName;
    std::optional<std::string> demoAccountPassword;
    std::optional<bool> demoAccountRequired;
    std::optional<std::string> notes;
    QUORVEL_RECORD(AppStoreReviewDetailAttributes, contactFirstName, contactLastName, contactPhone,
                   contactEmail, demoAccountName, demoAccountPassword, demoAccountRequired, notes)
    bool operator==(const AppStoreReviewDetailAttributes&) const = default;
};

struct AppStoreVersionPhasedReleaseAttributes {
    std::optional<std::string> phasedReleaseState;
    std::optional<std::string> startDate;
    std::optional<std::int64_t> totalPauseDuration;
    std::optional<std::int64_t> currentDayNumber;
    QUORVEL_RECORD(AppStoreVersionPhasedReleaseAttributes, phasedReleaseState, startDate, totalPauseDuration,
                   currentDayNumber)
    bool operator==(const AppStoreVersionPhasedReleaseAttributes&) const = default;
};

struct PhasedReleaseCreateAttributes {
    std::optional<std::string> phasedReleaseState;
    QUORVEL_RECORD(PhasedReleaseCreateAttributes, phasedReleaseState)
    bool operator==(const PhasedReleaseCreateAttributes&) const = default;
};

struct PhasedReleasePatchAttributes {
    std::string phasedReleaseState;
    QUORVEL_RECORD(PhasedReleasePatchAttributes, phasedReleaseState)
    bool operator==(const PhasedReleasePatchAttributes&) const = default;
};

} // namespace quorvel
