// Releases approved versions, at once or in phases, and takes versions out of review.
#pragma once

#include "Core/asc/services/ReleaseService.h"
#include "Core/asc/services/ReviewSubmissionService.h"
#include "Core/metadata/PlatformContext.h"
#include "Quorvel/actions/Target.h"

namespace quorvel {

inline constexpr JSONMember releasePlatformMember{
    "platform", "ios, macos, tvos or visionos; the only one that it can be when left out."};

/// A request about the version of a platform.
struct PlatformRequest {
    std::optional<std::string> platform;
    std::optional<std::string> app;
    std::optional<std::string> workspace;
    QUORVEL_RECORD(PlatformRequest, platform, app, workspace)
    static constexpr JSONMember members[] = {releasePlatformMember, appMember, workspaceMember};
};

/// A version that is to be released.
struct ReleasePlan {
    AppReference app;
    PlatformContext version;
    bool inPhases = false; // its users get it over seven days
    QUORVEL_RECORD(ReleasePlan, app, version, inPhases)
};

struct PlanRelease {
    static constexpr ActionInfo info{"plan_release", "Show which version would be released"};
    /// Refuses a version that does not wait for its developer's release, and says where it is.
    using Request = PlatformRequest;
    struct Result {
        ReleasePlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ReleaseVersion {
    static constexpr ActionInfo info{"release_version", "Release an approved version", Effect::remote};
    struct Request {
        ReleasePlan plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_release made it.", JSONMember::required}, workspaceMember};
    };
    struct Result {
        AppReference app;
        PlatformContext version; // in its state now
        QUORVEL_RECORD(Result, app, version)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// When an approved version comes out.
enum class ReleaseType { manual, afterApproval, scheduled };

template <>
struct RawValues<ReleaseType> {
    static constexpr std::pair<ReleaseType, std::string_view> values[] = {
        {ReleaseType::manual, "MANUAL"},
        {ReleaseType::afterApproval, "AFTER_APPROVAL"},
        {ReleaseType::scheduled, "SCHEDULED"}};
};

struct ReleaseTypePlan {
    AppReference app;
    PlatformContext version;
    std::optional<std::string> before;     // the release type that it has
    std::optional<std::string> beforeDate; // and its date
    ReleaseType type = ReleaseType::manual;
    std::optional<std::string> earliestDate; // of a scheduled release, such as "2026-12-01T09:00:00Z"
    bool isSet = false;                      // nothing would change
    QUORVEL_RECORD(ReleaseTypePlan, app, version, before, beforeDate, type, earliestDate, isSet)
};

struct PlanReleaseType {
    static constexpr ActionInfo info{"plan_release_type", "Show how the release of a version would be set"};
    struct Request {
        ReleaseType type = ReleaseType::manual;
        std::optional<std::string> date;
        std::optional<std::string> platform;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, type, date, platform, app, workspace)
        static constexpr JSONMember members[] = {
            {"type", "When the version comes out once it is approved.", JSONMember::required},
            {"date",
             "When a scheduled release comes out at the earliest, such as 2026-12-01T09:00:00+01:00."},
            releasePlatformMember,
            appMember,
            workspaceMember};
    };
    struct Result {
        ReleaseTypePlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct SetReleaseType {
    static constexpr ActionInfo info{"set_release_type", "Set when an approved version comes out",
                                     Effect::remote};
    struct Request {
        ReleaseTypePlan plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_release_type made it.", JSONMember::required}, workspaceMember};
    };
    struct Result {
        AppReference app;
        ASCResource<AppStoreVersionAttributes> version;
        QUORVEL_RECORD(Result, app, version)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// The phased release of a version.
struct PhasedRelease {
    std::string id;
    std::string state;                      // "ACTIVE"
    std::int64_t day = 0;                   // 1 to 7 while it runs
    std::optional<std::int64_t> percentage; // of the users that have it by themselves
    std::optional<std::string> startDate;
    std::int64_t pausedDays = 0;
    QUORVEL_RECORD(PhasedRelease, id, state, day, percentage, startDate, pausedDays)
};

struct ShowPhasedRelease {
    static constexpr ActionInfo info{"show_phased_release", "Show how far a phased release is"};
    using Request = PlatformRequest;
    struct Version {
        PlatformContext version;
        std::optional<PhasedRelease> phased; // nothing: it comes out to all users at once
        QUORVEL_RECORD(Version, version, phased)
    };
    struct Result {
        AppReference app;
        std::vector<Version> versions; // the coming and the live one of each platform
        QUORVEL_RECORD(Result, app, versions)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

enum class PhasedStep { start, pause, resume, complete };

template <>
struct RawValues<PhasedStep> {
    static constexpr std::pair<PhasedStep, std::string_view> values[] = {{PhasedStep::start, "start"},
                                                                         {PhasedStep::pause, "pause"},
                                                                         {PhasedStep::resume, "resume"},
                                                                         {PhasedStep::complete, "complete"}};
};

struct PhasedReleasePlan {
    AppReference app;
    PlatformContext version;
    PhasedStep step = PhasedStep::start;
    std::optional<PhasedRelease> phased; // as it is now
    bool isDone = false;                 // nothing would change
    bool removes = false;                // the phases are taken away before they begin
    QUORVEL_RECORD(PhasedReleasePlan, app, version, step, phased, isDone, removes)
};

struct PlanPhasedRelease {
    static constexpr ActionInfo info{"plan_phased_release", "Show how a phased release would change"};
    struct Request {
        PhasedStep step = PhasedStep::start;
        std::optional<std::string> platform;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, step, platform, app, workspace)
        static constexpr JSONMember members[] = {
            {"step",
             "start: the coming version goes out over seven days; pause, resume: the one that does; complete: "
             "all users get it at once.",
             JSONMember::required},
            releasePlatformMember,
            appMember,
            workspaceMember};
    };
    struct Result {
        PhasedReleasePlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ChangePhasedRelease {
    static constexpr ActionInfo info{"change_phased_release",
                                     "Start, pause, resume or complete a phased release", Effect::remote};
    struct Request {
        PhasedReleasePlan plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_phased_release made it.", JSONMember::required}, workspaceMember};
    };
    struct Result {
        AppReference app;
        PlatformContext version;
        std::optional<PhasedRelease> phased; // as it is then
        QUORVEL_RECORD(Result, app, version, phased)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// A version that is to leave review.
struct ReviewRemovalPlan {
    AppReference app;
    PlatformContext version;
    RemovalPlan removal;
    QUORVEL_RECORD(ReviewRemovalPlan, app, version, removal)
};

struct PlanReviewRemoval {
    static constexpr ActionInfo info{"plan_review_removal",
                                     "Show which version would be taken out of review"};
    /// Refuses where no version is in a submission that can be taken back.
    using Request = PlatformRequest;
    struct Result {
        ReviewRemovalPlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct RemoveFromReview {
    static constexpr ActionInfo info{"remove_from_review", "Take a version out of review", Effect::remote};
    struct Request {
        ReviewRemovalPlan plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_review_removal made it.", JSONMember::required}, workspaceMember};
    };
    struct Result {
        AppReference app;
        PlatformContext version; // in its state now
        RemovalEnd end = RemovalEnd::removed;
        QUORVEL_RECORD(Result, app, version, end)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
