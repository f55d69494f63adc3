#include "Quorvel/actions/VersionActions.h"

#include "Core/asc/services/VersionService.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

ASCPlatform requirePlatform(const std::string& name) {
    for (const ASCPlatform platform : allPlatforms)
        if (platformFolderName(platform) == name) return platform;
    throw ApplicationError(FailureKind::badRequest, fmt::format("{} is no platform", quotedWord(name)),
                           "A platform is ios, macos, tvos or visionos.");
}

// Keeps the request instead of sending it.
class ShownRequest : public ASCClientProtocol {
  public:
    struct Reached {};
    [[nodiscard]] std::string exchange(const ASCRequest& request) const override {
        shown = {request.method, request.path, decodeJSON<JSONValue>(request.body.value_or("null"))};
        throw Reached{};
    }
    mutable PlannedRequest shown;
};

AppStoreVersionCreateAttributes attributesOf(const VersionPlan& plan) {
    return {.platform = std::string(rawValue(plan.platform)),
            .versionString = plan.versionString,
            .releaseType = plan.releaseType};
}

} // namespace

ListVersions::Result ListVersions::perform(Application& application, const Request& request,
                                           const ActionProgress&) {
    const auto platform = request.platform ? std::optional(requirePlatform(*request.platform)) : std::nullopt;
    const ReachedApp reached = reach(application, targetOf(request));
    return {reached.app, reached.client->listAppStoreVersions(reached.app.appStoreId, platform)};
}

PlanVersion::Result PlanVersion::perform(Application& application, const Request& request,
                                         const ActionProgress&) {
    const ASCPlatform platform = requirePlatform(request.platform);
    const ReachedApp reached = reach(application, targetOf(request));
    Result result{{.app = reached.app,
                   .platform = platform,
                   .versionString = request.version,
                   .releaseType = request.releaseType}};
    const ShownRequest client;
    try {
        (void)client.createAppStoreVersion(result.plan.app.appStoreId, attributesOf(result.plan));
    } catch (const ShownRequest::Reached&) {
        result.plan.request = client.shown;
    }
    return result;
}

CreateVersion::Result CreateVersion::perform(Application& application, const Request& request,
                                             const ActionProgress&) {
    const ReachedApp reached = reachPlanned(application, request.plan.app, request.workspace);
    return {reached.app,
            VersionService(*reached.client).create(request.plan.app.appStoreId, attributesOf(request.plan))};
}

ListBuilds::Result ListBuilds::perform(Application& application, const Request& request,
                                       const ActionProgress&) {
    requireNumber("limit", request.limit, 1, Request::mostBuilds);
    const ReachedApp reached = reach(application, targetOf(request));
    return {reached.app, reached.client->listBuilds(reached.app.appStoreId, request.version,
                                                    {static_cast<int>(request.limit)})};
}

} // namespace quorvel
