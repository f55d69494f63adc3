#include "Core/asc/operations/Shapes.h"

#include <map>

namespace quorvel {

using namespace operations;

// Not in the unnamed namespace: clang takes no record there that holds an optional record.
namespace operations {

/// A build with the reference from which its pre-release version is found among the included resources.
struct BuildWithPreReleaseVersion {
    struct Relationships {
        std::optional<OptionalReference> preReleaseVersion;
        QUORVEL_RECORD(Relationships, preReleaseVersion)
    };
    std::string id;
    std::string type;
    ASCBuildAttributes attributes;
    std::optional<Relationships> relationships;
    QUORVEL_RECORD(BuildWithPreReleaseVersion, id, type, attributes, relationships)
};

} // namespace operations

namespace {

using BuildPage = ASCResponseWithIncluded<std::vector<BuildWithPreReleaseVersion>,
                                          ASCResource<PreReleaseVersionAttributes>>;

using PreReleaseVersions = std::map<std::string, PreReleaseVersionAttributes>;

PreReleaseVersionAttributes preReleaseVersionOf(const BuildWithPreReleaseVersion& build,
                                                const PreReleaseVersions& versions) {
    if (!build.relationships || !build.relationships->preReleaseVersion) return {};
    const auto& reference = build.relationships->preReleaseVersion->data;
    if (!reference) return {};
    const auto found = versions.find(reference->id);
    return found == versions.end() ? PreReleaseVersionAttributes{} : found->second;
}

std::vector<ASCBuildSummary> summariesOf(const ASCClientProtocol& client, ASCRequest first,
                                         ASCListBound bound) {
    std::vector<ASCBuildSummary> summaries;
    forEachPage<BuildPage>(client, std::move(first), bound, [&](BuildPage&& page) {
        PreReleaseVersions versions;
        if (page.included)
            for (const auto& version : *page.included)
                versions[version.id] = version.attributes;
        for (auto& build : page.data) {
            auto version = preReleaseVersionOf(build, versions);
            summaries.push_back({{std::move(build.id), std::move(build.type), std::move(build.attributes)},
                                 std::move(version.version),
                                 std::move(version.platform)});
        }
    });
    cutTo(bound, summaries);
    return summaries;
}

} // namespace

std::vector<ASCBuildSummary> ASCClientProtocol::listBuilds(std::string_view appID,
                                                           std::optional<std::string_view> marketingVersion,
                                                           ASCListBound bound) const {
    return summariesOf(*this,
                       ASCRequest::get("v1/builds", {{"filter[app]", appID},
                                                     {"filter[preReleaseVersion.version]", marketingVersion},
                                                     {"sort", "-uploadedDate"},
                                                     {"include", "preReleaseVersion"},
                                                     {"limit", limitFor(bound)}}),
                       bound);
}

std::vector<ASCBuildSummary> ASCClientProtocol::listBuildsOfBetaGroup(std::string_view groupID) const {
    return summariesOf(*this,
                       ASCRequest::get("v1/builds", {{"filter[betaGroups]", groupID},
                                                     {"sort", "-uploadedDate"},
                                                     {"include", "preReleaseVersion"},
                                                     {"limit", limitFor()}}),
                       {});
}

ASCResource<ASCBuildAttributes> ASCClientProtocol::getBuild(std::string_view id) const {
    return send<ASCResponse<ASCResource<ASCBuildAttributes>>>(ASCRequest::get(ascPath("builds", id))).data;
}

void ASCClientProtocol::setExportCompliance(std::string_view buildID,
                                            const BuildPatchAttributes& attributes) const {
    (void)exchange(patchRequest("builds", buildID, attributes));
}

} // namespace quorvel
