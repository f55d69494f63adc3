// The accounts that a workspace's apps are sold under.
#pragma once

#include "Core/records/Models.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/controllers/revenue/RevenueController.h"

#include <optional>
#include <string>
#include <vector>

namespace quorvel {

struct SalesAccounts {
    std::vector<RevenueController::Account> accounts; // each vendor number once
    std::vector<std::string> appsWithout;             // names of the apps that no vendor number is stored for
};

/// The vendor numbers that are stored for the apps, their workspaces and for all, each with the key of the
/// place that holds it; `vendorNumber` in their stead where it is given. `others` is asked for where there
/// are no apps. Throws `ApplicationError` when no number is known at all or one is none.
[[nodiscard]] SalesAccounts salesAccountsOf(Application& application, const std::vector<ManagedApp>& apps,
                                            const KeyOwner& others,
                                            const std::optional<std::string>& vendorNumber);

} // namespace quorvel
