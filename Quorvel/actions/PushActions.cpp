#include "Quorvel/actions/PushActions.h"

#include "Quorvel/application/Application.h"

namespace quorvel {

PlanPush::Result PlanPush::perform(Application& application, const Request& request,
                                   const ActionProgress& progress) {
    const OpenedApp opened = openUnchanged(application, targetOf(request));
    const ToldOperations told(*opened.session, progress);
    const PushFilter filter{.locales = request.locales,
                            .fields = request.fields,
                            .clearing = request.allowClear ? Clearing::allow : Clearing::leaveOut,
                            .unreviewed = request.allowUnreviewed ? Unreviewed::allow : Unreviewed::leaveOut};
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

} // namespace quorvel
