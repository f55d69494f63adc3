#include "Core/asc/services/ReleaseService.h"

#include "Core/asc/services/CreateOrAdopt.h"

#include <algorithm>
#include <array>

namespace quorvel {

namespace {

// What follows a release that was asked for.
constexpr std::array<std::string_view, 5> releasedStates = {
    "PROCESSING_FOR_APP_STORE", "PROCESSING_FOR_DISTRIBUTION", "READY_FOR_SALE", "READY_FOR_DISTRIBUTION",
    "PENDING_APPLE_RELEASE"};

// Runs `change`; one that fails and may have been carried out all the same is done when `isDone` says so.
template <typename Change, typename IsDone>
void readBackAfter(Change&& change, IsDone&& isDone) {
    try {
        change();
    } catch (const ASCError& error) {
        if (!mayHaveBeenDone(error) && error.httpStatus() != 409) throw;
        bool done = false;
        try {
            done = isDone();
        } catch (const ASCError&) { // the error of the change says more
        }
        if (!done) throw;
    }
}

} // namespace

std::optional<std::int64_t> phasedPercentage(std::int64_t day) {
    constexpr std::array percentages = {1, 2, 5, 10, 20, 50, 100};
    static_assert(std::size(percentages) == phasedReleaseDays);
    if (day < 1 || day > phasedReleaseDays) return std::nullopt;
    return percentages[static_cast<std::size_t>(day - 1)];
}

void ReleaseService::release(std::string_view versionID) const {
    readBackAfter([&] { client_.requestVersionRelease(versionID); },
                  [&] {
                      const auto state = client_.getAppStoreVersion(versionID).attributes.appStoreState;
                      return std::ranges::find(releasedStates, state.value_or("")) != releasedStates.end();
                  });
}

void ReleaseService::startPhases(std::string_view versionID) const {
    readBackAfter(
        [&] {
            (void)client_.createPhasedRelease(versionID,
                                              {std::string(rawValue(PhasedReleaseState::inactive))});
        },
        [&] { return client_.getPhasedRelease(versionID).has_value(); });
}

void ReleaseService::changePhases(std::string_view versionID, std::string_view phasedReleaseID,
                                  PhasedReleaseState state) const {
    readBackAfter([&] { (void)client_.updatePhasedRelease(phasedReleaseID, {std::string(rawValue(state))}); },
                  [&] {
                      const auto phased = client_.getPhasedRelease(versionID);
                      return phased && phased->attributes.phasedReleaseState == rawValue(state);
                  });
}

void ReleaseService::removePhases(std::string_view phasedReleaseID) const {
    try {
        client_.deletePhasedRelease(phasedReleaseID);
    } catch (const ASCError& error) { // gone already after an answer that was lost
        if (error.kind() != ASCError::Kind::notFound) throw;
    }
}

} // namespace quorvel
