#include "Quorvel/actions/TestFlightActions.h"

#include "Platform/files/Files.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Quorvel/application/Application.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <atomic>
#include <set>

namespace quorvel {

namespace {

constexpr std::size_t testerRequestsAtOnce = 4;
constexpr std::uint64_t largestTesterFile = 16ULL << 20;

TestGroup groupOf(const ASCResource<BetaGroupAttributes>& group) {
    const auto& attributes = group.attributes;
    return {.id = group.id,
            .name = attributes.name.value_or(""),
            .isInternal = attributes.isInternalGroup.value_or(false),
            .getsAllBuilds = attributes.hasAccessToAllBuilds.value_or(false)};
}

// Whether testers can have the build as far as its own answers go.
void requireEncryptionAnswer(const ASCBuildSummary& build) {
    if (build.build.attributes.usesNonExemptEncryption) return;
    throw ApplicationError(FailureKind::stateRefused,
                           fmt::format("{} misses its answer on encryption", nameOf(build)),
                           "Answer it first; nobody can test the build before.");
}

TesterFile readTesters(Application& application, const std::string& file) {
    const auto path = application.absolutePath(file);
    const auto bytes = readFile(path, largestTesterFile);
    if (!bytes)
        throw ApplicationError(FailureKind::noFolder,
                               fmt::format("there is no file {}", escapeControls(path.string())));
    return readTesterFile(*bytes);
}

// Whether the next tester would fail in the same way.
bool stopsAll(const ASCError& error) {
    using Kind = ASCError::Kind;
    return error.kind() == Kind::credentialsRefused || error.kind() == Kind::missingCredentials ||
           error.kind() == Kind::serviceTrouble;
}

std::optional<std::string> externalStateOf(const ASCClientProtocol& client, const std::string& buildID) {
    const auto detail = client.getBuildBetaDetail(buildID);
    return detail ? detail->attributes.externalBuildState : std::nullopt;
}

bool isApproved(const std::optional<std::string>& externalState) {
    return externalState == "BETA_APPROVED" || externalState == "IN_BETA_TESTING";
}

bool holdsBuild(const ASCClientProtocol& client, const TestGroup& group, const std::string& buildID) {
    return std::ranges::any_of(client.listBuildsOfBetaGroup(group.id),
                               [&](const ASCBuildSummary& each) { return each.build.id == buildID; });
}

} // namespace

std::vector<TestGroup> testGroupsOf(const ASCClientProtocol& client, const std::string& app) {
    std::vector<TestGroup> groups;
    for (const auto& each : client.listBetaGroups(app))
        groups.push_back(groupOf(each));
    return groups;
}

TestGroup requireTestGroup(const std::vector<TestGroup>& groups, const std::string& wanted) {
    const auto is = [&](const TestGroup& each) {
        return each.id == wanted || caseFolded(each.name) == caseFolded(wanted);
    };
    const auto exact = std::ranges::find(groups, wanted, &TestGroup::name);
    const auto found = exact == groups.end() ? std::ranges::find_if(groups, is) : exact;
    if (found != groups.end()) return *found;
    std::vector<std::string> names;
    for (const TestGroup& each : groups)
        names.push_back(escapeControls(each.name));
    throw ApplicationError(FailureKind::notFound, fmt::format("there is no group {}", quotedWord(wanted)),
                           names.empty() ? "The app has no groups yet."
                                         : fmt::format("The groups are {}.", fmt::join(names, ", ")));
}

ListTestGroups::Result ListTestGroups::perform(Application& application, const Request& request,
                                               const ActionProgress&) {
    const ReachedApp reached = reach(application, targetOf(request));
    Result result{reached.app, {}};
    result.groups = parallelMap(
        reached.client->listBetaGroups(reached.app.appStoreId), testerRequestsAtOnce, [&](const auto& each) {
            Group group{.group = groupOf(each),
                        .testers = std::ssize(reached.client->listBetaTesters(each.id)),
                        .builds = std::nullopt,
                        .newestBuild = std::nullopt,
                        .publicLink = each.attributes.publicLinkEnabled.value_or(false)
                                          ? each.attributes.publicLink
                                          : std::nullopt};
            if (group.group.getsAllBuilds) return group;
            const auto builds = reached.client->listBuildsOfBetaGroup(each.id);
            group.builds = std::ssize(builds);
            if (!builds.empty()) group.newestBuild = nameOf(builds.front());
            return group;
        });
    return result;
}

PlanTestGroup::Result PlanTestGroup::perform(Application& application, const Request& request,
                                             const ActionProgress&) {
    const std::string name(trim(request.name));
    if (name.empty()) throw ApplicationError(FailureKind::badRequest, "a group of testers needs a name");
    const ReachedApp reached = reach(application, targetOf(request));
    for (const TestGroup& group : testGroupsOf(*reached.client, reached.app.appStoreId))
        if (caseFolded(group.name) == caseFolded(name))
            throw ApplicationError(FailureKind::stateRefused,
                                   fmt::format("there is a group {} already", quotedWord(group.name)));
    return {{reached.app, name, request.isInternal}};
}

CreateTestGroup::Result CreateTestGroup::perform(Application& application, const Request& request,
                                                 const ActionProgress&) {
    const TestGroupPlan& plan = request.plan;
    const ReachedApp reached = reachPlanned(application, plan.app, request.workspace);
    return {plan.app, groupOf(TestFlightService(*reached.client)
                                  .createGroup(plan.app.appStoreId, {plan.name, plan.isInternal}))};
}

ListTesters::Result ListTesters::perform(Application& application, const Request& request,
                                         const ActionProgress&) {
    const ReachedApp reached = reach(application, targetOf(request));
    TestGroup group = requireTestGroup(testGroupsOf(*reached.client, reached.app.appStoreId), request.group);
    auto testers = reached.client->listBetaTesters(group.id);
    return {reached.app, std::move(group), std::move(testers)};
}

PlanTesters::Result PlanTesters::perform(Application& application, const Request& request,
                                         const ActionProgress&) {
    TesterFile wanted;
    if (request.file) wanted = readTesters(application, *request.file);
    for (const BetaTesterCreateAttributes& tester : request.testers) {
        if (!isEmailAddress(tester.email))
            throw ApplicationError(FailureKind::badRequest,
                                   fmt::format("{} is no e-mail address", quotedWord(tester.email)));
        wanted.testers.push_back(tester);
    }
    const ReachedApp reached = reach(application, targetOf(request));
    Result result{
        {.app = reached.app,
         .group = requireTestGroup(testGroupsOf(*reached.client, reached.app.appStoreId), request.group),
         .testers = {},
         .present = {},
         .problems = std::move(wanted.problems),
         .repeated = std::move(wanted.repeated)}};
    TesterPlan& plan = result.plan;
    std::set<std::string> known;
    for (const auto& each : reached.client->listBetaTesters(plan.group.id))
        known.insert(asciiLowercase(each.attributes.email.value_or("")));
    std::set<std::string> chosen;
    for (BetaTesterCreateAttributes& tester : wanted.testers) {
        const std::string address = asciiLowercase(tester.email);
        if (known.contains(address))
            plan.present.push_back(tester.email);
        else if (chosen.insert(address).second)
            plan.testers.push_back(std::move(tester));
    }
    return result;
}

AddTesters::Result AddTesters::perform(Application& application, const Request& request,
                                       const ActionProgress& progress) {
    const TesterPlan& plan = request.plan;
    const ReachedApp reached = reachPlanned(application, plan.app, request.workspace);
    const TestFlightService service(*reached.client);
    std::atomic<std::size_t> done = 0;
    std::atomic<bool> stopped = false;
    const auto add = [&](const BetaTesterCreateAttributes& tester) -> Outcome {
        if (stopped)
            return {tester.email, Failure{FailureKind::failed, "Not tried after the failure before.", {}}};
        try {
            (void)service.addTester(plan.group.id, tester);
        } catch (const ASCError& error) {
            if (stopsAll(error)) stopped = true;
            return {tester.email, failureOf(error)};
        }
        progress.step({fmt::format("Adding testers to {}", plan.group.name), ++done, plan.testers.size()});
        return {tester.email, std::nullopt};
    };
    return {plan.app, plan.group, parallelMap(plan.testers, testerRequestsAtOnce, add)};
}

PlanBuildToGroups::Result PlanBuildToGroups::perform(Application& application, const Request& request,
                                                     const ActionProgress&) {
    if (request.groups.empty()) throw ApplicationError(FailureKind::badRequest, "name a group of testers");
    const ReachedApp reached = reach(application, targetOf(request));
    const auto groups = testGroupsOf(*reached.client, reached.app.appStoreId);
    std::vector<TestGroup> wanted;
    for (const std::string& name : request.groups)
        if (TestGroup group = requireTestGroup(groups, name);
            std::ranges::find(wanted, group) == wanted.end())
            wanted.push_back(std::move(group));
    ChosenBuild chosen = chooseBuild(*reached.client, reached.app.appStoreId, buildChoiceOf(request));
    requireEncryptionAnswer(chosen.build);
    Result result{{.app = reached.app,
                   .build = std::move(chosen.build),
                   .groups = {},
                   .present = {},
                   .notify = request.notify,
                   .externalState = {},
                   .remarks = std::move(chosen.remarks)}};
    BuildToGroupsPlan& plan = result.plan;
    const std::string& buildID = plan.build.build.id;
    plan.externalState = externalStateOf(*reached.client, buildID);
    for (TestGroup& group : wanted) {
        if (group.getsAllBuilds)
            plan.remarks.push_back(fmt::format("{} gets every build by itself", escapeControls(group.name)));
        const bool has = group.getsAllBuilds || holdsBuild(*reached.client, group, buildID);
        if (!group.isInternal && !isApproved(plan.externalState))
            plan.remarks.push_back(
                fmt::format("{} is external: its testers get the build after beta review ({})",
                            escapeControls(group.name), plan.externalState.value_or("state unknown")));
        (has ? plan.present : plan.groups).push_back(std::move(group));
    }
    return result;
}

AddBuildToGroups::Result AddBuildToGroups::perform(Application& application, const Request& request,
                                                   const ActionProgress& progress) {
    const BuildToGroupsPlan& plan = request.plan;
    const ReachedApp reached = reachPlanned(application, plan.app, request.workspace);
    const TestFlightService service(*reached.client);
    const std::string& buildID = plan.build.build.id;
    // First, so that it holds for who gets the build now.
    if (plan.notify) (void)service.setAutoNotify(buildID, *plan.notify);
    Result result{plan.app, plan.build, {}, {}};
    for (const TestGroup& group : plan.groups) {
        progress.step({fmt::format("Giving {} to {}", nameOf(plan.build), group.name), result.outcomes.size(),
                       plan.groups.size()});
        Outcome outcome{group, std::nullopt};
        try {
            (void)service.addBuildToGroup(group.id, buildID);
        } catch (const ASCError& error) {
            outcome.failure = failureOf(error);
        }
        result.outcomes.push_back(std::move(outcome));
    }
    try {
        result.externalState = externalStateOf(*reached.client, buildID);
    } catch (const ASCError&) { // the outcomes are what was asked for
    }
    return result;
}

PlanBetaReview::Result PlanBetaReview::perform(Application& application, const Request& request,
                                               const ActionProgress&) {
    const ReachedApp reached = reach(application, targetOf(request));
    ChosenBuild chosen = chooseBuild(*reached.client, reached.app.appStoreId, buildChoiceOf(request));
    requireEncryptionAnswer(chosen.build);
    Result result{{.app = reached.app,
                   .build = std::move(chosen.build),
                   .betaReviewState = {},
                   .locales = {},
                   .remarks = std::move(chosen.remarks)}};
    BetaReviewPlan& plan = result.plan;
    const std::string& buildID = plan.build.build.id;
    if (const auto submission = reached.client->getBetaReviewSubmission(buildID))
        plan.betaReviewState = submission->attributes.betaReviewState.value_or("");
    for (const auto& notes : reached.client->listBetaBuildLocalizations(buildID))
        if (!isBlank(notes.attributes.whatsNew.value_or("")))
            plan.locales.push_back(notes.attributes.locale.value_or(""));
    if (plan.betaReviewState) return result;
    if (plan.locales.empty())
        throw ApplicationError(FailureKind::stateRefused,
                               fmt::format("{} does not say what to test", nameOf(plan.build)),
                               "Write that first; beta review asks for it.");
    const auto groups = testGroupsOf(*reached.client, reached.app.appStoreId);
    if (std::ranges::none_of(groups, [&](const TestGroup& group) {
            return !group.isInternal && holdsBuild(*reached.client, group, buildID);
        }))
        plan.remarks.emplace_back("no external group has the build yet");
    return result;
}

SubmitForBetaReview::Result SubmitForBetaReview::perform(Application& application, const Request& request,
                                                         const ActionProgress&) {
    const BetaReviewPlan& plan = request.plan;
    const ReachedApp reached = reachPlanned(application, plan.app, request.workspace);
    const std::string& buildID = plan.build.build.id;
    const StepEnd end = TestFlightService(*reached.client).requestBetaReview(buildID);
    const auto submission = reached.client->getBetaReviewSubmission(buildID);
    return {plan.app, plan.build, end,
            submission ? submission->attributes.betaReviewState.value_or("") : std::string()};
}

} // namespace quorvel
