// The states in which versions were seen, kept between checks.
#pragma once

#include "Platform/json/JSON.h"
#include "Platform/time/Date.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

struct SeenState {
    std::string state;         // raw
    std::optional<Date> since; // when the change to it was noticed; nothing where it was met in it
    QUORVEL_RECORD(SeenState, state, since)
    bool operator==(const SeenState&) const = default;
};

/// Every version that was seen, by the app's record and then by platform and version ("IOS|2.4.3").
struct SeenStates {
    using Versions = std::map<std::string, SeenState>;
    static constexpr std::int64_t currentFormat = 1;

    std::int64_t formatVersion = currentFormat;
    std::map<std::string, Versions> apps;
    QUORVEL_RECORD(SeenStates, formatVersion, apps)
    bool operator==(const SeenStates&) const = default;

    /// The versions of an app; null when it was never checked.
    [[nodiscard]] const Versions* of(std::string_view appID) const;
};

struct LoadedStates {
    SeenStates states;
    std::optional<std::filesystem::path> movedAside; // the damaged file that was there before
};

/// Reads the file; a missing one is empty, and a damaged one is moved aside (".damaged"). Throws `FileError`,
/// and `ApplicationError` for a file of a newer format.
[[nodiscard]] LoadedStates loadSeenStates(const std::filesystem::path& file);
/// Replaces the file in one step, for this user only. Throws `FileError`.
void saveSeenStates(const std::filesystem::path& file, const SeenStates& states);

} // namespace quorvel
