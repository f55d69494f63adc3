#include "Core/asc/services/ReviewSubmissionService.h"

#include "Core/asc/services/CreateOrAdopt.h"

#include <fmt/format.h>

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

[[noreturn]] void refuse(std::string title, std::string detail) {
    throw ASCError(ASCError::APIErrors{{{std::nullopt, "STATE_ERROR", std::move(title), std::move(detail)}}});
}

std::string textOf(const ASCReviewSubmissionItem& item) {
    struct Kind {
        std::string_view name, text;
    };
    constexpr Kind kinds[] = {{"appStoreVersion", "version"},
                              {"appCustomProductPageVersion", "a custom product page"},
                              {"appStoreVersionExperiment", "the product page test"},
                              {"appStoreVersionExperimentV2", "the product page test"},
                              {"appEvent", "the in-app event"}};
    const auto kind = std::ranges::find(kinds, item.kind.value_or(""), &Kind::name);
    const std::string_view text = kind == std::end(kinds) ? "another item" : kind->text;
    return item.name ? fmt::format("{} {}", text, *item.name) : std::string(text);
}

// Waits with growing pauses until `found` gives something; nothing when that takes longer than `wait`.
template <typename Find>
auto await(const std::function<void(double)>& sleep, double wait, Find&& found) -> decltype(found()) {
    double waited = 0;
    for (double pause = 1;; pause = std::min(2 * pause, 15.0)) {
        if (auto result = found()) return result;
        if (waited + pause > wait) return {};
        sleep(pause);
        waited += pause;
    }
}

} // namespace

// What is open for a platform; no id when nothing is.
struct ReviewSubmissionService::Open {
    std::optional<Submission> submission;
    bool holdsVersion = false;
    std::optional<std::string> itemID; // of the version
    std::vector<SubmissionItem> otherItems;

    void read(const std::vector<ASCReviewSubmissionItem>& items, std::string_view versionID) {
        for (const auto& each : items) {
            if (!each.isIn()) continue;
            if (each.versionID == versionID) {
                holdsVersion = true;
                itemID = each.item.id;
            } else {
                otherItems.push_back({each.item.id, textOf(each)});
            }
        }
    }
    [[nodiscard]] SubmissionCourse course() const {
        if (!submission) return SubmissionCourse::create;
        const auto& state = submission->attributes.state;
        if (state == rawValue(State::waitingForReview) || state == rawValue(State::inReview))
            return SubmissionCourse::withApple;
        if (state == rawValue(State::canceling)) return SubmissionCourse::beingRemoved;
        return holdsVersion ? SubmissionCourse::send : SubmissionCourse::add;
    }
    [[nodiscard]] SubmissionPlan plan() const {
        return {.course = course(),
                .submissionID = submission ? std::optional(submission->id) : std::nullopt,
                .state = submission ? submission->attributes.state : std::nullopt,
                .holdsVersion = holdsVersion,
                .otherItems = otherItems};
    }
};

ReviewSubmissionService::Open ReviewSubmissionService::findOpen(std::string_view appID,
                                                                ASCPlatform platform) const {
    // What stops a submission goes first; then what is to be corrected goes before what was only begun.
    constexpr State states[] = {State::waitingForReview, State::inReview, State::canceling,
                                State::unresolvedIssues, State::readyForReview};
    const auto submissions = client_.listReviewSubmissions(appID, {std::begin(states), std::end(states)});
    for (const State state : states)
        for (const Submission& submission : submissions)
            if (isOf(submission, platform, state)) return {.submission = submission};
    return {};
}

void ReviewSubmissionService::readItems(Open& open, std::string_view versionID) const {
    if (open.submission) open.read(client_.listReviewSubmissionItems(open.submission->id), versionID);
}

SubmissionPlan ReviewSubmissionService::plan(std::string_view appID, ASCPlatform platform,
                                             std::string_view versionID) const {
    Open open = findOpen(appID, platform);
    readItems(open, versionID);
    return open.plan();
}

