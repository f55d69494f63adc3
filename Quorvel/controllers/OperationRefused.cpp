#include "Quorvel/controllers/OperationRefused.h"

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
    }
    return {};
}

OperationRefused::OperationRefused(Refusal refusal, std::string detail)
    : std::runtime_error(std::string(textOf(refusal))), refusal_(refusal), detail_(std::move(detail)) {}

} // namespace quorvel
