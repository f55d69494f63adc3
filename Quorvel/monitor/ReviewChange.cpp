#include "Quorvel/monitor/ReviewChange.h"

#include "Core/build/VersionStateTexts.h"
#include "Core/metadata/PlatformContext.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

enum class Weight { usual, critical };

// "{P}" stands for the platform, "{S}" for the short text.
struct StateNotice {
    std::string_view state;
    std::string_view shortText;
    std::string_view body;
    Weight weight = Weight::usual;
};

constexpr std::string_view movedTo = "{P} version moved to {S}.";
constexpr std::string_view approved = "Apple approved the {P} version and is processing it for the store.";
constexpr std::string_view live = "The {P} version is live.";
constexpr std::string_view rejected =
    "Apple rejected the {P} version. Open Resolution Center for the reviewer's note.";

constexpr StateNotice stateNotices[] = {
    {"WAITING_FOR_REVIEW", "waiting for review", movedTo},
    {"IN_REVIEW", "in review", "An App Review specialist has the {P} build open now."},
    {"PROCESSING_FOR_APP_STORE", "approved", approved},
    {"PROCESSING_FOR_DISTRIBUTION", "approved", approved},
    {"ACCEPTED", "approved", approved},
    {"PENDING_DEVELOPER_RELEASE", "approved — release it",
     "Approved. It goes live when you press Release on App Store Connect."},
    {"PENDING_APPLE_RELEASE", "approved — scheduled", movedTo},
    {"READY_FOR_SALE", "live on the App Store", live},
    {"READY_FOR_DISTRIBUTION", "live on the App Store", live},
    {"REJECTED", "rejected", rejected, Weight::critical},
    {"DEVELOPER_REJECTED", "rejected", rejected, Weight::critical},
    {"METADATA_REJECTED", "metadata rejected",
     "Apple rejected the metadata — fix the flagged field and push, the binary isn't re-reviewed.",
     Weight::critical},
    {"INVALID_BINARY", "binary rejected", rejected, Weight::critical},
    {"WAITING_FOR_EXPORT_COMPLIANCE", "needs export compliance",
     "Answer the encryption questionnaire on App Store Connect to continue."},
    {"REMOVED_FROM_SALE", "removed from sale", movedTo},
    {"DEVELOPER_REMOVED_FROM_SALE", "removed from sale", movedTo},
};

std::string filledIn(std::string_view text, std::string_view platform, std::string_view shortText) {
    std::string filled;
    while (!text.empty()) {
        if (text.starts_with("{P}") || text.starts_with("{S}")) {
            filled += text[1] == 'P' ? platform : shortText;
            text.remove_prefix(3);
            continue;
        }
        filled += text.front();
        text.remove_prefix(1);
    }
    return filled;
}

// The newer spellings of some states.
std::string_view usualSpelling(std::string_view state) {
    if (state == "READY_FOR_DISTRIBUTION") return "READY_FOR_SALE";
    if (state == "PROCESSING_FOR_DISTRIBUTION") return "PROCESSING_FOR_APP_STORE";
    return state;
}

} // namespace

std::string transitionKey(const ReviewChange& change) {
    return fmt::format("{}|{}|{}|{}", change.appID, rawValue(change.platform), change.version,
                       change.newState);
}

ReviewNotice noticeOf(const ReviewChange& change) {
    const auto found = std::ranges::find(stateNotices, change.newState, &StateNotice::state);
    // A state without texts of its own is told by its words.
    const std::string words = asciiLowercase(statePill(change.newState));
    const StateNotice notice =
        found == std::end(stateNotices) ? StateNotice{change.newState, words, movedTo} : *found;
    return {.id = transitionKey(change),
            .appID = change.appID,
            .appName = change.appName,
            .platform = change.platform,
            .version = change.version,
            .oldState = change.oldState,
            .newState = change.newState,
            .title = fmt::format("{} {} · {}", change.appName, change.version, notice.shortText),
            .body = filledIn(notice.body, platformLabel(change.platform), notice.shortText),
            .isCritical = isCriticalState(change.newState)};
}

bool isCriticalState(std::string_view state) {
    const auto found = std::ranges::find(stateNotices, state, &StateNotice::state);
    return found != std::end(stateNotices) && found->weight == Weight::critical;
}

bool isWorthNotice(std::string_view state) {
    return state != "REPLACED_WITH_NEW_VERSION";
}

bool isChangeWhenFirstSeen(std::string_view state) {
    return isWorthNotice(state) && state != "PREPARE_FOR_SUBMISSION";
}

bool isSameState(std::string_view one, std::string_view other) {
    return usualSpelling(one) == usualSpelling(other);
}

} // namespace quorvel
