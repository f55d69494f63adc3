#include "Core/asc/Endpoints.h"

#include "Platform/files/Files.h"
#include "Platform/http/URLSession.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>
#include <vector>

namespace quorvel {

std::string Endpoints::appStoreConnectOrDefault() const {
    return appStoreConnect.value_or("https://api.appstoreconnect.apple.com");
}

std::string Endpoints::storeSearchOrDefault() const {
    return storeSearch.value_or("https://itunes.apple.com");
}

std::string Endpoints::searchHintsOrDefault() const {
    return searchHints.value_or("https://search.itunes.apple.com");
}

std::string Endpoints::marketingFeedsOrDefault() const {
    return marketingFeeds.value_or("https://rss.marketingtools.apple.com");
}

std::string Endpoints::legacyFeedsOrDefault() const {
    return legacyFeeds.value_or("https://itunes.apple.com");
}

std::string Endpoints::productSiteOrDefault() const {
    return productSite.value_or("https://apps.apple.com");
}

namespace {

constexpr std::size_t longestSecret = 170; // bytes

// The addresses of a file under their keys; the relay's secret is not one.
std::vector<std::pair<std::string_view, std::optional<std::string>>> addressesOf(const Endpoints& endpoints) {
    return {{"appStoreConnect", endpoints.appStoreConnect}, {"relay", endpoints.relay},
            {"storeSearch", endpoints.storeSearch},         {"searchHints", endpoints.searchHints},
            {"marketingFeeds", endpoints.marketingFeeds},   {"legacyFeeds", endpoints.legacyFeeds},
            {"productSite", endpoints.productSite}};
}

} // namespace

Endpoints loadEndpoints(const std::filesystem::path& file) {
    const std::string name = escapeControls(file.string());
    try {
        const auto text = readFile(file, 1 << 20);
        if (!text) throw EndpointsError(fmt::format("There is no endpoints file {}.", name));
        const auto endpoints = decodeJSON<Endpoints>(*text);
        for (const auto& [key, address] : addressesOf(endpoints))
            if (const auto problem = address ? problemOfURL(*address) : std::nullopt)
                throw EndpointsError(fmt::format("{}: the address of \"{}\" {}.", name, key, *problem));
        if (endpoints.relaySecret.value_or("").size() > longestSecret)
            throw EndpointsError(
                fmt::format("{}: \"relaySecret\" is longer than {} bytes.", name, longestSecret));
        if (const auto count = endpoints.storeSearchesPerMinute; count && (*count < 0 || *count > 100'000))
            throw EndpointsError(
                fmt::format("{}: \"storeSearchesPerMinute\" is not from 0 to 100000.", name));
        return endpoints;
    } catch (const FileError& error) {
        throw EndpointsError(error.what());
    } catch (const JSONError& error) {
        throw EndpointsError(
            fmt::format("{} is not a JSON object of addresses ({}).", name, escapeControls(error.what())));
    }
}

} // namespace quorvel
