// App infos, versions and localizations together with what belongs to them, from one answer.
#pragma once

#include "Core/asc/records/AppRecords.h"
#include "Core/asc/records/BuildRecords.h"
#include "Core/asc/records/ScreenshotRecords.h"
#include "Core/asc/records/VersionRecords.h"

namespace quorvel {

struct ASCAppInfoSummary {
    ASCResource<AppInfoAttributes> appInfo;
    AppInfoCategories categories;
    QUORVEL_RECORD(ASCAppInfoSummary, appInfo, categories)
    bool operator==(const ASCAppInfoSummary&) const = default;
};

struct ASCVersionSummary {
    ASCResource<AppStoreVersionAttributes> version;
    std::optional<ASCResource<ASCBuildAttributes>> build; // the attached one
    std::optional<AppStoreReviewDetailAttributes> reviewDetail;
    QUORVEL_RECORD(ASCVersionSummary, version, build, reviewDetail)
    bool operator==(const ASCVersionSummary&) const = default;
};

struct ASCLocalizationSummary {
    ASCResource<AppStoreVersionLocalizationAttributes> localization;
    std::vector<std::string> displayTypes; // of its screenshot sets
    QUORVEL_RECORD(ASCLocalizationSummary, localization, displayTypes)
    bool operator==(const ASCLocalizationSummary&) const = default;
};

} // namespace quorvel
