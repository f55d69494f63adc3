// The base addresses of the services that the program talks to.
#pragma once

#include "Platform/json/JSON.h"

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

namespace quorvel {

/// A file of endpoints that cannot be used; the text names the file, the key and what to do.
class EndpointsError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Addresses other than the usual ones, as a file names them ("endpoints.json").
struct Endpoints {
    std::optional<std::string> appStoreConnect;
    std::optional<std::string> relay;
    std::optional<std::string> relaySecret; // what requests to the relay are signed with; no address
    std::optional<std::string> storeSearch;
    std::optional<std::string> searchHints;
    std::optional<std::string> marketingFeeds;
    std::optional<std::string> legacyFeeds;
    std::optional<std::string> productSite;
    QUORVEL_RECORD(Endpoints, appStoreConnect, relay, relaySecret, storeSearch, searchHints, marketingFeeds,
                   legacyFeeds, productSite)
    bool operator==(const Endpoints&) const = default;

    /// The base address of the App Store Connect API.
    [[nodiscard]] std::string appStoreConnectOrDefault() const;
};

/// Reads a file of endpoints. Throws `EndpointsError` when it is missing, is not JSON, or names an address
/// that is no URL or plain http to another machine.
[[nodiscard]] Endpoints loadEndpoints(const std::filesystem::path& file);

} // namespace quorvel
