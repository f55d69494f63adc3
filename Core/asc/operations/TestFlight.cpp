#include "Core/asc/operations/Shapes.h"

namespace quorvel {

using namespace operations;

ASCList<BetaGroupAttributes> ASCClientProtocol::listBetaGroups(std::string_view appID) const {
    return listResources<BetaGroupAttributes>(*this, ascPath("apps", appID, "betaGroups"),
                                              {{"limit", limitFor()}});
}

void ASCClientProtocol::addBuildToBetaGroup(std::string_view groupID, std::string_view buildID) const {
    (void)exchange(ASCRequest::post(ascPath("betaGroups", groupID, "relationships/builds"),
                                    BetaGroupAddBuildsEnvelope{{refTo("builds", buildID)}}));
}

ASCResource<BetaGroupAttributes>
ASCClientProtocol::createBetaGroup(std::string_view appID,
                                   const BetaGroupCreateAttributes& attributes) const {
    return createResource<BetaGroupAttributes>(*this, "betaGroups", attributes,
                                               {.app = relationTo("apps", appID)});
}

void ASCClientProtocol::removeBuildFromBetaGroup(std::string_view groupID, std::string_view buildID) const {
    ASCRequest request = ASCRequest::remove(ascPath("betaGroups", groupID, "relationships/builds"));
    request.body = encodeJSON(BetaGroupAddBuildsEnvelope{{refTo("builds", buildID)}});
    (void)exchange(request);
}

ASCList<BetaTesterAttributes> ASCClientProtocol::listBetaTesters(std::string_view groupID) const {
    return listResources<BetaTesterAttributes>(*this, ascPath("betaGroups", groupID, "betaTesters"),
                                               {{"limit", limitFor()}});
}

ASCResource<BetaTesterAttributes>
ASCClientProtocol::createBetaTester(std::string_view groupID,
                                    const BetaTesterCreateAttributes& attributes) const {
    return createFrom<BetaTesterAttributes>(
        *this, BetaTesterCreateEnvelope{{"betaTesters", attributes, {{{refTo("betaGroups", groupID)}}}}});
}

ASCList<BetaBuildLocalizationAttributes>
ASCClientProtocol::listBetaBuildLocalizations(std::string_view buildID) const {
    return listResources<BetaBuildLocalizationAttributes>(
        *this, ascPath("builds", buildID, "betaBuildLocalizations"));
}

ASCResource<BetaBuildLocalizationAttributes> ASCClientProtocol::createBetaBuildLocalization(
    std::string_view buildID, const BetaBuildLocalizationCreateAttributes& attributes) const {
    return createFrom<BetaBuildLocalizationAttributes>(
        *this, BetaBuildLocalizationCreateEnvelope{
                   {"betaBuildLocalizations", attributes, {relationTo("builds", buildID)}}});
}

ASCResource<BetaBuildLocalizationAttributes>
ASCClientProtocol::updateBetaBuildLocalization(std::string_view id,
                                               const BetaBuildLocalizationPatchAttributes& attributes) const {
    return patchResource<BetaBuildLocalizationAttributes>(*this, "betaBuildLocalizations", id, attributes);
}

ASCResource<BetaAppReviewSubmissionAttributes>
ASCClientProtocol::submitForBetaReview(std::string_view buildID) const {
    return createFrom<BetaAppReviewSubmissionAttributes>(
        *this,
        BetaAppReviewSubmissionCreateEnvelope{{"betaAppReviewSubmissions", {relationTo("builds", buildID)}}});
}

std::optional<ASCResource<BetaAppReviewSubmissionAttributes>>
ASCClientProtocol::getBetaReviewSubmission(std::string_view buildID) const {
    return findResource<BetaAppReviewSubmissionAttributes>(
        *this, ascPath("builds", buildID, "betaAppReviewSubmission"), [&] { (void)getBuild(buildID); });
}

std::optional<ASCResource<BuildBetaDetailAttributes>>
ASCClientProtocol::getBuildBetaDetail(std::string_view buildID) const {
    return findResource<BuildBetaDetailAttributes>(*this, ascPath("builds", buildID, "buildBetaDetail"),
                                                   [&] { (void)getBuild(buildID); });
}

ASCResource<BuildBetaDetailAttributes>
ASCClientProtocol::updateBuildBetaDetail(std::string_view id,
                                         const BuildBetaDetailPatchAttributes& attributes) const {
    return patchResource<BuildBetaDetailAttributes>(*this, "buildBetaDetails", id, attributes);
}

} // namespace quorvel
