#include "Core/asc/operations/Shapes.h"

namespace quorvel {

using namespace operations;

ASCList<ASCAppAttributes> ASCClientProtocol::listApps(std::optional<std::string_view> bundleID,
                                                      ASCListBound bound) const {
    return listResources<ASCAppAttributes>(
        *this, "v1/apps", {{"filter[bundleId]", bundleID}, {"limit", limitFor(bound)}}, bound);
}

ASCList<AppInfoAttributes> ASCClientProtocol::listAppInfos(std::string_view appID) const {
    return listResources<AppInfoAttributes>(*this, ascPath("apps", appID, "appInfos"));
}

ASCList<AppInfoLocalizationAttributes>
ASCClientProtocol::listAppInfoLocalizations(std::string_view appInfoID) const {
    return listResources<AppInfoLocalizationAttributes>(
        *this, ascPath("appInfos", appInfoID, "appInfoLocalizations"), {{"limit", limitFor()}});
}

ASCResource<AppInfoLocalizationAttributes>
ASCClientProtocol::createAppInfoLocalization(std::string_view appInfoID,
                                             const AppInfoLocalizationCreateAttributes& attributes) const {
    return createResource<AppInfoLocalizationAttributes>(*this, "appInfoLocalizations", attributes,
                                                         {.appInfo = relationTo("appInfos", appInfoID)});
}

ASCResource<AppInfoLocalizationAttributes>
ASCClientProtocol::updateAppInfoLocalization(std::string_view id,
                                             const AppInfoLocalizationPatchAttributes& attributes) const {
    return patchResource<AppInfoLocalizationAttributes>(*this, "appInfoLocalizations", id, attributes);
}

ASCResource<AppInfoLocalizationAttributes> ASCClientProtocol::updateAppInfoLocalization(
    std::string_view id, const AppInfoLocalizationPrivacyPatchAttributes& attributes) const {
    return patchResource<AppInfoLocalizationAttributes>(*this, "appInfoLocalizations", id, attributes);
}

void ASCClientProtocol::deleteAppInfoLocalization(std::string_view id) const {
    (void)exchange(ASCRequest::remove(ascPath("appInfoLocalizations", id)));
}

void ASCClientProtocol::updateAppInfoCategories(std::string_view appInfoID,
                                                std::optional<std::string> primaryCategory,
                                                std::optional<std::string> secondaryCategory) const {
    AppInfoCategoryPatchEnvelope document{{"appInfos", std::string(appInfoID), {}}};
    if (primaryCategory)
        document.data.relationships.primaryCategory = relationTo("appCategories", *primaryCategory);
    if (secondaryCategory)
        document.data.relationships.secondaryCategory = relationTo("appCategories", *secondaryCategory);
    (void)exchange(ASCRequest::patch(ascPath("appInfos", appInfoID), document));
}

} // namespace quorvel
