#include "Quorvel/actions/VersionActions.h"

#include "Core/asc/services/VersionService.h"
#include "Platform/text/Text.h"
#include "Quorvel/actions/BuildChoice.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

// Up to three numbers with points between them.
bool isVersionNumber(std::string_view text) {
    constexpr int mostNumbers = 3;
    constexpr std::size_t longest = 18;
    if (text.empty() || text.size() > longest) return false;
    int numbers = 1;
    bool digitBefore = false;
    for (const char character : text) {
        const bool isDigit = character >= '0' && character <= '9';
        if (!isDigit && (character != '.' || !digitBefore || ++numbers > mostNumbers)) return false;
        digitBefore = isDigit;
    }
    return digitBefore;
}

} // namespace

void requireVersionNumber(std::string_view text) {
    if (isVersionNumber(text)) return;
    std::string_view bare = text;
    while (!bare.empty() && (bare.front() < '0' || bare.front() > '9'))
        bare.remove_prefix(1);
    throw ApplicationError(FailureKind::badRequest, fmt::format("{} is no version", quotedWord(text)),
                           isVersionNumber(bare)
                               ? fmt::format("Did you mean {}?", bare)
                               : "A version is up to three numbers with points between them, such as 1.2.0.");
}

namespace {

// A platform has one open version at a time.
void refuseBesideOpen(const ASCList<AppStoreVersionAttributes>& versions, const VersionPlan& plan) {
    for (const auto& version : versions) {
        const auto& attributes = version.attributes;
        const std::string state = attributes.appStoreState.value_or("");
        const std::string name = escapeControls(
            fmt::format("{} {}", platformFolderName(plan.platform), attributes.versionString.value_or("")));
        if (attributes.versionString == plan.versionString)
            throw ApplicationError(FailureKind::versionExists,
                                   fmt::format("there is {} already ({})", name, state));
        // What an unknown state allows is left to App Store Connect.
        if (fromRawValue<AppStoreVersionState>(state) &&
            stateClassOf(state) == AppStoreVersionStateClass::editable)
            throw ApplicationError(
                FailureKind::versionExists,
                fmt::format("{} is open already ({}), and a platform has one open version at a time", name,
                            state));
    }
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
    requireVersionNumber(request.version);
    const ReachedApp reached = reach(application, targetOf(request));
    Result result{{.app = reached.app,
                   .platform = platform,
                   .versionString = request.version,
                   .releaseType = request.releaseType}};
    refuseBesideOpen(reached.client->listAppStoreVersions(reached.app.appStoreId, platform), result.plan);
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
