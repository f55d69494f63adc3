// Submitting a version to App Review.
#pragma once

#include "Core/asc/ASCClientProtocol.h"

#include <string_view>

namespace quorvel {

/// Hands a version to App Review.
class ReviewSubmissionService {
  public:
    explicit ReviewSubmissionService(const ASCClientProtocol& client) : client_(client) {}

    /// Reuses the platform's open submission in READY_FOR_REVIEW, one in UNRESOLVED_ISSUES without adding the
    /// version again, or makes a new one, then submits it. Throws `ASCError` (STATE_ERROR) when a submission
    /// of the platform is waiting or in review already.
    ASCResource<ReviewSubmissionAttributes> submit(std::string_view appID, ASCPlatform platform,
                                                   std::string_view versionID) const;

  private:
    const ASCClientProtocol& client_;
};

} // namespace quorvel
