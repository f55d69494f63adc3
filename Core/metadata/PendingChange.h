// A field whose local text differs from what App Store Connect held at the last pull.
#pragma once

#include "Core/asc/ASCError.h"
#include "Core/metadata/FieldTexts.h"
#include "Core/metadata/ReviewMarks.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Locale and field together identify a change; one of the page has no locale. Of a secret the texts are not
/// those, but what is done to it.
struct PendingChange {
    std::string locale;
    FieldType field = FieldType::name;
    std::string remote; // the pulled copy; empty when there is none
    std::string local;  // the text on disk; empty when there is no file
    bool isOverLimit = false;
    bool isNewLocale = false;                        // the locale has no pulled copy at all
    std::optional<ReviewMark> review = std::nullopt; // the local text was generated and not read since
    // Why a secret is no value, as its text is not here.
    std::optional<std::string> secretFault = std::nullopt;
    QUORVEL_RECORD_EXCEPT(PendingChange, (secretFault), locale, field, remote, local, isOverLimit,
                          isNewLocale, review)

    [[nodiscard]] FieldKey key() const { return {locale, field}; }
    /// Whether pushing this removes the field's text.
    [[nodiscard]] bool clears() const;
    /// What a push sends: the local text, or an empty one where that is blank.
    [[nodiscard]] std::string_view textToSend() const;
    bool operator==(const PendingChange&) const = default;
};

/// What the error text of a change says when App Store Connect may have taken it all the same, as its answer
/// was lost. The history keeps the text, so these words never change.
inline constexpr std::string_view mayHaveTakenText = "App Store Connect may have taken it.";

/// What a push did with one change.
struct PushOutcome {
    PendingChange change;
    bool success = false;
    std::optional<std::string> errorMessage; // why it failed
    // What App Store Connect held when the push looked; nothing where it could not be told, and where it held
    // the text that was to be sent: an earlier push whose answer was lost may have sent it.
    std::optional<std::string> previous = std::nullopt;
    // What the error of App Store Connect means; nothing when the change failed for another reason.
    std::optional<ASCError::Kind> failure = std::nullopt;
    std::optional<std::string> remark = std::nullopt; // about a change that succeeded
    bool notSent = false; // never tried: the push was cancelled, or other locales told that it is refused
    QUORVEL_RECORD_EXCEPT(PushOutcome, (previous), change, success, errorMessage, failure, remark, notSent)

    [[nodiscard]] bool wasSent() const { return !notSent; }
    /// The text before the push: what was held, else the pulled copy.
    [[nodiscard]] const std::string& textBefore() const { return previous ? *previous : change.remote; }
    bool operator==(const PushOutcome&) const = default;
};

/// The report of a push, such as "Pushed 3 fields · 2 locales", with the number of those that were not sent,
/// and the number of failures and the first error when something failed.
[[nodiscard]] std::string pushReport(const std::vector<PushOutcome>& outcomes);

} // namespace quorvel
