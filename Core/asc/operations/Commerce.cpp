#include "Core/asc/operations/Shapes.h"

namespace quorvel {

using namespace operations;

namespace {

// Newer answers give an event's times per territory only; the first schedule then speaks for the event.
void adoptScheduleTimes(AppEventAttributes& event) {
    if (!event.territorySchedules || event.territorySchedules->empty()) return;
    const AppEventTerritorySchedule& schedule = event.territorySchedules->front();
    if (!event.publishStart) event.publishStart = schedule.publishStart;
    if (!event.eventStart) event.eventStart = schedule.eventStart;
    if (!event.eventEnd) event.eventEnd = schedule.eventEnd;
}

} // namespace

ASCList<InAppPurchaseAttributes> ASCClientProtocol::listInAppPurchases(std::string_view appID) const {
    return listResources<InAppPurchaseAttributes>(*this, ascPath("apps", appID, "inAppPurchasesV2"),
                                                  {{"limit", limitFor()}});
}

ASCList<AppEventAttributes> ASCClientProtocol::listAppEvents(std::string_view appID,
                                                             ASCListBound bound) const {
    auto events = listResources<AppEventAttributes>(*this, ascPath("apps", appID, "appEvents"),
                                                    {{"limit", limitFor(bound)}}, bound);
    for (auto& event : events)
        adoptScheduleTimes(event.attributes);
    return events;
}

} // namespace quorvel
