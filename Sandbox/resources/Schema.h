// What the service knows of each type of resource: its relationships, and the attributes that may be written.
#pragma once

#include <span>
#include <string_view>

namespace quorvel::sandbox {

enum class Kind { text, locale, url, email, date, integer, boolean, choice };

/// When an attribute may be sent.
enum class Use {
    optional,       // with a create and an update
    required,       // with a create, where it must be, and an update
    identifying,    // with a create only, where it must be
    updateOnly,     // with an update only
    requiredUpdate, // with an update only, and not null
};

/// An attribute that requests may carry.
struct Attribute {
    std::string_view name;
    Kind kind = Kind::text;
    Use use = Use::optional;
    int limit = 0;                 // grapheme clusters; 0: none
    int minimum = 0;               // grapheme clusters of a value that is given
    std::string_view choices = {}; // joined by "|"
};

/// How a type reaches another.
enum class Reach {
    one,      // it links to one
    child,    // one links to it
    children, // any number link to it
    members,  // it lists them
    listed,   // they list it
    foreign,  // it links to one of a type that the sandbox holds no resources of
};

struct Relation {
    std::string_view type;
    std::string_view name;
    std::string_view target;
    Reach reach;
};

[[nodiscard]] std::span<const Relation> relationsOf(std::string_view type);
[[nodiscard]] const Relation* findRelation(std::string_view type, std::string_view name);
/// The attributes that requests may carry for resources of `type`.
[[nodiscard]] std::span<const Attribute> attributesOf(std::string_view type);
[[nodiscard]] bool isAppStoreLocale(std::string_view locale);
[[nodiscard]] std::span<const std::string_view> appStoreLocales();

/// Whether `value` is one of `choices`, which are joined by "|".
[[nodiscard]] bool isChoice(std::string_view choices, std::string_view value);

namespace choices {
inline constexpr std::string_view platforms = "IOS|MAC_OS|TV_OS|VISION_OS";
inline constexpr std::string_view appStoreStates =
    "ACCEPTED|DEVELOPER_REMOVED_FROM_SALE|DEVELOPER_REJECTED|IN_REVIEW|INVALID_BINARY|METADATA_REJECTED|"
    "PENDING_APPLE_RELEASE|PENDING_CONTRACT|PENDING_DEVELOPER_RELEASE|PREPARE_FOR_SUBMISSION|"
    "PREORDER_READY_FOR_SALE|PROCESSING_FOR_APP_STORE|READY_FOR_REVIEW|READY_FOR_SALE|REJECTED|"
    "REMOVED_FROM_SALE|WAITING_FOR_EXPORT_COMPLIANCE|WAITING_FOR_REVIEW|REPLACED_WITH_NEW_VERSION|"
    "NOT_APPLICABLE";
inline constexpr std::string_view appVersionStates =
    "ACCEPTED|DEVELOPER_REJECTED|IN_REVIEW|INVALID_BINARY|METADATA_REJECTED|PENDING_APPLE_RELEASE|"
    "PENDING_DEVELOPER_RELEASE|PREPARE_FOR_SUBMISSION|PROCESSING_FOR_DISTRIBUTION|READY_FOR_DISTRIBUTION|"
    "READY_FOR_REVIEW|REJECTED|REPLACED_WITH_NEW_VERSION|WAITING_FOR_EXPORT_COMPLIANCE|WAITING_FOR_REVIEW";
inline constexpr std::string_view submissionStates =
    "READY_FOR_REVIEW|WAITING_FOR_REVIEW|IN_REVIEW|UNRESOLVED_ISSUES|CANCELING|COMPLETING|COMPLETE";
inline constexpr std::string_view processingStates = "PROCESSING|FAILED|INVALID|VALID";
inline constexpr std::string_view betaReviewStates = "WAITING_FOR_REVIEW|IN_REVIEW|REJECTED|APPROVED";
inline constexpr std::string_view releaseTypes = "MANUAL|AFTER_APPROVAL|SCHEDULED";
inline constexpr std::string_view phasedReleaseStates = "INACTIVE|ACTIVE|PAUSED|COMPLETE";
inline constexpr std::string_view contentLevels =
    "NONE|INFREQUENT_OR_MILD|FREQUENT_OR_INTENSE|INFREQUENT|FREQUENT";
inline constexpr std::string_view appCategories =
    "BOOKS|BUSINESS|DEVELOPER_TOOLS|EDUCATION|ENTERTAINMENT|FINANCE|FOOD_AND_DRINK|GAMES|"
    "GRAPHICS_AND_DESIGN|HEALTH_AND_FITNESS|LIFESTYLE|MAGAZINES_AND_NEWSPAPERS|MEDICAL|MUSIC|NAVIGATION|NEWS|"
    "PHOTO_AND_VIDEO|PRODUCTIVITY|REFERENCE|SHOPPING|SOCIAL_NETWORKING|SPORTS|STICKERS|TRAVEL|UTILITIES|WEATHER";
inline constexpr std::string_view appSubcategories =
    "GAMES_ACTION|GAMES_ADVENTURE|GAMES_BOARD|GAMES_CARD|GAMES_CASINO|GAMES_CASUAL|GAMES_FAMILY|GAMES_MUSIC|"
    "GAMES_PUZZLE|GAMES_RACING|GAMES_ROLE_PLAYING|GAMES_SIMULATION|GAMES_SPORTS|GAMES_STRATEGY|GAMES_TRIVIA|"
    "GAMES_WORD|STICKERS_ANIMALS|STICKERS_ART|STICKERS_CELEBRATIONS|STICKERS_CELEBRITIES|"
    "STICKERS_COMICS_AND_CARTOONS|STICKERS_EATING_AND_DRINKING|STICKERS_EMOJI_AND_EXPRESSIONS|"
    "STICKERS_FASHION|STICKERS_GAMING|STICKERS_KIDS_AND_FAMILY|STICKERS_MOVIES_AND_TV|STICKERS_MUSIC|"
    "STICKERS_PEOPLE|STICKERS_PLACES_AND_OBJECTS|STICKERS_SPORTS_AND_ACTIVITIES";
inline constexpr std::string_view accessTypes = "ONE_TIME_SNAPSHOT|ONGOING";
inline constexpr std::string_view eventStates =
    "DRAFT|READY_FOR_REVIEW|WAITING_FOR_REVIEW|IN_REVIEW|REJECTED|ACCEPTED|APPROVED|PUBLISHED|PAST|ARCHIVED";
inline constexpr std::string_view purchaseStates =
    "MISSING_METADATA|WAITING_FOR_UPLOAD|PROCESSING_CONTENT|READY_TO_SUBMIT|WAITING_FOR_REVIEW|IN_REVIEW|"
    "DEVELOPER_ACTION_NEEDED|PENDING_BINARY_APPROVAL|APPROVED|DEVELOPER_REMOVED_FROM_SALE|REMOVED_FROM_SALE|"
    "REJECTED";
inline constexpr std::string_view purchaseTypes = "CONSUMABLE|NON_CONSUMABLE|NON_RENEWING_SUBSCRIPTION";
inline constexpr std::string_view audiences = "INTERNAL_ONLY|APP_STORE_ELIGIBLE";
inline constexpr std::string_view reportCategories =
    "APP_USAGE|APP_STORE_ENGAGEMENT|COMMERCE|FRAMEWORK_USAGE|PERFORMANCE";
inline constexpr std::string_view granularities = "DAILY|WEEKLY|MONTHLY";
inline constexpr std::string_view previewTypes =
    "IPHONE_67|IPHONE_61|IPHONE_65|IPHONE_58|IPHONE_55|IPHONE_47|IPHONE_40|IPHONE_35|IPAD_PRO_3GEN_129|"
    "IPAD_PRO_3GEN_11|IPAD_PRO_129|IPAD_105|IPAD_97|DESKTOP|APPLE_TV|APPLE_VISION_PRO";
inline constexpr std::string_view displayTypes =
    "APP_IPHONE_67|APP_IPHONE_61|APP_IPHONE_65|APP_IPHONE_58|APP_IPHONE_55|APP_IPHONE_47|APP_IPHONE_40|"
    "APP_IPHONE_35|APP_IPAD_PRO_3GEN_129|APP_IPAD_PRO_3GEN_11|APP_IPAD_PRO_129|APP_IPAD_105|APP_IPAD_97|"
    "APP_DESKTOP|APP_WATCH_ULTRA|APP_WATCH_SERIES_10|APP_WATCH_SERIES_7|APP_WATCH_SERIES_4|"
    "APP_WATCH_SERIES_3|APP_APPLE_TV|APP_APPLE_VISION_PRO|IMESSAGE_APP_IPHONE_67|IMESSAGE_APP_IPHONE_61|"
    "IMESSAGE_APP_IPHONE_65|IMESSAGE_APP_IPHONE_58|IMESSAGE_APP_IPHONE_55|IMESSAGE_APP_IPHONE_47|"
    "IMESSAGE_APP_IPHONE_40|IMESSAGE_APP_IPAD_PRO_3GEN_129|IMESSAGE_APP_IPAD_PRO_3GEN_11|"
    "IMESSAGE_APP_IPAD_PRO_129|IMESSAGE_APP_IPAD_105|IMESSAGE_APP_IPAD_97";
} // namespace choices
} // namespace quorvel::sandbox
