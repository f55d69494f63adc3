#include "Core/asc/operations/Shapes.h"

namespace quorvel {

using namespace operations;

namespace {

/// Replaces a to-one relationship; an empty one clears it.
struct RelationshipReplaceDocument {
    std::optional<ASCRelationshipRef> data;
    QUORVEL_RECORD(RelationshipReplaceDocument, data)
};

ASCCreateRelationships toVersion(std::string_view versionID) {
    return {.appStoreVersion = relationTo("appStoreVersions", versionID)};
}

} // namespace

ASCList<AppStoreVersionAttributes>
ASCClientProtocol::listAppStoreVersions(std::string_view appID, std::optional<ASCPlatform> platform,
                                        const std::vector<std::string>& states, ASCListBound bound) const {
    return listResources<AppStoreVersionAttributes>(
        *this, ascPath("apps", appID, "appStoreVersions"),
        {{"filter[platform]", platform ? std::optional(rawValue(*platform)) : std::nullopt},
         {"filter[appStoreState]", joined(states)},
         {"limit", limitFor(bound)}},
        bound);
}

ASCResource<AppStoreVersionAttributes> ASCClientProtocol::getAppStoreVersion(std::string_view id) const {
    return send<ASCResponse<ASCResource<AppStoreVersionAttributes>>>(
               ASCRequest::get(ascPath("appStoreVersions", id)))
        .data;
}

ASCResource<AppStoreVersionAttributes>
ASCClientProtocol::createAppStoreVersion(std::string_view appID,
                                         const AppStoreVersionCreateAttributes& attributes) const {
    return createResource<AppStoreVersionAttributes>(*this, "appStoreVersions", attributes,
                                                     {.app = relationTo("apps", appID)});
}

ASCResource<AppStoreVersionAttributes>
ASCClientProtocol::updateAppStoreVersion(std::string_view id,
                                         const AppStoreVersionPatchAttributes& attributes) const {
    return patchResource<AppStoreVersionAttributes>(*this, "appStoreVersions", id, attributes);
}

ASCList<AppStoreVersionLocalizationAttributes>
ASCClientProtocol::listVersionLocalizations(std::string_view versionID) const {
    return listResources<AppStoreVersionLocalizationAttributes>(
        *this, ascPath("appStoreVersions", versionID, "appStoreVersionLocalizations"),
        {{"limit", limitFor()}});
}

ASCResource<AppStoreVersionLocalizationAttributes>
ASCClientProtocol::createVersionLocalization(std::string_view versionID,
                                             const VersionLocalizationCreateAttributes& attributes) const {
    return createResource<AppStoreVersionLocalizationAttributes>(*this, "appStoreVersionLocalizations",
                                                                 attributes, toVersion(versionID));
}

ASCResource<AppStoreVersionLocalizationAttributes>
ASCClientProtocol::updateVersionLocalization(std::string_view id,
                                             const VersionLocalizationPatchAttributes& attributes) const {
    return patchResource<AppStoreVersionLocalizationAttributes>(*this, "appStoreVersionLocalizations", id,
                                                                attributes);
}

std::optional<ASCResource<AppStoreReviewDetailAttributes>>
ASCClientProtocol::getReviewDetail(std::string_view versionID) const {
    return findResource<AppStoreReviewDetailAttributes>(
        *this, ascPath("appStoreVersions", versionID, "appStoreReviewDetail"),
        [&] { (void)getAppStoreVersion(versionID); });
}

void ASCClientProtocol::attachBuild(std::string_view versionID, std::string_view buildID) const {
    (void)exchange(ASCRequest::patch(ascPath("appStoreVersions", versionID, "relationships/build"),
                                     RelationshipReplaceDocument{refTo("builds", buildID)}));
}

void ASCClientProtocol::requestVersionRelease(std::string_view versionID) const {
    (void)exchange(createRequest(
        ASCRelationshipOnlyCreateEnvelope{{"appStoreVersionReleaseRequests", toVersion(versionID)}}));
}

std::optional<ASCResource<AppStoreVersionPhasedReleaseAttributes>>
ASCClientProtocol::getPhasedRelease(std::string_view versionID) const {
    return findResource<AppStoreVersionPhasedReleaseAttributes>(
        *this, ascPath("appStoreVersions", versionID, "appStoreVersionPhasedRelease"),
        [&] { (void)getAppStoreVersion(versionID); });
}

ASCResource<AppStoreVersionPhasedReleaseAttributes>
ASCClientProtocol::createPhasedRelease(std::string_view versionID,
                                       const PhasedReleaseCreateAttributes& attributes) const {
    return createResource<AppStoreVersionPhasedReleaseAttributes>(*this, "appStoreVersionPhasedReleases",
                                                                  attributes, toVersion(versionID));
}

ASCResource<AppStoreVersionPhasedReleaseAttributes>
ASCClientProtocol::updatePhasedRelease(std::string_view id,
                                       const PhasedReleasePatchAttributes& attributes) const {
    ASCRequest request = patchRequest("appStoreVersionPhasedReleases", id, attributes);
    request.repetition = Repetition::ofIdempotentMethods;
    return send<ASCResponse<ASCResource<AppStoreVersionPhasedReleaseAttributes>>>(request).data;
}

void ASCClientProtocol::deletePhasedRelease(std::string_view id) const {
    (void)exchange(ASCRequest::remove(ascPath("appStoreVersionPhasedReleases", id)));
}

} // namespace quorvel
