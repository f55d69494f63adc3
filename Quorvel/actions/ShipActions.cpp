#include "Quorvel/actions/ShipActions.h"

#include "Core/asc/SharedReads.h"
#include "Quorvel/actions/Shipment.h"
#include "Quorvel/actions/VersionActions.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

// That of the app's versions, where nothing was pulled yet.
ContextID onlyContextOf(const ASCClientProtocol& client, const std::string& app) {
    const auto versions = client.listAppStoreVersions(app);
    std::vector<ContextID> contexts;
    std::vector<std::string> names;
    for (const ASCPlatform platform : allPlatforms)
        if (std::ranges::any_of(versions, [&](const auto& version) {
                return version.attributes.platform == rawValue(platform);
            })) {
            contexts.push_back({platform});
            names.push_back(contexts.back().text());
        }
    if (contexts.size() == 1) return contexts.front();
    if (contexts.empty())
        throw ApplicationError(FailureKind::badRequest, "the app has no version that tells its platform",
                               "Choose the context, such as ios/next.");
    throw ApplicationError(FailureKind::badRequest, "the app has versions of several platforms",
                           fmt::format("Choose the context: {}.", fmt::join(names, " or ")));
}

ShipOptions optionsOf(const PlanShip::Request& request, const AppContexts& contexts,
                      const ASCClientProtocol& client, const std::string& app) {
    const auto known = contexts.known(request.context);
    const ContextID context = known ? *known : onlyContextOf(client, app);
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
    requireVersionNumber(request.version);
    const auto target = targetOf(request);
    const LocatedApp located = AppDirectory(application, target.choice).locate();
    const OpenedApp opened = openUnchanged(application, target);
    const MetadataFolder folder = opened.session->metadata->folder();
    const auto client = std::make_shared<SharedReads>(application.client(located.owner));
    const ShipOptions options =
        optionsOf(request, opened.session->metadata->contexts(), *client, located.app.appStoreId);
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
                               .folder = opened.session->metadata->folder(),
                               .options = request.plan.options,
                               .progress = progress})
                         .perform(request.plan);
    return result;
}

} // namespace quorvel
