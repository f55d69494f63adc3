// In-app purchases and app events.
#pragma once

#include "Core/asc/records/Documents.h"

namespace quorvel {

struct InAppPurchaseAttributes {
    std::optional<std::string> referenceName;
    std::optional<std::string> productId;
    std::optional<std::string> inAppPurchaseType;
    std::optional<std::string> state;
    QUORVEL_RECORD(InAppPurchaseAttributes, referenceName, productId, inAppPurchaseType, state)
    bool operator==(const InAppPurchaseAttributes&) const = default;
};

template <>
struct JSONAliases<InAppPurchaseAttributes> {
    static constexpr JSONAlias values[] = {{"name", "referenceName"}};
};

/// The times of an event in some territories; newer answers hold them here only.
struct AppEventTerritorySchedule {
    std::optional<std::string> publishStart;
    std::optional<std::string> eventStart;
    std::optional<std::string> eventEnd;
    QUORVEL_RECORD(AppEventTerritorySchedule, publishStart, eventStart, eventEnd)
    bool operator==(const AppEventTerritorySchedule&) const = default;
};

struct AppEventAttributes {
    std::optional<std::string> referenceName;
    std::optional<std::string> badge;
    std::optional<std::string> deepLinkUrl;
    std::optional<std::string> priority;
    std::optional<std::string> eventState;
    std::optional<std::string> primaryLocale;
    std::optional<std::string> purchaseRequirement;
    std::optional<std::string> eventStart;
    std::optional<std::string> eventEnd;
    std::optional<std::string> publishStart;
    std::optional<std::string> publishEnd;
    std::optional<std::vector<AppEventTerritorySchedule>> territorySchedules;
    QUORVEL_RECORD(AppEventAttributes, referenceName, badge, deepLinkUrl, priority, eventState, primaryLocale,
                   purchaseRequirement, eventStart, eventEnd, publishStart, publishEnd, territorySchedules)
    bool operator==(const AppEventAttributes&) const = default;
};

template <>
struct JSONAliases<AppEventAttributes> {
    static constexpr JSONAlias values[] = {{"deepLink", "deepLinkUrl"}};
};

} // namespace quorvel
