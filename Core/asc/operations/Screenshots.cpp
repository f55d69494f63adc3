#include "Core/asc/operations/Shapes.h"

namespace quorvel {

using namespace operations;

namespace {

/// The whole list of a set's screenshots in the wanted order.
struct ReorderDocument {
    std::vector<ASCRelationshipRef> data;
    QUORVEL_RECORD(ReorderDocument, data)
};

} // namespace

ASCList<AppScreenshotSetAttributes>
ASCClientProtocol::listScreenshotSets(std::string_view versionLocalizationID) const {
    return listResources<AppScreenshotSetAttributes>(
        *this, ascPath("appStoreVersionLocalizations", versionLocalizationID, "appScreenshotSets"),
        {{"limit", limitFor()}});
}

ASCList<AppScreenshotAttributes> ASCClientProtocol::listScreenshots(std::string_view setID) const {
    return listResources<AppScreenshotAttributes>(
        *this, ascPath("appScreenshotSets", setID, "appScreenshots"), {{"limit", limitFor()}});
}

ASCResource<AppScreenshotSetAttributes>
ASCClientProtocol::createScreenshotSet(std::string_view versionLocalizationID,
                                       std::string_view displayType) const {
    return createResource<AppScreenshotSetAttributes>(
        *this, "appScreenshotSets", AppScreenshotSetCreateAttributes{std::string(displayType)},
        {.appStoreVersionLocalization = relationTo("appStoreVersionLocalizations", versionLocalizationID)});
}

ASCResource<AppScreenshotAttributes>
ASCClientProtocol::reserveScreenshot(std::string_view setID,
                                     const AppScreenshotCreateAttributes& attributes) const {
    return createResource<AppScreenshotAttributes>(
        *this, "appScreenshots", attributes, {.appScreenshotSet = relationTo("appScreenshotSets", setID)});
}

ASCResource<AppScreenshotAttributes>
ASCClientProtocol::commitScreenshot(std::string_view id, std::string_view sourceFileChecksum) const {
    return patchResource<AppScreenshotAttributes>(
        *this, "appScreenshots", id, AppScreenshotPatchAttributes{true, std::string(sourceFileChecksum)});
}

void ASCClientProtocol::deleteScreenshot(std::string_view id) const {
    (void)exchange(ASCRequest::remove(ascPath("appScreenshots", id)));
}

void ASCClientProtocol::reorderScreenshots(std::string_view setID,
                                           const std::vector<std::string>& screenshotIDs) const {
    ReorderDocument document;
    for (const std::string& id : screenshotIDs)
        document.data.push_back(refTo("appScreenshots", id));
    (void)exchange(
        ASCRequest::patch(ascPath("appScreenshotSets", setID, "relationships/appScreenshots"), document));
}

} // namespace quorvel
