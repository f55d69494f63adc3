#include "Quorvel/actions/SalesAccounts.h"

#include "Core/asc/ASCError.h"
#include "Quorvel/actions/KeyActions.h"
#include "Quorvel/application/AppDirectory.h"
#include "Quorvel/application/Failure.h"

#include <algorithm>
#include <utility>

namespace quorvel {

namespace {

/// A vendor number, the owner whose key reaches its reports, and an owner whose key may do instead.
struct NumberedOwner {
    std::string vendorNumber;
    KeyOwner holder;
    KeyOwner app;
};

// The places that may hold a number for `owner`, the narrowest first.
std::vector<NumberedOwner> placesOf(const Application& application, const KeyOwner& owner) {
    std::vector<std::pair<std::optional<std::string>, KeyOwner>> scopes;
    if (owner.appID) scopes.emplace_back(owner.appID, owner);
    if (owner.workspaceID) scopes.emplace_back(owner.workspaceID, KeyOwner{std::nullopt, owner.workspaceID});
    scopes.emplace_back(std::nullopt, KeyOwner{});
    std::vector<NumberedOwner> places;
    for (const auto& [scope, holder] : scopes)
        if (const auto number =
                application.keychain().read(accountName(KeychainStore::AccountKey::vendorNumber, scope));
            number && !number->empty())
            places.push_back({*number, holder, owner});
    return places;
}

std::shared_ptr<const ASCClientProtocol> connect(Application& application, const NumberedOwner& account) {
    try {
        return application.client(account.holder);
    } catch (const ASCError& error) {
        // The number may stand where no key does.
        if (error.kind() != ASCError::Kind::missingCredentials || account.holder == account.app) throw;
        return application.client(account.app);
    }
}

} // namespace

SalesAccounts salesAccountsOf(Application& application, const std::vector<ManagedApp>& apps,
                              const KeyOwner& others, const std::optional<std::string>& vendorNumber) {
    SalesAccounts found;
    std::vector<NumberedOwner> numbers;
    const auto take = [&](const NumberedOwner& account) {
        if (std::ranges::find(numbers, account.vendorNumber, &NumberedOwner::vendorNumber) == numbers.end())
            numbers.push_back(account);
    };
    std::optional<NumberedOwner> given; // with the key of the place that holds this number, if one does
    const auto look = [&](const KeyOwner& owner) {
        const auto places = placesOf(application, owner);
        if (vendorNumber) {
            const auto holder = std::ranges::find(places, *vendorNumber, &NumberedOwner::vendorNumber);
            if (holder != places.end()) given = *holder;
        }
        if (!places.empty()) take(places.front());
        return !places.empty();
    };
    for (const ManagedApp& app : apps)
        if (!look(ownerOf(app))) found.appsWithout.push_back(app.displayName);
    if (apps.empty()) look(others);
    if (vendorNumber) {
        const KeyOwner first = apps.empty() ? others : ownerOf(apps.front());
        numbers = {given.value_or(NumberedOwner{*vendorNumber, first, first})};
        found.appsWithout.clear();
    }
    if (numbers.empty())
        throw ApplicationError(FailureKind::vendorNumberMissing,
                               "Sales reports are asked for with a vendor number, and none is stored.",
                               "It stands in App Store Connect under Payments and Financial Reports.");
    for (const NumberedOwner& account : numbers) {
        requireVendorNumber(account.vendorNumber);
        found.accounts.push_back(
            {account.vendorNumber, [&application, account] { return connect(application, account); }});
    }
    return found;
}

} // namespace quorvel
