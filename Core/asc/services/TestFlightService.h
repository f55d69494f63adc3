// Giving a build to testers.
#pragma once

#include "Core/asc/ASCClientProtocol.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Gives a build to testers.
class TestFlightService {
  public:
    explicit TestFlightService(const ASCClientProtocol& client) : client_(client) {}

    struct Release {
        std::string buildID;
        std::map<std::string, std::string> notes; // locale → what to test
        std::vector<std::string> groupIDs;
        enum class BetaReview { leaveOut, request } betaReview = BetaReview::leaveOut;
    };
    /// Writes what to test in one locale: patches the localization that exists, or creates it. When the
    /// create finds one made meanwhile, or its answer is lost, it becomes a patch.
    ASCResource<BetaBuildLocalizationAttributes>
    writeTestNotes(std::string_view buildID, std::string_view locale, std::string_view whatsNew) const;

    /// Writes the notes, adds the build to the groups, then asks for beta review when wanted.
    void release(const Release& release) const;

  private:
    const ASCClientProtocol& client_;
};

} // namespace quorvel
