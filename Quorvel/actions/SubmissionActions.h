// Hands a version to App Review.
#pragma once

#include "Core/asc/services/ReviewSubmissionService.h"
#include "Quorvel/actions/Target.h"

namespace quorvel {

/// How a version would be submitted, and what its checklist says.
struct VersionSubmissionPlan {
    AppReference app;
    PlatformContext version;
    SubmissionPlan submission;
    std::vector<std::string> obstacles; // checks that are not met; there are some only when they are ignored
    std::int64_t requests = 0;          // that change App Store Connect
    QUORVEL_RECORD(VersionSubmissionPlan, app, version, submission, obstacles, requests)
};

struct PlanSubmission {
    static constexpr ActionInfo info{"plan_submission", "Show how a version would be submitted for review"};
    /// Refuses a version whose checklist is not met, naming each check, unless `force` is set; and always one
    /// that is with App Review already.
    struct Request {
        bool force = false;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        QUORVEL_RECORD(Request, force, app, workspace, context, folder)
        static constexpr JSONMember members[] = {
            {"force", "Submit though the checklist is not met; App Store Connect may refuse it."},
            appMember,
            workspaceMember,
            contextMember,
            folderMember};
    };
    struct Result {
        VersionSubmissionPlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct SubmitVersion {
    static constexpr ActionInfo info{"submit_version", "Submit a version for review", Effect::remote};
    struct Request {
        VersionSubmissionPlan plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_submission made it.", JSONMember::required}, workspaceMember};
    };
    struct Result {
        AppReference app;
        PlatformContext version; // as it was before
        ASCResource<ReviewSubmissionAttributes> submission;
        QUORVEL_RECORD(Result, app, version, submission)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// What keeps a version from being submitted, a sentence each.
[[nodiscard]] std::vector<std::string> obstaclesOf(const ReleaseChecklist& checklist);
/// Its checks alone, for a version whose build that was turned down is replaced.
[[nodiscard]] std::vector<std::string> openChecksOf(const ReleaseChecklist& checklist);
/// "de-DE, fr-FR and 12 more".
[[nodiscard]] std::string listedShortly(const std::vector<std::string>& names);
/// The requests by which a submission changes App Store Connect.
[[nodiscard]] std::int64_t requestsOf(SubmissionCourse course);

} // namespace quorvel
