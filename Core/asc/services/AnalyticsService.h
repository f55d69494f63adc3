// Walking from an app to its analytics reports.
#pragma once

#include "Core/asc/ASCClientProtocol.h"

#include <optional>
#include <string_view>

namespace quorvel {

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
