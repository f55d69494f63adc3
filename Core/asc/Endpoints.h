// The base addresses of the services that the program talks to.
#pragma once

#include "Platform/json/JSON.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

namespace quorvel {

/// An endpoints file that cannot be used. The text names the file and, for a bad value, its key.
class EndpointsError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Addresses that replace the usual ones, as "endpoints.json" names them.
struct Endpoints {
    std::optional<std::string> appStoreConnect;
    std::optional<std::string> relay;
    std::optional<std::string> relaySecret; // signs requests to the relay
    std::optional<std::string> storeSearch;
    std::optional<std::string> searchHints;
    std::optional<std::string> marketingFeeds;
    std::optional<std::string> legacyFeeds;
    std::optional<std::string> productSite;
    std::optional<std::int64_t> storeSearchesPerMinute; // that this store allows; 0: as many as are wanted
    QUORVEL_RECORD(Endpoints, appStoreConnect, relay, relaySecret, storeSearch, searchHints, marketingFeeds,
                   legacyFeeds, productSite, storeSearchesPerMinute)
    bool operator==(const Endpoints&) const = default;

    /// The base address of the App Store Connect API.
    [[nodiscard]] std::string appStoreConnectOrDefault() const;
    /// The base addresses of the public App Store's services.
    [[nodiscard]] std::string storeSearchOrDefault() const;
    [[nodiscard]] std::string searchHintsOrDefault() const;
    [[nodiscard]] std::string marketingFeedsOrDefault() const;
    [[nodiscard]] std::string legacyFeedsOrDefault() const;
    [[nodiscard]] std::string productSiteOrDefault() const;
};

/// Reads an endpoints file. Throws `EndpointsError` when it is missing, is not JSON, or has an address that
/// is not a URL or is plain http to another machine.
[[nodiscard]] Endpoints loadEndpoints(const std::filesystem::path& file);

} // namespace quorvel
