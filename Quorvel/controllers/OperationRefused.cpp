#include "Quorvel/controllers/OperationRefused.h"

#include "Core/ai/translation/Translation.h"

#include <utility>

namespace quorvel {

std::string_view textOf(Refusal refusal) {
    switch (refusal) {
    case Refusal::operationRunning:
        return "Another operation is running.";
    case Refusal::noAppStoreID:
        return "App Store ID is empty — set it in the app's identity.";
    case Refusal::folderNotResolved:
        return "Metadata folder bookmark could not be resolved.";
    case Refusal::folderUnavailable:
        return "Metadata folder unavailable.";
    case Refusal::noVersions:
        return "No versions found on App Store Connect.";
    case Refusal::noContextSelected:
        return "No context selected — click Pull first.";
    case Refusal::readOnlyContext:
        return "This context is read-only.";
    case Refusal::nothingSelected:
        return "Nothing selected to push.";
    case Refusal::noPendingChanges:
        return "No pending changes — local matches the last-pulled ASC snapshot.";
    case Refusal::screenshotsNotPulled:
        return "The screenshots have not been pulled.";
    case Refusal::previewsNotPulled:
        return "The previews have not been pulled.";
    case Refusal::stalePlan:
        return "Something changed since this was planned. Plan it again.";
    case Refusal::sourceIsTarget:
        return "There is no locale to translate into.";
    case Refusal::noTargetLocales:
        return noTargetLocalesText;
    case Refusal::noBaseKeywords:
        return "There are no keywords to start from.";
    case Refusal::unknownCommit:
        return "There is no such commit.";
    }
    return {};
}

OperationRefused::OperationRefused(Refusal refusal, std::string detail)
    : std::runtime_error(std::string(textOf(refusal))), refusal_(refusal), detail_(std::move(detail)) {}

} // namespace quorvel
