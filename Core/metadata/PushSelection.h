// Chooses what a push sends, and says what it leaves out and why.
#pragma once

#include "Core/metadata/PendingChange.h"
#include "Core/metadata/PlatformContext.h"

#include <string>
#include <vector>

namespace quorvel {

enum class Clearing { leaveOut, allow };
/// What becomes of texts that were generated and not read since.
enum class Unreviewed { leaveOut, allow };
/// What a push of texts that were never pulled does: it replaces nothing that it does not know, or it reads
/// first what App Store Connect holds and replaces that.
enum class Overwriting { no, yes };

/// What the user asked for, and of which version; an empty list stands for all. Among the locales the page
/// goes by the name under which it is shown.
struct PushFilter {
    std::vector<std::string> locales;
    std::vector<FieldType> fields;
    Clearing clearing = Clearing::leaveOut;
    Release release = Release::update;
    Unreviewed unreviewed = Unreviewed::leaveOut;
    Overwriting overwriting = Overwriting::no;

    /// Whether the lists take this field.
    [[nodiscard]] bool takes(const FieldKey& key) const;
};

enum class LeftOutReason {
    localeDisabled,      // the user took the locale out of pulls and pushes
    notAnAppStoreLocale, // a folder whose name is no known locale, unless the filter names it
    byteOrderMark,
    controlCharacter,
    onlyFinalLineBreak, // chosen when the filter names both its locale and its field
    overLimit,
    clearsField,
    clearsName,      // which every localization has
    unreviewed,      // generated and not read since
    unreadableFile,  // the local file or its pulled copy cannot be taken as a text
    firstVersion,    // takes no release notes
    cannotBeCleared, // a value that can only be replaced
    invalidValue,    // no address of a web page, or another value that App Store Connect takes nowhere
    inConflict,      // changed here and on App Store Connect; nobody chose yet
};

template <>
struct RawValues<LeftOutReason> {
    static constexpr std::pair<LeftOutReason, std::string_view> values[] = {
        {LeftOutReason::localeDisabled, "localeDisabled"},
        {LeftOutReason::notAnAppStoreLocale, "notAnAppStoreLocale"},
        {LeftOutReason::byteOrderMark, "byteOrderMark"},
        {LeftOutReason::controlCharacter, "controlCharacter"},
        {LeftOutReason::onlyFinalLineBreak, "onlyFinalLineBreak"},
        {LeftOutReason::overLimit, "overLimit"},
        {LeftOutReason::clearsField, "clearsField"},
        {LeftOutReason::clearsName, "clearsName"},
        {LeftOutReason::unreviewed, "unreviewed"},
        {LeftOutReason::unreadableFile, "unreadableFile"},
        {LeftOutReason::firstVersion, "firstVersion"},
        {LeftOutReason::cannotBeCleared, "cannotBeCleared"},
        {LeftOutReason::invalidValue, "invalidValue"},
        {LeftOutReason::inConflict, "inConflict"},
    };
};

struct LeftOutChange {
    PendingChange change;
    LeftOutReason reason = LeftOutReason::overLimit;
    std::string explanation; // why, and what to do
    bool isMissed = true;    // the push is not all that was asked for without it
    QUORVEL_RECORD(LeftOutChange, change, reason, explanation, isMissed)
    bool operator==(const LeftOutChange&) const = default;
};

struct PushWarning {
    std::string locale;
    std::optional<FieldType> field; // none: about the locale
    std::string text;
    QUORVEL_RECORD(PushWarning, locale, field, text)
    bool operator==(const PushWarning&) const = default;
};

struct PushSelection {
    std::vector<PendingChange> chosen;  // in the order given
    std::vector<LeftOutChange> leftOut; // of those that the filter takes
    std::vector<PushWarning> warnings;  // about chosen changes
    QUORVEL_RECORD(PushSelection, chosen, leftOut, warnings)
};

/// Whether a change that was left out for this reason waits until the user does something about it.
[[nodiscard]] bool waitsForUser(LeftOutReason reason);

/// Changes that were left out for one reason, and with one explanation where no common words say it all.
struct LeftOutGroup {
    LeftOutReason reason = LeftOutReason::overLimit;
    std::vector<LeftOutChange> changes;
    std::string explanation; // of all of them: why, and what to do
};
/// Those first that the user has to do something about.
[[nodiscard]] std::vector<LeftOutGroup> groupsOf(const std::vector<LeftOutChange>& leftOut);

/// What is said of a text in conflict.
inline constexpr std::string_view inConflictText =
    "Changed here and on App Store Connect. Settle the conflict first.";

[[nodiscard]] PushSelection selectForPush(const std::vector<PendingChange>& changes,
                                          const PushFilter& filter = {},
                                          const LocaleSet& disabledLocales = {});

} // namespace quorvel
