// Workflows that take several calls to App Store Connect.
#pragma once

#include "Core/asc/ASCClientProtocol.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// The version that is edited for a platform.
class VersionService {
  public:
    explicit VersionService(const ASCClientProtocol& client) : client_(client) {}

    /// The newest version of the platform; none when the app has no version of it yet.
    [[nodiscard]] std::optional<ASCResource<AppStoreVersionAttributes>> find(std::string_view appID,
                                                                             ASCPlatform platform) const;
    /// The newest version of the platform, made with `versionString` when there is none.
    [[nodiscard]] ASCResource<AppStoreVersionAttributes>
    findOrCreate(std::string_view appID, ASCPlatform platform, std::string_view versionString) const;

  private:
    const ASCClientProtocol& client_;
};

/// Writes texts of one locale: patches the localization when it exists and creates it when it is missing. A
/// create that finds it made meanwhile, by somebody else or by an attempt whose answer was lost, becomes a
/// patch.
class LocalizationService {
  public:
    explicit LocalizationService(const ASCClientProtocol& client) : client_(client) {}

    ASCResource<AppStoreVersionLocalizationAttributes>
    writeVersionLocalization(std::string_view versionID,
                             const VersionLocalizationCreateAttributes& texts) const;
    ASCResource<AppInfoLocalizationAttributes>
    writeAppInfoLocalization(std::string_view appInfoID,
                             const AppInfoLocalizationCreateAttributes& texts) const;
    ASCResource<BetaBuildLocalizationAttributes>
    writeTestNotes(std::string_view buildID, std::string_view locale, std::string_view whatsNew) const;

  private:
    const ASCClientProtocol& client_;
};

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
    /// Writes the notes, adds the build to the groups, then asks for beta review when wanted.
    void release(const Release& release) const;

  private:
    const ASCClientProtocol& client_;
};

/// Walks from an app to the segments of its analytics reports.
class AnalyticsService {
  public:
    explicit AnalyticsService(const ASCClientProtocol& client) : client_(client) {}

    /// The app's report request, made with `accessType` ("ONGOING") when there is none.
    [[nodiscard]] ASCResource<AnalyticsReportRequestAttributes>
    findOrCreateRequest(std::string_view appID, std::string_view accessType = "ONGOING") const;
    /// All segments of the instances of every report of the request with this category and granularity, in
    /// order.
    [[nodiscard]] ASCList<AnalyticsReportSegmentAttributes>
    listSegments(std::string_view requestID, std::optional<std::string_view> category,
                 std::optional<std::string_view> granularity) const;

  private:
    const ASCClientProtocol& client_;
};

} // namespace quorvel
