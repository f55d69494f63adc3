#include "Sandbox/resources/Schema.h"

#include <algorithm>

namespace quorvel::sandbox {
namespace {

// Sorted by type; names as the service spells them.
constexpr Relation relations[] = {
    {"analyticsReportInstances", "segments", "analyticsReportSegments", Reach::children},
    {"analyticsReportRequests", "reports", "analyticsReports", Reach::children},
    {"analyticsReports", "instances", "analyticsReportInstances", Reach::children},
    {"appInfoLocalizations", "appInfo", "appInfos", Reach::one},
    {"appInfos", "ageRatingDeclaration", "ageRatingDeclarations", Reach::child},
    {"appInfos", "app", "apps", Reach::one},
    {"appInfos", "appInfoLocalizations", "appInfoLocalizations", Reach::children},
    {"appInfos", "primaryCategory", "appCategories", Reach::foreign},
    {"appInfos", "primarySubcategoryOne", "appCategories", Reach::foreign},
    {"appInfos", "primarySubcategoryTwo", "appCategories", Reach::foreign},
    {"appInfos", "secondaryCategory", "appCategories", Reach::foreign},
    {"appInfos", "secondarySubcategoryOne", "appCategories", Reach::foreign},
    {"appInfos", "secondarySubcategoryTwo", "appCategories", Reach::foreign},
    {"appPreviewSets", "appPreviews", "appPreviews", Reach::children},
    {"appPreviewSets", "appStoreVersionLocalization", "appStoreVersionLocalizations", Reach::one},
    {"appPreviews", "appPreviewSet", "appPreviewSets", Reach::one},
    {"appScreenshotSets", "appScreenshots", "appScreenshots", Reach::children},
    {"appScreenshotSets", "appStoreVersionLocalization", "appStoreVersionLocalizations", Reach::one},
    {"appScreenshots", "appScreenshotSet", "appScreenshotSets", Reach::one},
    {"appStoreReviewDetails", "appStoreVersion", "appStoreVersions", Reach::one},
    {"appStoreVersionLocalizations", "appPreviewSets", "appPreviewSets", Reach::children},
    {"appStoreVersionLocalizations", "appScreenshotSets", "appScreenshotSets", Reach::children},
    {"appStoreVersionLocalizations", "appStoreVersion", "appStoreVersions", Reach::one},
    {"appStoreVersions", "app", "apps", Reach::one},
    {"appStoreVersions", "appStoreReviewDetail", "appStoreReviewDetails", Reach::child},
    {"appStoreVersions", "appStoreVersionLocalizations", "appStoreVersionLocalizations", Reach::children},
    {"appStoreVersions", "appStoreVersionPhasedRelease", "appStoreVersionPhasedReleases", Reach::child},
    {"appStoreVersions", "build", "builds", Reach::one},
    {"apps", "analyticsReportRequests", "analyticsReportRequests", Reach::children},
    {"apps", "appEvents", "appEvents", Reach::children},
    {"apps", "appInfos", "appInfos", Reach::children},
    {"apps", "appStoreVersions", "appStoreVersions", Reach::children},
    {"apps", "betaGroups", "betaGroups", Reach::children},
    {"apps", "builds", "builds", Reach::children},
    {"apps", "customerReviews", "customerReviews", Reach::children},
    {"apps", "inAppPurchasesV2", "inAppPurchases", Reach::children},
    {"apps", "preReleaseVersions", "preReleaseVersions", Reach::children},
    {"apps", "reviewSubmissions", "reviewSubmissions", Reach::children},
    {"betaBuildLocalizations", "build", "builds", Reach::one},
    {"betaGroups", "app", "apps", Reach::one},
    {"betaGroups", "betaTesters", "betaTesters", Reach::members},
    {"betaGroups", "builds", "builds", Reach::members},
    {"buildBetaDetails", "build", "builds", Reach::one},
    {"builds", "app", "apps", Reach::one},
    {"builds", "appStoreVersion", "appStoreVersions", Reach::child},
    {"builds", "betaAppReviewSubmission", "betaAppReviewSubmissions", Reach::child},
    {"builds", "betaBuildLocalizations", "betaBuildLocalizations", Reach::children},
    {"builds", "betaGroups", "betaGroups", Reach::listed},
    {"builds", "preReleaseVersion", "preReleaseVersions", Reach::one},
    {"customerReviews", "response", "customerReviewResponses", Reach::child},
    {"customerReviewResponses", "review", "customerReviews", Reach::one},
    {"preReleaseVersions", "app", "apps", Reach::one},
    {"preReleaseVersions", "builds", "builds", Reach::children},
    {"reviewSubmissionItems", "appCustomProductPageVersion", "appCustomProductPageVersions", Reach::foreign},
    {"reviewSubmissionItems", "appEvent", "appEvents", Reach::one},
    {"reviewSubmissionItems", "appStoreVersion", "appStoreVersions", Reach::one},
    {"reviewSubmissionItems", "appStoreVersionExperiment", "appStoreVersionExperiments", Reach::foreign},
    {"reviewSubmissionItems", "appStoreVersionExperimentV2", "appStoreVersionExperiments", Reach::foreign},
    {"reviewSubmissions", "app", "apps", Reach::one},
    {"reviewSubmissions", "appStoreVersionForReview", "appStoreVersions", Reach::one},
    {"reviewSubmissions", "items", "reviewSubmissionItems", Reach::children},
};

constexpr Attribute appInfoLocalizationFields[] = {
    {.name = "locale", .kind = Kind::locale, .use = Use::identifying},
    {.name = "name", .use = Use::required, .limit = 30, .minimum = 2},
    {.name = "subtitle", .limit = 30},
    {.name = "privacyPolicyUrl", .kind = Kind::url},
    {.name = "privacyChoicesUrl", .kind = Kind::url},
    {.name = "privacyPolicyText"},
};
constexpr Attribute versionFields[] = {
    {.name = "platform", .kind = Kind::choice, .use = Use::identifying, .choices = choices::platforms},
    {.name = "versionString", .use = Use::required, .limit = 18, .minimum = 1},
    {.name = "copyright", .limit = 200},
    {.name = "reviewType", .kind = Kind::choice, .choices = "APP_STORE|NOTARIZATION"},
    {.name = "releaseType", .kind = Kind::choice, .choices = choices::releaseTypes},
    {.name = "earliestReleaseDate", .kind = Kind::date},
    {.name = "usesIdfa", .kind = Kind::boolean},
    {.name = "downloadable", .kind = Kind::boolean, .use = Use::updateOnly},
};
constexpr Attribute versionLocalizationFields[] = {
    {.name = "locale", .kind = Kind::locale, .use = Use::identifying},
    {.name = "description", .limit = 4000},
    {.name = "keywords", .limit = 100},
    {.name = "marketingUrl", .kind = Kind::url},
    {.name = "promotionalText", .limit = 170},
    {.name = "supportUrl", .kind = Kind::url},
    {.name = "whatsNew", .limit = 4000},
};
constexpr Attribute reviewDetailFields[] = {
    {.name = "contactFirstName", .limit = 50},
    {.name = "contactLastName", .limit = 50},
    {.name = "contactPhone", .limit = 20},
    {.name = "contactEmail", .kind = Kind::email},
    {.name = "demoAccountName", .limit = 100},
    {.name = "demoAccountPassword", .limit = 100},
    {.name = "demoAccountRequired", .kind = Kind::boolean},
    {.name = "notes", .limit = 4000},
};
constexpr Attribute ageRatingFields[] = {
    {.name = "advertising", .kind = Kind::boolean},
    {.name = "gambling", .kind = Kind::boolean},
    {.name = "healthOrWellnessTopics", .kind = Kind::boolean},
    {.name = "lootBox", .kind = Kind::boolean},
    {.name = "messagingAndChat", .kind = Kind::boolean},
    {.name = "parentalControls", .kind = Kind::boolean},
    {.name = "ageAssurance", .kind = Kind::boolean},
    {.name = "socialMedia", .kind = Kind::boolean},
    {.name = "socialMediaAgeRestricted", .kind = Kind::boolean},
    {.name = "unrestrictedWebAccess", .kind = Kind::boolean},
    {.name = "userGeneratedContent", .kind = Kind::boolean},
    {.name = "alcoholTobaccoOrDrugUseOrReferences", .kind = Kind::choice, .choices = choices::contentLevels},
    {.name = "contests", .kind = Kind::choice, .choices = choices::contentLevels},
    {.name = "gamblingSimulated", .kind = Kind::choice, .choices = choices::contentLevels},
    {.name = "gunsOrOtherWeapons", .kind = Kind::choice, .choices = choices::contentLevels},
    {.name = "medicalOrTreatmentInformation", .kind = Kind::choice, .choices = choices::contentLevels},
    {.name = "profanityOrCrudeHumor", .kind = Kind::choice, .choices = choices::contentLevels},
    {.name = "sexualContentGraphicAndNudity", .kind = Kind::choice, .choices = choices::contentLevels},
    {.name = "sexualContentOrNudity", .kind = Kind::choice, .choices = choices::contentLevels},
    {.name = "horrorOrFearThemes", .kind = Kind::choice, .choices = choices::contentLevels},
    {.name = "matureOrSuggestiveThemes", .kind = Kind::choice, .choices = choices::contentLevels},
    {.name = "violenceCartoonOrFantasy", .kind = Kind::choice, .choices = choices::contentLevels},
    {.name = "violenceRealisticProlongedGraphicOrSadistic",
     .kind = Kind::choice,
     .choices = choices::contentLevels},
    {.name = "violenceRealistic", .kind = Kind::choice, .choices = choices::contentLevels},
    {.name = "kidsAgeBand", .kind = Kind::choice, .choices = "FIVE_AND_UNDER|SIX_TO_EIGHT|NINE_TO_ELEVEN"},
    {.name = "ageRatingOverride",
     .kind = Kind::choice,
     .choices = "NONE|NINE_PLUS|THIRTEEN_PLUS|SIXTEEN_PLUS|SEVENTEEN_PLUS|UNRATED"},
    {.name = "ageRatingOverrideV2",
     .kind = Kind::choice,
     .choices = "NONE|NINE_PLUS|THIRTEEN_PLUS|SIXTEEN_PLUS|EIGHTEEN_PLUS|UNRATED"},
    {.name = "koreaAgeRatingOverride", .kind = Kind::choice, .choices = "NONE|FIFTEEN_PLUS|NINETEEN_PLUS"},
    {.name = "developerAgeRatingInfoUrl", .kind = Kind::url},
};
constexpr Attribute phasedReleaseFields[] = {
    {.name = "phasedReleaseState", .kind = Kind::choice, .choices = choices::phasedReleaseStates},
};
constexpr Attribute buildFields[] = {
    {.name = "expired", .kind = Kind::boolean, .use = Use::updateOnly},
    {.name = "usesNonExemptEncryption", .kind = Kind::boolean, .use = Use::updateOnly},
};
constexpr Attribute betaGroupFields[] = {
    {.name = "name", .use = Use::required, .limit = 100, .minimum = 1},
    {.name = "isInternalGroup", .kind = Kind::boolean},
    {.name = "hasAccessToAllBuilds", .kind = Kind::boolean},
    {.name = "publicLinkEnabled", .kind = Kind::boolean},
    {.name = "publicLinkLimitEnabled", .kind = Kind::boolean},
    {.name = "publicLinkLimit", .kind = Kind::integer},
    {.name = "feedbackEnabled", .kind = Kind::boolean},
};
constexpr Attribute betaTesterFields[] = {
    {.name = "firstName", .limit = 50},
    {.name = "lastName", .limit = 50},
    {.name = "email", .kind = Kind::email, .use = Use::identifying},
};
constexpr Attribute buildBetaDetailFields[] = {
    {.name = "autoNotifyEnabled", .kind = Kind::boolean, .use = Use::updateOnly},
};
constexpr Attribute betaBuildLocalizationFields[] = {
    {.name = "locale", .kind = Kind::locale, .use = Use::identifying},
    {.name = "whatsNew", .limit = 4000},
};
constexpr Attribute screenshotSetFields[] = {
    {.name = "screenshotDisplayType",
     .kind = Kind::choice,
     .use = Use::identifying,
     .choices = choices::displayTypes},
};
constexpr Attribute screenshotFields[] = {
    {.name = "fileName", .use = Use::identifying, .limit = 255, .minimum = 1},
    {.name = "fileSize", .kind = Kind::integer, .use = Use::identifying},
    {.name = "uploaded", .kind = Kind::boolean, .use = Use::updateOnly},
    {.name = "sourceFileChecksum", .use = Use::updateOnly},
};
constexpr Attribute previewSetFields[] = {
    {.name = "previewType", .kind = Kind::choice, .use = Use::identifying, .choices = choices::previewTypes},
};
constexpr Attribute previewFields[] = {
    {.name = "fileName", .use = Use::identifying, .limit = 255, .minimum = 1},
    {.name = "fileSize", .kind = Kind::integer, .use = Use::identifying},
    {.name = "previewFrameTimeCode"},
    {.name = "mimeType"},
    {.name = "uploaded", .kind = Kind::boolean, .use = Use::updateOnly},
    {.name = "sourceFileChecksum", .use = Use::updateOnly},
};
constexpr Attribute submissionFields[] = {
    {.name = "platform", .kind = Kind::choice, .choices = choices::platforms},
    {.name = "submitted", .kind = Kind::boolean, .use = Use::updateOnly},
    {.name = "canceled", .kind = Kind::boolean, .use = Use::updateOnly},
};
constexpr Attribute reviewResponseFields[] = {
    {.name = "responseBody", .use = Use::identifying, .limit = 5970, .minimum = 1},
};
constexpr Attribute analyticsRequestFields[] = {
    {.name = "accessType", .kind = Kind::choice, .use = Use::identifying, .choices = choices::accessTypes},
};

struct Written {
    std::string_view type;
    std::span<const Attribute> attributes;
};
constexpr Written written[] = {
    {"appInfoLocalizations", appInfoLocalizationFields},
    {"appStoreVersions", versionFields},
    {"appStoreVersionLocalizations", versionLocalizationFields},
    {"appStoreVersionPhasedReleases", phasedReleaseFields},
    {"appStoreReviewDetails", reviewDetailFields},
    {"ageRatingDeclarations", ageRatingFields},
    {"builds", buildFields},
    {"betaBuildLocalizations", betaBuildLocalizationFields},
    {"betaGroups", betaGroupFields},
    {"betaTesters", betaTesterFields},
    {"buildBetaDetails", buildBetaDetailFields},
    {"appPreviewSets", previewSetFields},
    {"appPreviews", previewFields},
    {"appScreenshotSets", screenshotSetFields},
    {"appScreenshots", screenshotFields},
    {"reviewSubmissions", submissionFields},
    {"customerReviewResponses", reviewResponseFields},
    {"analyticsReportRequests", analyticsRequestFields},
};

// The languages that joined last are seen with and without a region; both are taken.
constexpr std::string_view locales[] = {
    "bn",    "gu",    "kn",    "ml",    "mr",      "or",     "pa",    "sl",    "ta",    "te",    "ur",
    "ar-SA", "bn-BD", "ca",    "cs",    "da",      "de-DE",  "el",    "en-AU", "en-CA", "en-GB", "en-US",
    "es-ES", "es-MX", "fi",    "fr-CA", "fr-FR",   "gu-IN",  "he",    "hi",    "hr",    "hu",    "id",
    "it",    "ja",    "kn-IN", "ko",    "ml-IN",   "mr-IN",  "ms",    "nl-NL", "no",    "or-IN", "pa-IN",
    "pl",    "pt-BR", "pt-PT", "ro",    "ru",      "sk",     "sl-SI", "sv",    "ta-IN", "te-IN", "th",
    "tr",    "uk",    "ur-PK", "vi",    "zh-Hans", "zh-Hant"};

} // namespace

std::span<const Relation> relationsOf(std::string_view type) {
    const auto begin = std::ranges::find(relations, type, &Relation::type);
    const auto end =
        std::find_if(begin, std::end(relations), [&](const Relation& r) { return r.type != type; });
    return {begin, end};
}

const Relation* findRelation(std::string_view type, std::string_view name) {
    const auto own = relationsOf(type);
    const auto found = std::ranges::find(own, name, &Relation::name);
    return found == own.end() ? nullptr : &*found;
}

std::span<const Attribute> attributesOf(std::string_view type) {
    const auto found = std::ranges::find(written, type, &Written::type);
    return found == std::end(written) ? std::span<const Attribute>() : found->attributes;
}

bool isAppStoreLocale(std::string_view locale) {
    return std::ranges::find(locales, locale) != std::end(locales);
}

std::span<const std::string_view> appStoreLocales() {
    return locales;
}

bool isChoice(std::string_view choices, std::string_view value) {
    while (!choices.empty()) {
        const size_t end = std::min(choices.find('|'), choices.size());
        if (choices.substr(0, end) == value) return true;
        choices.remove_prefix(std::min(end + 1, choices.size()));
    }
    return false;
}

} // namespace quorvel::sandbox
