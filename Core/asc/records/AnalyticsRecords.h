// Analytics report requests, reports, instances and segments.
#pragma once

#include "Core/asc/records/Documents.h"

namespace quorvel {

struct AnalyticsReportRequestAttributes {
    std::optional<std::string> accessType;
    std::optional<bool> stoppedDueToInactivity;
    QUORVEL_RECORD(AnalyticsReportRequestAttributes, accessType, stoppedDueToInactivity)
    bool operator==(const AnalyticsReportRequestAttributes&) const = default;
};

struct AnalyticsReportRequestCreateAttributes {
    std::string accessType;
    QUORVEL_RECORD(AnalyticsReportRequestCreateAttributes, accessType)
    bool operator==(const AnalyticsReportRequestCreateAttributes&) const = default;
};

struct AnalyticsReportAttributes {
    std::optional<std::string> name;
    std::optional<std::string> category;
    QUORVEL_RECORD(AnalyticsReportAttributes, name, category)
    bool operator==(const AnalyticsReportAttributes&) const = default;
};

struct AnalyticsReportInstanceAttributes {
    std::optional<std::string> granularity;
    std::optional<std::string> processingDate;
    QUORVEL_RECORD(AnalyticsReportInstanceAttributes, granularity, processingDate)
    bool operator==(const AnalyticsReportInstanceAttributes&) const = default;
};

struct AnalyticsReportSegmentAttributes {
    std::optional<std::string> url;
    std::optional<std::string> checksum;
    std::optional<std::int64_t> sizeInBytes;
    QUORVEL_RECORD(AnalyticsReportSegmentAttributes, url, checksum, sizeInBytes)
    bool operator==(const AnalyticsReportSegmentAttributes&) const = default;
};

} // namespace quorvel
