#include "Core/asc/operations/Shapes.h"

namespace quorvel {

using namespace operations;

ASCList<AppPreviewSetAttributes>
ASCClientProtocol::listPreviewSets(std::string_view versionLocalizationID) const {
    return listResources<AppPreviewSetAttributes>(
        *this, ascPath("appStoreVersionLocalizations", versionLocalizationID, "appPreviewSets"),
        {{"limit", limitFor()}});
}

ASCList<AppPreviewAttributes> ASCClientProtocol::listPreviews(std::string_view setID) const {
    return listResources<AppPreviewAttributes>(*this, ascPath("appPreviewSets", setID, "appPreviews"),
                                               {{"limit", limitFor()}});
}

ASCResource<AppPreviewSetAttributes>
ASCClientProtocol::createPreviewSet(std::string_view versionLocalizationID,
                                    std::string_view previewType) const {
    return createResource<AppPreviewSetAttributes>(
        *this, "appPreviewSets", AppPreviewSetCreateAttributes{std::string(previewType)},
        {.appStoreVersionLocalization = relationTo("appStoreVersionLocalizations", versionLocalizationID)});
}

ASCResource<AppPreviewAttributes>
ASCClientProtocol::reservePreview(std::string_view setID,
                                  const AppPreviewCreateAttributes& attributes) const {
    return createResource<AppPreviewAttributes>(*this, "appPreviews", attributes,
                                                {.appPreviewSet = relationTo("appPreviewSets", setID)});
}

ASCResource<AppPreviewAttributes>
ASCClientProtocol::commitPreview(std::string_view id, const AppPreviewPatchAttributes& attributes) const {
    return patchResource<AppPreviewAttributes>(*this, "appPreviews", id, attributes);
}

void ASCClientProtocol::deletePreview(std::string_view id) const {
    (void)exchange(ASCRequest::remove(ascPath("appPreviews", id)));
}

} // namespace quorvel
