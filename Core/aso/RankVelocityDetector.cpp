#include "Core/aso/RankVelocityDetector.h"

#include "Platform/crypto/Digest.h"

#include <fmt/format.h>

#include <chrono>
#include <utility>

namespace quorvel {

namespace {

using Severity = RankVelocityDetector::Severity;
using Rank = std::optional<std::int64_t>;

struct Finding {
    Severity severity = Severity::neutral;
    std::string summary, detail;
};

std::optional<Finding> compareRanks(const Rank& first, const Rank& last) {
    if (!first && !last) return std::nullopt;
    if (!first)
        return Finding{Severity::win, fmt::format("Now ranking at #{}", *last),
                       "Earlier this period the term was off-chart for our app. Whatever changed is helping "
                       "— keep it."};
    if (!last)
        return Finding{Severity::warning, "Fell out of the top 200",
                       fmt::format("Was at #{}, now no longer ranking. Look at competitor moves or recent "
                                   "metadata changes.",
                                   *first)};
    const std::int64_t delta = *last - *first; // a larger rank is a worse one
    if (delta >= RankVelocityDetector::leastPlaces)
        return Finding{
            Severity::warning, fmt::format("Rank dropped {} spots", delta),
            fmt::format("Was at #{}, now at #{}. A 5+ position drop is rare without a metadata or competitor "
                        "shift — investigate.",
                        *first, *last)};
    if (delta <= -RankVelocityDetector::leastPlaces)
        return Finding{Severity::win, fmt::format("Rank climbed {} spots", -delta),
                       fmt::format("From #{} to #{}. Big move; figure out what triggered it so you can "
                                   "repeat the pattern.",
                                   *first, *last)};
    return std::nullopt;
}

} // namespace

std::optional<RankVelocityDetector::Alert>
RankVelocityDetector::detect(std::string_view keywordTerm, std::span<const KeywordSnapshot> snapshots,
                             double window, Date now) {
    const Date cutoff =
        now - std::chrono::duration_cast<Date::duration>(std::chrono::duration<double>(window));
    const KeywordSnapshot* first = nullptr;
    const KeywordSnapshot* last = nullptr;
    for (const KeywordSnapshot& snapshot : snapshots) {
        if (snapshot.capturedAt < cutoff) continue;
        if (!first || snapshot.capturedAt < first->capturedAt) first = &snapshot;
        if (!last || snapshot.capturedAt >= last->capturedAt) last = &snapshot;
    }
    if (first == last) return std::nullopt;
    auto finding = compareRanks(first->ourRank, last->ourRank);
    if (!finding) return std::nullopt;
    return Alert{makeUUID(), std::string(keywordTerm), finding->severity, std::move(finding->summary),
                 std::move(finding->detail)};
}

} // namespace quorvel
