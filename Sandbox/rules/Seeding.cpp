#include "Sandbox/rules/Seeding.h"

#include "Sandbox/rules/VersionStates.h"

namespace quorvel::sandbox {

JSONValue versionAttributes(std::string_view platform, std::string_view versionString, std::string_view state,
                            std::string_view createdDate) {
    return JSONValue::object({{"platform", platform},
                              {"versionString", versionString},
                              {"appStoreState", state},
                              {"appVersionState", appVersionState(state)},
                              {"copyright", nullptr},
                              {"reviewType", "APP_STORE"},
                              {"releaseType", "MANUAL"},
                              {"earliestReleaseDate", nullptr},
                              {"usesIdfa", nullptr},
                              {"downloadable", true},
                              {"createdDate", createdDate}});
}

JSONValue versionLocalizationAttributes(std::string_view locale) {
    return JSONValue::object({{"locale", locale},
                              {"description", nullptr},
                              {"keywords", nullptr},
                              {"marketingUrl", nullptr},
                              {"promotionalText", nullptr},
                              {"supportUrl", nullptr},
                              {"whatsNew", nullptr}});
}

JSONValue appInfoLocalizationAttributes(std::string_view locale) {
    return JSONValue::object({{"locale", locale},
                              {"name", nullptr},
                              {"subtitle", nullptr},
                              {"privacyPolicyUrl", nullptr},
                              {"privacyChoicesUrl", nullptr},
                              {"privacyPolicyText", nullptr}});
}

JSONValue buildAttributes(std::string_view number, std::string_view uploadedDate,
                          std::string_view expirationDate, std::string_view processingState) {
    return JSONValue::object({{"version", number},
                              {"uploadedDate", uploadedDate},
                              {"expirationDate", expirationDate},
                              {"expired", false},
                              {"minOsVersion", "16.0"},
                              {"lsMinimumSystemVersion", nullptr},
                              {"computedMinMacOsVersion", nullptr},
                              {"computedMinVisionOsVersion", nullptr},
                              {"iconAssetToken", nullptr},
                              {"processingState", processingState},
                              {"buildAudienceType", "APP_STORE_ELIGIBLE"},
                              {"usesNonExemptEncryption", nullptr}});
}

} // namespace quorvel::sandbox
