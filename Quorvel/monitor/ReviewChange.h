// A change of a version's state, and what people are told of it.
#pragma once

#include "Core/asc/records/States.h"
#include "Platform/json/JSON.h"

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// One detected transition of an App Store version.
struct ReviewChange {
    std::string appID; // of the app's record
    std::string appName;
    ASCPlatform platform = ASCPlatform::iOS;
    std::string version;                 // such as "2.4.3"
    std::optional<std::string> oldState; // nothing where none was known
    std::string newState;                // raw, as App Store Connect sent it
    bool operator==(const ReviewChange&) const = default;
};

/// A change with its texts, as it is shown and handed to programs.
struct ReviewNotice {
    std::string id; // tells transitions apart, also across runs
    std::string appID;
    std::string appName;
    ASCPlatform platform = ASCPlatform::iOS;
    std::string version;
    std::optional<std::string> oldState;
    std::string newState;
    std::string title;
    std::string body;
    bool isCritical = false;                   // something was turned down
    std::optional<bool> wasNotified;           // on the desktop; nothing while that was not tried
    std::optional<std::string> programProblem; // why the user's program failed for it
    QUORVEL_RECORD(ReviewNotice, id, appID, appName, platform, version, oldState, newState, title, body,
                   isCritical, wasNotified, programProblem)
};

/// The change's app, platform, version and new state, joined with "|".
[[nodiscard]] std::string transitionKey(const ReviewChange& change);
[[nodiscard]] ReviewNotice noticeOf(const ReviewChange& change);

/// Whether something was turned down.
[[nodiscard]] bool isCriticalState(std::string_view state);
/// Whether a change to this state is notified: all but that a version was replaced, which comes with the
/// news of its successor.
[[nodiscard]] bool isWorthNotice(std::string_view state);
/// Whether a version that is met in this state, on an app that was checked before, is a change: it is none
/// while it is in preparation or when it was replaced.
[[nodiscard]] bool isChangeWhenFirstSeen(std::string_view state);
/// Whether both are spellings of one state.
[[nodiscard]] bool isSameState(std::string_view one, std::string_view other);

} // namespace quorvel
