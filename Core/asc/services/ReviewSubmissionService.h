// Submitting a version to App Review.
#pragma once

#include "Core/asc/ASCClientProtocol.h"

#include <string>
#include <string_view>

namespace quorvel {

/// Hands a version to App Review.
class ReviewSubmissionService {
  public:
    explicit ReviewSubmissionService(const ASCClientProtocol& client) : client_(client) {}

    /// Reuses the platform's submission in UNRESOLVED_ISSUES or READY_FOR_REVIEW, or makes a new one, adds
    /// the version unless it holds it already, and submits it; what a lost answer leaves open is read back.
    /// Never submits without the version. Throws `ASCError` (STATE_ERROR) when a submission of the platform
    /// is waiting or in review already.
    ASCResource<ReviewSubmissionAttributes> submit(std::string_view appID, ASCPlatform platform,
                                                   std::string_view versionID) const;

  private:
    [[nodiscard]] bool holds(const std::string& submissionID, std::string_view versionID) const;
    void add(const std::string& submissionID, std::string_view versionID) const;
    [[nodiscard]] ASCResource<ReviewSubmissionAttributes> send(std::string_view appID,
                                                               const std::string& submissionID) const;

    const ASCClientProtocol& client_;
};

} // namespace quorvel
