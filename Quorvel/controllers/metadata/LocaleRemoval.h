// What removing locales would lose, and what came of it.
#pragma once

#include "Core/metadata/FieldTexts.h"
#include "Quorvel/controllers/metadata/PushPlan.h"

#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// Where a locale is removed.
enum class RemovalPlace { everywhere, local, appStoreConnect };

template <>
struct RawValues<RemovalPlace> {
    using P = RemovalPlace;
    static constexpr std::pair<P, std::string_view> values[] = {
        {P::everywhere, "everywhere"}, {P::local, "local"}, {P::appStoreConnect, "appStoreConnect"}};
};

/// Why nothing of a locale is removed.
enum class RemovalRefusal {
    primaryLocale,  // App Store Connect keeps it as long as the app is there
    sourceLocale,   // the other locales start from its files, and nobody is asked which one is primary
    takesFallbacks, // the texts of all locales stand for it, also without files of its own
    nowhere,        // there is nothing of it
};

template <>
struct RawValues<RemovalRefusal> {
    using R = RemovalRefusal;
    static constexpr std::pair<R, std::string_view> values[] = {{R::primaryLocale, "primaryLocale"},
                                                                {R::sourceLocale, "sourceLocale"},
                                                                {R::takesFallbacks, "takesFallbacks"},
                                                                {R::nowhere, "nowhere"}};
};
/// The words for a refusal, as they follow the locale.
[[nodiscard]] std::string_view textOf(RemovalRefusal refusal);

/// What one locale loses.
struct PlannedLocaleRemoval {
    std::string locale;
    bool hasFolder = false;                  // which is moved away
    std::vector<FieldType> localTexts;       // in it
    std::vector<FieldType> unsent;           // of these, edits that App Store Connect does not hold
    bool hasVersionLocalization = false;     // which is deleted, with its screenshots
    bool hasAppInfoLocalization = false;     // which is deleted, unless versions of other platforms use it
    std::vector<FieldType> storeTexts;       // that App Store Connect holds
    std::vector<std::string> screenshotSets; // their display types on App Store Connect
    std::vector<std::string> sharedWith;     // contexts that use the app info localization, so that it stays
    std::optional<RemovalRefusal> refusal;
    QUORVEL_RECORD(PlannedLocaleRemoval, locale, hasFolder, localTexts, unsent, hasVersionLocalization,
                   hasAppInfoLocalization, storeTexts, screenshotSets, sharedWith, refusal)
    bool operator==(const PlannedLocaleRemoval&) const = default;

    [[nodiscard]] bool deletesAppInfo() const { return hasAppInfoLocalization && sharedWith.empty(); }
};

struct LocaleRemovalPlan {
    AppReference app;
    std::string folder;                     // the app's metadata folder
    std::string context;                    // "ios/next"
    std::optional<PlatformContext> version; // as App Store Connect has it now; none for a local removal
    RemovalPlace place = RemovalPlace::everywhere;
    std::vector<PlannedLocaleRemoval> locales;
    QUORVEL_RECORD(LocaleRemovalPlan, app, folder, context, version, place, locales)
};

struct LocaleRemovalOutcome {
    std::string locale;
    bool removedFromAppStoreConnect = false;
    std::optional<std::string> movedTo; // where the local files are now
    std::optional<RemovalRefusal> refusal;
    std::optional<std::string> error;
    std::optional<ASCError::Kind> failure = std::nullopt; // what App Store Connect's error means
    QUORVEL_RECORD_EXCEPT(LocaleRemovalOutcome, (failure), locale, removedFromAppStoreConnect, movedTo,
                          refusal, error)
};

struct LocaleRemovalReport {
    AppReference app;
    std::string context;
    std::vector<LocaleRemovalOutcome> outcomes;
    std::optional<std::string> run;            // in the history, where something was removed there
    std::optional<std::string> historyProblem; // why not all of it is there
    QUORVEL_RECORD(LocaleRemovalReport, app, context, outcomes, run, historyProblem)
};

/// Where a text or the screenshots of a locale are, as far as the last pull tells.
enum class Presence { missing, local, appStoreConnect, both };

template <>
struct RawValues<Presence> {
    static constexpr std::pair<Presence, std::string_view> values[] = {
        {Presence::missing, "missing"},
        {Presence::local, "local"},
        {Presence::appStoreConnect, "appStoreConnect"},
        {Presence::both, "both"}};
};

struct LocalePresence {
    std::string locale;
    bool hasFolder = false;
    std::map<std::string, Presence> texts; // field → where it is
    Presence screenshots = Presence::missing;
    QUORVEL_RECORD(LocalePresence, locale, hasFolder, texts, screenshots)
};

/// The locales of a context's folder and of its pulled copies.
struct LocaleOverview {
    std::string context;
    std::string folder;     // of the context
    bool wasPulled = false; // else nothing is known of what App Store Connect holds
    std::vector<LocalePresence> locales;
    QUORVEL_RECORD(LocaleOverview, context, folder, wasPulled, locales)
};

} // namespace quorvel
