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

} // namespace quorvel