Submission ReviewSubmissionService::submit(std::string_view appID, ASCPlatform platform,
                                           std::string_view versionID,
                                           const std::optional<SubmissionPlan>& agreed) const {
    Open open = findOpen(appID, platform);
    if (open.course() == SubmissionCourse::withApple)
        refuse("A submission of this platform is with App Review already",
               fmt::format("Its state is {}. Wait for the result, or remove it from review.",
                           open.submission->attributes.state.value_or("unknown")));
    if (open.course() == SubmissionCourse::beingRemoved)
        refuse("A submission of this platform is being removed from review",
               "Its state is CANCELING. Submit again once that is done.");
    if (open.submission)
        readItems(open, versionID);
    else
        open = create(appID, platform, versionID);
    if (agreed)
        for (const SubmissionItem& item : open.otherItems)
            if (std::ranges::find(agreed->otherItems, item.id, &SubmissionItem::id) ==
                agreed->otherItems.end())
                refuse("The open submission was changed meanwhile",
                       fmt::format("It would take {} along. Look at it again, then submit.", item.text));
    if (!open.holdsVersion) add(open.submission->id, versionID);
    return send(appID, open.submission->id);
}

ReviewSubmissionService::Open ReviewSubmissionService::create(std::string_view appID, ASCPlatform platform,
                                                              std::string_view versionID) const {
    try {
        return {.submission = client_.createReviewSubmission(appID, platform)};
    } catch (const ASCError& error) {
        if (!mayBeDoneAlready(error)) throw;
        std::optional<Open> made;
        try { // a submission is not listed at once
            made = await(options_.sleep, options_.visibilityWait, [&]() -> std::optional<Open> {
                Open open = findOpen(appID, platform);
                readItems(open, versionID);
                return open.submission ? std::optional(std::move(open)) : std::nullopt;
            });
        } catch (const ASCError&) { // the error of the create says more
        }
        const bool isOurs = made && (made->course() == SubmissionCourse::send ||
                                     (made->course() == SubmissionCourse::add && made->otherItems.empty()));
        if (!isOurs) throw;
        return std::move(*made);
    }
}

bool ReviewSubmissionService::holds(const std::string& submissionID, std::string_view versionID) const {
    return std::ranges::any_of(
        client_.listReviewSubmissionItems(submissionID),
        [&](const ASCReviewSubmissionItem& each) { return each.isIn() && each.versionID == versionID; });
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

std::optional<RemovalPlan> ReviewSubmissionService::planRemoval(std::string_view appID, ASCPlatform platform,
                                                                std::string_view versionID) const {
    Open open = findOpen(appID, platform);
    readItems(open, versionID);
    if (!open.holdsVersion) return std::nullopt;
    RemovalPlan plan{.submissionID = open.submission->id,
                     .state = open.submission->attributes.state.value_or(""),
                     .itemID = std::nullopt,
                     .otherItems = std::move(open.otherItems)};
    if (plan.state != rawValue(State::readyForReview)) return plan;
    plan.itemID = open.itemID;
    plan.otherItems.clear();
    return plan;
}

RemovalEnd ReviewSubmissionService::remove(std::string_view appID, const RemovalPlan& plan) const {
    if (plan.itemID) {
        try {
            client_.deleteReviewSubmissionItem(*plan.itemID);
        } catch (const ASCError& error) { // gone already after an answer that was lost
            if (error.kind() != ASCError::Kind::notFound) throw;
        }
        return RemovalEnd::removed;
    }
    if (plan.state != rawValue(State::canceling)) {
        try {
            (void)client_.cancelReviewSubmission(plan.submissionID);
        } catch (const ASCError& error) {
            if (!mayBeDoneAlready(error)) throw;
            bool isOpen = true;
            try {
                const auto open = client_.listReviewSubmissions(
                    appID, {State::waitingForReview, State::inReview, State::unresolvedIssues});
                isOpen = std::ranges::any_of(
                    open, [&](const Submission& each) { return each.id == plan.submissionID; });
            } catch (const ASCError&) { // the error of the cancellation says more
            }
            if (isOpen) throw;
        }
    }
    const auto left = await(options_.sleep, options_.removalWait, [&]() -> std::optional<RemovalEnd> {
        return isLeaving(appID, plan.submissionID) ? std::nullopt : std::optional(RemovalEnd::removed);
    });
    return left.value_or(RemovalEnd::beingRemoved);
}

bool ReviewSubmissionService::isLeaving(std::string_view appID, const std::string& submissionID) const {
    // Right after a cancellation the list may not show it yet.
    const auto open = client_.listReviewSubmissions(
        appID, {State::waitingForReview, State::inReview, State::unresolvedIssues, State::canceling});
    return std::ranges::any_of(open, [&](const Submission& each) { return each.id == submissionID; });
}

} // namespace quorvel
