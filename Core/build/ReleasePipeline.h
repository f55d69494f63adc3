// The way of a version from its texts to the App Store: six steps, their checks, and the one next action.
#pragma once

#include "Core/build/ReviewInfoReadiness.h"
#include "Core/metadata/PlatformContext.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// The one thing to do next. What only a person can do, outside of this program, is told so.
enum class NextAction {
    createVersion,
    pull,
    trimTexts,
    addLocales,
    pushTexts,
    checkScreenshots,
    pushScreenshots,
    build,
    waitForProcessing,
    answerCompliance,
    loadReviewDetails,
    fillReviewContact,
    fillDemoAccount,
    submit,
    finishSubmission,
    waitForReview,
    signAgreement,
    release,
    waitForRelease,
};

template <>
struct RawValues<NextAction> {
    using A = NextAction;
    static constexpr std::pair<NextAction, std::string_view> values[] = {
        {A::createVersion, "createVersion"},
        {A::pull, "pull"},
        {A::trimTexts, "trimTexts"},
        {A::addLocales, "addLocales"},
        {A::pushTexts, "pushTexts"},
        {A::checkScreenshots, "checkScreenshots"},
        {A::pushScreenshots, "pushScreenshots"},
        {A::build, "build"},
        {A::waitForProcessing, "waitForProcessing"},
        {A::answerCompliance, "answerCompliance"},
        {A::loadReviewDetails, "loadReviewDetails"},
        {A::fillReviewContact, "fillReviewContact"},
        {A::fillDemoAccount, "fillDemoAccount"},
        {A::submit, "submit"},
        {A::finishSubmission, "finishSubmission"},
        {A::waitForReview, "waitForReview"},
        {A::signAgreement, "signAgreement"},
        {A::release, "release"},
        {A::waitForRelease, "waitForRelease"},
    };
};

/// What is known of a version, on disk and on App Store Connect.
struct ReleaseFacts {
    struct Build {
        bool isProcessed = false;
        std::optional<bool> usesNonExemptEncryption; // nothing: the question is not answered
    };
    struct ScreenshotCounts {
        std::int64_t localeSets = 0;
        std::int64_t displaySizes = 0;
    };

    std::optional<PlatformContext> context; // nothing: the app has no version of the platform
    bool isPulled = false;
    std::int64_t localesOnDisk = 0;
    std::int64_t missingLocales = 0;               // on App Store Connect, not on disk
    std::int64_t overLimit = 0;                    // texts
    std::int64_t waiting = 0;                      // texts that a push would send
    std::optional<ScreenshotCounts> screenshots;   // nothing: not known
    std::optional<Build> build;                    // nothing: none is attached
    std::optional<ReviewInfoReadiness> reviewInfo; // nothing: not known
};

struct ReleasePipeline {
    struct Step {
        enum class Kind { metadata, screenshots, build, submit, review, live };
        enum class Status { done, now, todo, blocked };
        Kind kind = Kind::metadata;
        Status status = Status::todo;
        std::string detail;
        QUORVEL_RECORD(Step, kind, status, detail)
        bool operator==(const Step&) const = default;
    };
    struct Item {
        enum class Mark { ok, now, todo, blocked, unknown };
        Step::Kind step = Step::Kind::metadata;
        std::string title;
        std::string detail;
        Mark mark = Mark::unknown;
        QUORVEL_RECORD(Item, step, title, detail, mark)
        bool operator==(const Item&) const = default;
    };

    std::optional<PlatformContext> context;
    std::vector<Step> steps; // all six, in order
    std::vector<Item> items;
    NextAction next = NextAction::createVersion; // exactly one, whatever is known
    QUORVEL_RECORD(ReleasePipeline, context, steps, items, next)

    /// Whether nothing stands between the version and its submission.
    [[nodiscard]] bool isReadyToSubmit() const {
        return next == NextAction::submit || next == NextAction::finishSubmission;
    }
    /// The checks that are not met, those excepted that never count.
    [[nodiscard]] std::vector<Item> openItems() const;
};

template <>
struct RawValues<ReleasePipeline::Step::Kind> {
    using K = ReleasePipeline::Step::Kind;
    static constexpr std::pair<K, std::string_view> values[] = {
        {K::metadata, "metadata"}, {K::screenshots, "screenshots"}, {K::build, "build"},
        {K::submit, "submit"},     {K::review, "review"},           {K::live, "live"},
    };
};
template <>
struct RawValues<ReleasePipeline::Step::Status> {
    using S = ReleasePipeline::Step::Status;
    static constexpr std::pair<S, std::string_view> values[] = {
        {S::done, "done"}, {S::now, "now"}, {S::todo, "todo"}, {S::blocked, "blocked"}};
};
template <>
struct RawValues<ReleasePipeline::Item::Mark> {
    using M = ReleasePipeline::Item::Mark;
    static constexpr std::pair<M, std::string_view> values[] = {
        {M::ok, "ok"}, {M::now, "now"}, {M::todo, "todo"}, {M::blocked, "blocked"}, {M::unknown, "unknown"}};
};

/// The pipeline of a version. One rule gives every step its status:
///
/// 1. The version's state says how far it is: in preparation, with Apple, approved, on the App Store. Steps
///    before that point are done, steps after it are to do.
/// 2. In preparation, a step is done when none of its checks is open; blocked when one of them is blocked;
///    else it is "now" when all steps before it are done, and to do otherwise. Notes for the reviewer never
///    count.
/// 3. A rejection blocks the step that Apple turned down: "build" for an invalid binary, else "review".
///
/// The next action is that of the first open check of a version in preparation; without one, that of the
/// state. What is on the App Store is followed by a new version.
[[nodiscard]] ReleasePipeline releasePipelineOf(const ReleaseFacts& facts);

} // namespace quorvel
