// Releasing an approved version, at once or in phases.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Platform/json/RawValue.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

enum class PhasedReleaseState { inactive, active, paused, complete };

template <>
struct RawValues<PhasedReleaseState> {
    using S = PhasedReleaseState;
    static constexpr std::pair<PhasedReleaseState, std::string_view> values[] = {
        {S::inactive, "INACTIVE"}, {S::active, "ACTIVE"}, {S::paused, "PAUSED"}, {S::complete, "COMPLETE"}};
};

inline constexpr std::int64_t phasedReleaseDays = 7;
inline constexpr std::int64_t mostPausedDays = 30; // in all; App Store Connect goes on after that

/// The part of the users that gets a phased release by itself on one of its days, in percent; nothing before
/// and after those.
[[nodiscard]] std::optional<std::int64_t> phasedPercentage(std::int64_t day);

/// Releases versions. Every step reads back after a lost answer, so that all of them may be repeated.
class ReleaseService {
  public:
    explicit ReleaseService(const ASCClientProtocol& client) : client_(client) {}

    /// Releases a version that is PENDING_DEVELOPER_RELEASE.
    void release(std::string_view versionID) const;

    /// Lets the version come out in phases once it is released; a phased release that is there is taken.
    void startPhases(std::string_view versionID) const;
    /// Takes the version to `state`: active, paused or complete.
    void changePhases(std::string_view versionID, std::string_view phasedReleaseID,
                      PhasedReleaseState state) const;
    /// Takes away a phased release that has not begun.
    void removePhases(std::string_view phasedReleaseID) const;

  private:
    const ASCClientProtocol& client_;
};

} // namespace quorvel
