#include "Core/asc/services/BuildService.h"

#include "Core/asc/ASCError.h"

namespace quorvel {

void BuildService::answerCompliance(std::string_view buildID, Encryption encryption) const {
    const bool usesNonExempt = encryption == Encryption::notExempt;
    try {
        client_.setExportCompliance(buildID, {.usesNonExemptEncryption = usesNonExempt});
    } catch (const ASCError&) {
        bool isAnswered = false;
        try {
            isAnswered = client_.getBuild(buildID).attributes.usesNonExemptEncryption == usesNonExempt;
        } catch (const ASCError&) { // the first error says more
        }
        if (!isAnswered) throw;
    }
}

} // namespace quorvel
