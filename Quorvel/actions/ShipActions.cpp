#include "Quorvel/actions/ShipActions.h"

#include "Core/asc/SharedReads.h"
#include "Quorvel/actions/Shipment.h"
#include "Quorvel/actions/VersionActions.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

namespace quorvel {

namespace {

ShipOptions optionsOf(const PlanShip::Request& request, const AppContexts& contexts) {
    requireVersionNumber(request.version);
    const ContextID context = contexts.known(request.context).value_or(ContextID{});
    if (request.context && context.stateClass == AppStoreVersionStateClass::live)
        throw ApplicationError(FailureKind::badRequest,
                               "a release is of a coming version, not of the one on sale",
                               std::string("Choose the context ") +
                                   std::string(platformFolderName(context.platform)) + "/next.");
    return {.version = request.version,
            .platform = context.platform,
            .until = request.until.value_or(ShipUntil::review),
            .screenshots = request.screenshots.value_or(ScreenshotPushMode::append),
            .allowClear = request.allowClear,
            .allowUnreviewed = request.allowUnreviewed,
            .exempt = request.exempt,
            .testFlightGroups = request.testFlightGroups};
}

} // namespace

PlanShip::Result PlanShip::perform(Application& application, const Request& request,
                                   const ActionProgress& progress) {
    const auto target = targetOf(request);
    const LocatedApp located = AppDirectory(application, target.choice).locate();
    const OpenedApp opened = openUnchanged(application, target);
    const MetadataFolder folder = opened.session->metadata->folder();
    const ShipOptions options = optionsOf(request, opened.session->metadata->contexts());
    const auto client = std::make_shared<SharedReads>(application.client(located.owner));
    progress.step({"Planning the release…", {}, 0});
    Shipment shipment({.application = application,
                       .app = located,
                       .session = application.sessionOver(located.app, folder, client),
                       .client = client,
                       .folder = folder,
                       .options = options,
                       .dryRun = dryRunOf(request)});
    shipment.readAhead();
    return {shipment.plan()};
}

Ship::Result Ship::perform(Application& application, const Request& request, const ActionProgress& progress) {
    OpenedApp opened = openPlanned(application, request.plan.app, request.workspace, request.plan.folder);
    const ToldOperations told(*opened.session, progress);
    const KeyOwner owner = ownerOf(opened.app);
    Result result{.plan = request.plan, .outcome = {}, .imported = std::move(opened.imported)};
    result.plan.app = referenceOf(opened.app);
    result.outcome = Shipment({.application = application,
                               .app = {opened.app, owner, std::nullopt},
                               .session = opened.session,
                               .client = application.client(owner),
                               .folder = MetadataFolder{request.plan.folder},
                               .options = request.plan.options,
                               .progress = progress})
                         .perform(request.plan);
    return result;
}

} // namespace quorvel
