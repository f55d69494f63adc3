#include "Core/asc/operations/Shapes.h"

namespace quorvel {

using namespace operations;

ASCList<BetaGroupAttributes> ASCClientProtocol::listBetaGroups(std::string_view appID) const {
    return collect<BetaGroupAttributes>(
        *this, ASCRequest::get(ascPath("apps", appID, "betaGroups"), {{"limit", limitFor({})}}));
}

void ASCClientProtocol::addBuildToBetaGroup(std::string_view groupID, std::string_view buildID) const {
    const BetaGroupAddBuildsEnvelope document{{{"builds", std::string(buildID)}}};
    (void)exchange(ASCRequest::post(ascPath("betaGroups", groupID, "relationships/builds"), document));
}

ASCList<BetaBuildLocalizationAttributes>
ASCClientProtocol::listBetaBuildLocalizations(std::string_view buildID) const {
    return collect<BetaBuildLocalizationAttributes>(
        *this, ASCRequest::get(ascPath("builds", buildID, "betaBuildLocalizations")));
}

ASCResource<BetaBuildLocalizationAttributes> ASCClientProtocol::createBetaBuildLocalization(
    std::string_view buildID, const BetaBuildLocalizationCreateAttributes& attributes) const {
    const BetaBuildLocalizationCreateEnvelope document{
        {"betaBuildLocalizations", attributes, {relationTo("builds", buildID)}}};
    return send<ASCResponse<ASCResource<BetaBuildLocalizationAttributes>>>(
               ASCRequest::post("v1/betaBuildLocalizations", document))
        .data;
}

ASCResource<BetaBuildLocalizationAttributes>
ASCClientProtocol::updateBetaBuildLocalization(std::string_view id,
                                               const BetaBuildLocalizationPatchAttributes& attributes) const {
    return patchResource<BetaBuildLocalizationAttributes>(*this, "betaBuildLocalizations", id, attributes);
}

ASCResource<BetaAppReviewSubmissionAttributes>
ASCClientProtocol::submitForBetaReview(std::string_view buildID) const {
    const BetaAppReviewSubmissionCreateEnvelope document{
        {"betaAppReviewSubmissions", {relationTo("builds", buildID)}}};
    return send<ASCResponse<ASCResource<BetaAppReviewSubmissionAttributes>>>(
               ASCRequest::post("v1/betaAppReviewSubmissions", document))
        .data;
}

} // namespace quorvel
