#include "Quorvel/actions/PushActions.h"

#include "Quorvel/application/Application.h"
#include "Quorvel/controllers/OperationRefused.h"

namespace quorvel {

namespace {

// The plan of an app without changes, made without a request: its version may be with Apple, which is no
// failure of a push of all apps.
std::optional<PlanPush::Result> planOfUnchanged(Application& application, const PlanPush::Request& request) {
    const OpenedApp opened = openRecorded(application, targetOf(request));
    const MetadataController& metadata = *opened.session->metadata;
    const auto compared = metadata.compare(
        request.context, {.locales = request.locales, .fields = request.fields}, dryRunOf(request));
    const TextComparison& texts = compared.texts;
    if (texts.lacksCopies() || texts.interruptedPull || !texts.changes.empty() ||
        !texts.selection.leftOut.empty())
        return std::nullopt;
    PlanPush::Result result;
    result.plan.app = referenceOf(opened.app);
    result.plan.folder = metadata.folder().rootURL.string();
    result.plan.context = compared.context.text();
    if (compared.version) result.plan.version = *compared.version;
    result.plan.notices = texts.notices();
    result.plan.nothing = textOf(Refusal::noPendingChanges);
    return result;
}

} // namespace

PlanPush::Result PlanPush::perform(Application& application, const Request& request,
                                   const ActionProgress& progress) {
    const OpenedApp opened = openUnchanged(application, targetOf(request));
    const ToldOperations told(*opened.session, progress);
    const PushFilter filter{.locales = request.locales,
                            .fields = request.fields,
                            .clearing = request.allowClear ? Clearing::allow : Clearing::leaveOut,
                            .unreviewed = request.allowUnreviewed ? Unreviewed::allow : Unreviewed::leaveOut,
                            .overwriting = request.overwrite ? Overwriting::yes : Overwriting::no};
    using Requests = MetadataController::Requests;
    Result result;
    result.plan =
        opened.session->metadata->planPush(filter, request.context, dryRunOf(request),
                                           request.withRequests ? Requests::include : Requests::leaveOut);
    result.leavesWaiting = result.plan.leavesWaiting();
    return result;
}

PushTexts::Result PushTexts::perform(Application& application, const Request& request,
                                     const ActionProgress& progress) {
    OpenedApp opened = openPlanned(application, request.plan.app, request.workspace, request.plan.folder);
    const ToldOperations told(*opened.session, progress);
    PushPlan plan = request.plan;
    plan.app = referenceOf(opened.app);
    Result result;
    result.report = opened.session->metadata->push(plan);
    result.imported = std::move(opened.imported);
    return result;
}

PlanPushOfAllApps::Result PlanPushOfAllApps::perform(Application& application, const Request& request,
                                                     const ActionProgress& progress) {
    return {performForAllApps(application, request, [&](const PlanPush::Request& one) {
        if (auto unchanged = planOfUnchanged(application, one)) return *std::move(unchanged);
        return PlanPush::perform(application, one, progress);
    })};
}

PushTextsOfAllApps::Result PushTextsOfAllApps::perform(Application& application, const Request& request,
                                                       const ActionProgress& progress) {
    Result result{outcomesOfApps(
        request.apps, [](const auto& planned) { return planned.app; },
        [&](const AppOutcome<PlanPush::Result>& planned) {
            if (!planned.result) return PushTexts::Result{};
            const PushPlan& plan = planned.result->plan;
            if (!plan.nothing) return PushTexts::perform(application, {plan, request.workspace}, progress);
            return PushTexts::Result{.report = {.app = plan.app,
                                                .context = plan.context,
                                                .version = plan.version,
                                                .leftOut = plan.leftOut,
                                                .report = *plan.nothing}};
        })};
    for (std::size_t place = 0; place < request.apps.size(); ++place)
        if (const auto& failure = request.apps[place].failure)
            result.apps[place] = {request.apps[place].app, std::nullopt, failure};
    return result;
}

} // namespace quorvel
