#include "Core/asc/services/ReviewSubmissionService.h"

#include "Core/asc/ASCError.h"

#include <algorithm>

namespace quorvel {

ASCResource<ReviewSubmissionAttributes> ReviewSubmissionService::submit(std::string_view appID,
                                                                        ASCPlatform platform,
                                                                        std::string_view versionID) const {
    using State = ReviewSubmissionState;
    const auto submissions = client_.listReviewSubmissions(
        appID, {State::readyForReview, State::waitingForReview, State::inReview, State::unresolvedIssues});
    const auto ofState = [&](State state) {
        return std::ranges::find_if(submissions, [&](const auto& submission) {
            const auto& attributes = submission.attributes;
            return attributes.platform == rawValue(platform) && attributes.state == rawValue(state);
        });
    };
    for (const State busy : {State::waitingForReview, State::inReview})
        if (ofState(busy) != submissions.end())
            throw ASCError(ASCError::APIErrors{
                {{std::nullopt, "STATE_ERROR", "A submission of this platform is with App Review already",
                  "Its state is " + std::string(rawValue(busy)) +
                      ". Wait for the result, or remove it from review on App Store Connect."}}});
    if (const auto unresolved = ofState(State::unresolvedIssues); unresolved != submissions.end())
        return client_.submitReviewSubmission(unresolved->id);
    const auto open = ofState(State::readyForReview);
    const std::string id =
        open != submissions.end() ? open->id : client_.createReviewSubmission(appID, platform).id;
    try {
        (void)client_.addReviewSubmissionItem(id, versionID);
    } catch (const ASCError& error) {
        // A submission that was found open may hold the version already, from a run whose answer was lost.
        if (open == submissions.end() || error.httpStatus() != 409) throw;
        try {
            return client_.submitReviewSubmission(id);
        } catch (const ASCError&) {
            throw error;
        }
    }
    return client_.submitReviewSubmission(id);
}

} // namespace quorvel
