// Tells when the rank of a search term moved fast.
#pragma once

#include "Core/records/Models.h"
#include "Platform/json/JSON.h"
#include "Platform/time/Date.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace quorvel {

/// Pure: compares the first and the last snapshot of a recent period, and nothing between them.
struct RankVelocityDetector {
    static constexpr double week = 604800;         // seconds
    static constexpr std::int64_t leastPlaces = 5; // that a move takes to be worth an alert

    enum class Severity { warning, win, neutral };

    struct Alert {
        std::string id; // a new UUID each time
        std::string keywordTerm;
        Severity severity = Severity::neutral;
        std::string summary; // a headline
        std::string detail;  // one or two sentences of advice
        QUORVEL_RECORD(Alert, id, keywordTerm, severity, summary, detail)
        bool operator==(const Alert&) const = default;
    };

    /// The alert about the snapshots of the last `window` seconds before `now`, in any order; nothing for
    /// fewer than two and for a small move.
    [[nodiscard]] static std::optional<Alert>
    detect(std::string_view keywordTerm, std::span<const KeywordSnapshot> snapshots, double window, Date now);
};

template <>
struct RawValues<RankVelocityDetector::Severity> {
    using Severity = RankVelocityDetector::Severity;
    static constexpr std::pair<Severity, std::string_view> values[] = {
        {Severity::warning, "warning"}, {Severity::win, "win"}, {Severity::neutral, "neutral"}};
};

} // namespace quorvel
