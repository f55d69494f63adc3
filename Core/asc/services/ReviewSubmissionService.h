// Submitting a version to App Review, and taking it back.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Platform/task/Task.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// What becomes of a version that is to be submitted, by what is open for its platform.
enum class SubmissionCourse {
    create,       // nothing is open: a new submission is made
    add,          // one is open, and gets the version
    send,         // one is open and holds the version already
    withApple,    // one is waiting for review or in review: nothing can be submitted beside it
    beingRemoved, // one is on its way out of review, which takes a while
};

template <>
struct RawValues<SubmissionCourse> {
    using C = SubmissionCourse;
    static constexpr std::pair<SubmissionCourse, std::string_view> values[] = {
        {C::create, "create"},
        {C::add, "add"},
        {C::send, "send"},
        {C::withApple, "withApple"},
        {C::beingRemoved, "beingRemoved"}};
};

/// Something that a submission holds beside the version.
struct SubmissionItem {
    std::string id;
    std::string text; // for people: "the in-app event Tomato Championship"
    QUORVEL_RECORD(SubmissionItem, id, text)
    bool operator==(const SubmissionItem&) const = default;
};

/// How a version would be submitted.
struct SubmissionPlan {
    SubmissionCourse course = SubmissionCourse::create;
    std::optional<std::string> submissionID; // of the one that is open
    std::optional<std::string> state;        // of that one
    bool holdsVersion = false;               // that one
    std::vector<SubmissionItem> otherItems;  // what goes along with the version
    QUORVEL_RECORD(SubmissionPlan, course, submissionID, state, holdsVersion, otherItems)
    bool operator==(const SubmissionPlan&) const = default;
};

/// How a version would leave review.
struct RemovalPlan {
    std::string submissionID;
    std::string state; // of the submission
    /// The item alone is taken out of a submission that was not sent yet; nothing when it is canceled whole.
    std::optional<std::string> itemID;
    std::vector<SubmissionItem> otherItems; // what leaves review as well
    QUORVEL_RECORD(RemovalPlan, submissionID, state, itemID, otherItems)
    bool operator==(const RemovalPlan&) const = default;
};

enum class RemovalEnd {
    removed,
    beingRemoved, // App Store Connect has not finished in time
};

template <>
struct RawValues<RemovalEnd> {
    static constexpr std::pair<RemovalEnd, std::string_view> values[] = {
        {RemovalEnd::removed, "removed"}, {RemovalEnd::beingRemoved, "beingRemoved"}};
};

/// Hands a version to App Review and takes it back. Everything may be repeated after a run that was killed or
/// whose answer was lost.
class ReviewSubmissionService {
  public:
    struct Options {
        std::function<void(double seconds)> sleep = sleepFor;
        double visibilityWait = 15; // seconds until what was made must be seen
        double removalWait = 120;   // seconds that a removal is waited for
    };
    explicit ReviewSubmissionService(const ASCClientProtocol& client) : client_(client) {}
    ReviewSubmissionService(const ASCClientProtocol& client, Options options)
        : client_(client), options_(std::move(options)) {}

    /// Changes nothing.
    [[nodiscard]] SubmissionPlan plan(std::string_view appID, ASCPlatform platform,
                                      std::string_view versionID) const;
    /// Reuses the platform's submission in UNRESOLVED_ISSUES or READY_FOR_REVIEW, or makes a new one, adds
    /// the version unless it holds it already, and submits it; what a lost answer leaves open is read back.
    /// Never submits without the version, nor with other items than those of `agreed` when that is given.
    /// Throws `ASCError` (STATE_ERROR) when it holds others, or a submission of the platform is waiting, in
    /// review or on its way out of review.
    ASCResource<ReviewSubmissionAttributes> submit(std::string_view appID, ASCPlatform platform,
                                                   std::string_view versionID,
                                                   const std::optional<SubmissionPlan>& agreed = {}) const;

    /// Changes nothing; nothing when no submission holds the version.
    [[nodiscard]] std::optional<RemovalPlan> planRemoval(std::string_view appID, ASCPlatform platform,
                                                         std::string_view versionID) const;
    /// Takes the version out of review and waits until App Store Connect has done so.
    RemovalEnd remove(std::string_view appID, const RemovalPlan& plan) const;

  private:
    struct Open;

    [[nodiscard]] Open findOpen(std::string_view appID, ASCPlatform platform) const;
    void readItems(Open& open, std::string_view versionID) const;
    [[nodiscard]] Open create(std::string_view appID, ASCPlatform platform, std::string_view versionID) const;
    [[nodiscard]] bool holds(const std::string& submissionID, std::string_view versionID) const;
    void add(const std::string& submissionID, std::string_view versionID) const;
    [[nodiscard]] ASCResource<ReviewSubmissionAttributes> send(std::string_view appID,
                                                               const std::string& submissionID) const;
    [[nodiscard]] bool isLeaving(std::string_view appID, const std::string& submissionID) const;

    const ASCClientProtocol& client_;
    Options options_;
};

} // namespace quorvel
