// Gives builds to testers: groups, testers, beta review.
#pragma once

#include "Core/asc/services/TestFlightService.h"
#include "Core/asc/services/TesterFile.h"
#include "Quorvel/actions/BuildChoice.h"
#include "Quorvel/application/Failure.h"

namespace quorvel {

inline constexpr JSONMember groupMember{"group", "The group, by name or id.", JSONMember::required};

/// A group of testers.
struct TestGroup {
    std::string id;
    std::string name;
    bool isInternal = false;    // members of the team; no beta review
    bool getsAllBuilds = false; // by itself
    QUORVEL_RECORD(TestGroup, id, name, isInternal, getsAllBuilds)
    bool operator==(const TestGroup&) const = default;
};

[[nodiscard]] std::vector<TestGroup> testGroupsOf(const ASCClientProtocol& client, const std::string& app);
/// The group of this name or id; the case of a name matters only between two. Throws `ApplicationError` with
/// the groups that there are.
[[nodiscard]] TestGroup requireTestGroup(const std::vector<TestGroup>& groups, const std::string& wanted);

struct ListTestGroups {
    static constexpr ActionInfo info{"list_test_groups", "List an app's groups of testers"};
    using Request = AppRequest;
    struct Group {
        TestGroup group;
        std::int64_t testers = 0;
        std::optional<std::int64_t> builds; // nothing for a group that gets all
        std::optional<std::string> newestBuild;
        std::optional<std::string> publicLink;
        QUORVEL_RECORD(Group, group, testers, builds, newestBuild, publicLink)
    };
    struct Result {
        AppReference app;
        std::vector<Group> groups;
        QUORVEL_RECORD(Result, app, groups)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct TestGroupPlan {
    AppReference app;
    std::string name;
    bool isInternal = false;
    QUORVEL_RECORD(TestGroupPlan, app, name, isInternal)
};

struct PlanTestGroup {
    static constexpr ActionInfo info{"plan_test_group", "Show which group of testers would be made"};
    /// Refuses a name that a group has already.
    struct Request {
        std::string name;
        bool isInternal = false;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, name, isInternal, app, workspace)
        static constexpr JSONMember members[] = {
            {"name", "The name of the group.", JSONMember::required},
            {"isInternal", "For members of the team, who need no beta review."},
            appMember,
            workspaceMember};
    };
    struct Result {
        TestGroupPlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct CreateTestGroup {
    static constexpr ActionInfo info{"create_test_group", "Make a group of testers", Effect::remote};
    struct Request {
        TestGroupPlan plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_test_group made it.", JSONMember::required}, workspaceMember};
    };
    struct Result {
        AppReference app;
        TestGroup group;
        QUORVEL_RECORD(Result, app, group)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ListTesters {
    static constexpr ActionInfo info{"list_testers", "List the testers of a group"};
    struct Request {
        std::string group;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, group, app, workspace)
        static constexpr JSONMember members[] = {groupMember, appMember, workspaceMember};
    };
    struct Result {
        AppReference app;
        TestGroup group;
        ASCList<BetaTesterAttributes> testers;
        QUORVEL_RECORD(Result, app, group, testers)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// Who is to join a group.
struct TesterPlan {
    AppReference app;
    TestGroup group;
    std::vector<BetaTesterCreateAttributes> testers;
    std::vector<std::string> present;        // addresses that the group has already
    std::vector<TesterFileProblem> problems; // of the file
    std::vector<TesterFileProblem> repeated;
    QUORVEL_RECORD(TesterPlan, app, group, testers, present, problems, repeated)
};

struct PlanTesters {
    static constexpr ActionInfo info{"plan_testers", "Show who would join a group of testers"};
    struct Request {
        std::string group;
        std::vector<BetaTesterCreateAttributes> testers;
        std::optional<std::string> file;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, group, testers, file, app, workspace)
        static constexpr JSONMember members[] = {
            groupMember,
            {"testers", "The testers, each with an e-mail address and names."},
            {"file", "A CSV file with more: first name, last name and e-mail address in any order."},
            appMember,
            workspaceMember};
    };
    struct Result {
        TesterPlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct AddTesters {
    static constexpr ActionInfo info{"add_testers", "Let testers join a group", Effect::remote};
    struct Request {
        TesterPlan plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_testers made it.", JSONMember::required}, workspaceMember};
    };
    struct Outcome {
        std::string email;
        std::optional<Failure> failure; // nothing: the tester is in the group
        QUORVEL_RECORD(Outcome, email, failure)
    };
    struct Result {
        AppReference app;
        TestGroup group;
        std::vector<Outcome> outcomes; // in the order of the plan
        QUORVEL_RECORD(Result, app, group, outcomes)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// A build that is to go to groups.
struct BuildToGroupsPlan {
    AppReference app;
    ASCBuildSummary build;
    std::vector<TestGroup> groups;  // that get it
    std::vector<TestGroup> present; // that have it already
    std::optional<bool> notify;     // tell testers by themselves; nothing leaves that as it is
    std::optional<std::string> externalState;
    std::vector<std::string> remarks;
    QUORVEL_RECORD(BuildToGroupsPlan, app, build, groups, present, notify, externalState, remarks)
};

struct PlanBuildToGroups {
    static constexpr ActionInfo info{"plan_build_to_groups", "Show which groups would get a build"};
    /// Refuses a build whose question on encryption is not answered.
    struct Request {
        std::vector<std::string> groups;
        std::optional<bool> notify;
        std::optional<std::string> build;
        std::optional<std::string> version;
        std::optional<std::string> platform;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, groups, notify, build, version, platform, app, workspace)
        static constexpr JSONMember members[] = {
            {"groups", "The groups, by name or id.", JSONMember::required},
            {"notify", "Whether testers are told as soon as they can have the build."},
            buildMember,
            buildVersionMember,
            buildOfPlatformMember,
            appMember,
            workspaceMember};
    };
    struct Result {
        BuildToGroupsPlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct AddBuildToGroups {
    static constexpr ActionInfo info{"add_build_to_groups", "Give a build to groups of testers",
                                     Effect::remote};
    struct Request {
        BuildToGroupsPlan plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_build_to_groups made it.", JSONMember::required}, workspaceMember};
    };
    struct Outcome {
        TestGroup group;
        std::optional<Failure> failure; // nothing: the group has the build
        QUORVEL_RECORD(Outcome, group, failure)
    };
    struct Result {
        AppReference app;
        ASCBuildSummary build;
        std::vector<Outcome> outcomes;
        std::optional<std::string> externalState;
        QUORVEL_RECORD(Result, app, build, outcomes, externalState)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct BetaReviewPlan {
    AppReference app;
    ASCBuildSummary build;
    std::optional<std::string> betaReviewState; // it was submitted already
    std::vector<std::string> locales;           // with notes
    std::vector<std::string> remarks;
    QUORVEL_RECORD(BetaReviewPlan, app, build, betaReviewState, locales, remarks)
};

struct PlanBetaReview {
    static constexpr ActionInfo info{"plan_beta_review",
                                     "Show which build would be submitted for beta review"};
    /// Refuses a build without what to test, and one whose question on encryption is not answered.
    using Request = BuildRequest;
    struct Result {
        BetaReviewPlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct SubmitForBetaReview {
    static constexpr ActionInfo info{"submit_for_beta_review", "Submit a build for beta review",
                                     Effect::remote};
    struct Request {
        BetaReviewPlan plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_beta_review made it.", JSONMember::required}, workspaceMember};
    };
    struct Result {
        AppReference app;
        ASCBuildSummary build;
        StepEnd end = StepEnd::done;
        std::string betaReviewState;
        QUORVEL_RECORD(Result, app, build, end, betaReviewState)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
