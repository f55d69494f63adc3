#include "Core/asc/services/ReviewSubmissionService.h"

#include "Core/asc/services/CreateOrAdopt.h"

#include <algorithm>

namespace quorvel {

namespace {

using State = ReviewSubmissionState;
using Submission = ASCResource<ReviewSubmissionAttributes>;

bool isOf(const Submission& submission, ASCPlatform platform, State state) {
    return submission.attributes.platform == rawValue(platform) &&
           submission.attributes.state == rawValue(state);
}

// Whether a refusal, or a lost answer, may come from a request of ours that was carried out before.
bool mayBeDoneAlready(const ASCError& error) {
    return mayHaveBeenDone(error) || error.httpStatus() == 409;
}

} // namespace

Submission ReviewSubmissionService::submit(std::string_view appID, ASCPlatform platform,
                                           std::string_view versionID) const {
    const auto submissions = client_.listReviewSubmissions(
        appID, {State::readyForReview, State::waitingForReview, State::inReview, State::unresolvedIssues});
    for (const State busy : {State::waitingForReview, State::inReview})
        if (std::ranges::any_of(submissions, [&](const auto& each) { return isOf(each, platform, busy); }))
            throw ASCError(ASCError::APIErrors{
                {{std::nullopt, "STATE_ERROR", "A submission of this platform is with App Review already",
                  "Its state is " + std::string(rawValue(busy)) +
                      ". Wait for the result, or remove it from review on App Store Connect."}}});
    for (const State open : {State::unresolvedIssues, State::readyForReview})
        for (const Submission& submission : submissions)
            if (isOf(submission, platform, open)) {
                if (!holds(submission.id, versionID)) add(submission.id, versionID);
                return send(appID, submission.id);
            }
    const std::string id = client_.createReviewSubmission(appID, platform).id;
    add(id, versionID);
    return send(appID, id);
}

bool ReviewSubmissionService::holds(const std::string& submissionID, std::string_view versionID) const {
    const auto items = client_.listReviewSubmissionItems(submissionID);
    return std::ranges::any_of(items, [&](const ASCReviewSubmissionItem& each) {
        const auto& attributes = each.item.attributes;
        return each.versionID == versionID && attributes.state != "REMOVED" &&
               !attributes.removed.value_or(false);
    });
}

void ReviewSubmissionService::add(const std::string& submissionID, std::string_view versionID) const {
    try {
        (void)client_.addReviewSubmissionItem(submissionID, versionID);
    } catch (const ASCError& error) {
        if (!mayBeDoneAlready(error)) throw;
        bool isThere = false;
        try {
            isThere = holds(submissionID, versionID);
        } catch (const ASCError&) { // the error of the create says more
        }
        if (!isThere) throw;
    }
}

Submission ReviewSubmissionService::send(std::string_view appID, const std::string& submissionID) const {
    try {
        return client_.submitReviewSubmission(submissionID);
    } catch (const ASCError& error) {
        if (!mayBeDoneAlready(error)) throw;
        try {
            for (Submission& each :
                 client_.listReviewSubmissions(appID, {State::waitingForReview, State::inReview}))
                if (each.id == submissionID) return std::move(each);
        } catch (const ASCError&) { // the error of the submission says more
        }
        throw;
    }
}

} // namespace quorvel
