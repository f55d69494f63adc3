#include "Core/aso/StoreClients.h"
#include "Core/aso/StorePacing.h"
#include "Quorvel/application/Application.h"

#include <utility>

namespace quorvel {

StoreClients Application::storeClients(std::function<void(const std::string&)> tell) {
    const Endpoints& addresses = endpoints();
    std::shared_ptr<HTTPClient> paced = std::make_shared<StorePacing>(StorePacing::Parts{
        .http = http(),
        .searchURL = addresses.storeSearchOrDefault(),
        .searchesPerMinute =
            static_cast<int>(addresses.storeSearchesPerMinute.value_or(StorePacing::usualSearchesPerMinute)),
        .file = home().applicationSupport() / "Brevant" / "Store Searches.json",
        .clock = clock(),
        .sleep = options_.sleep,
        .mayWait = [this](double seconds) { return mayWait(seconds); },
        .tell = tell ? std::move(tell) : options_.tell});
    return {.search = {paced, addresses.storeSearchOrDefault()},
            .hints = {paced, addresses.searchHintsOrDefault()},
            .charts = {paced, addresses.marketingFeedsOrDefault(), addresses.legacyFeedsOrDefault()},
            .pages = {paced, addresses.productSiteOrDefault()}};
}

} // namespace quorvel
