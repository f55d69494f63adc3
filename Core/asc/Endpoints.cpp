#include "Core/asc/Endpoints.h"

#include "Platform/files/Files.h"
#include "Platform/http/URLSession.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

std::string Endpoints::appStoreConnectOrDefault() const {
    return appStoreConnect.value_or("https://api.appstoreconnect.apple.com");
}

namespace {

constexpr std::size_t longestSecret = 170; // bytes

void check(const std::filesystem::path& file, std::string_view key,
           const std::optional<std::string>& address) {
    if (!address) return;
    if (const auto problem = problemOfURL(*address))
        throw EndpointsError(
            fmt::format("{}: the address of \"{}\" {}.", escapeControls(file.string()), key, *problem));
}

} // namespace

Endpoints loadEndpoints(const std::filesystem::path& file) {
    try {
        const auto text = readFile(file, 1 << 20);
        if (!text)
            throw EndpointsError(
                fmt::format("{}: there is no such file of endpoints.", escapeControls(file.string())));
        const auto endpoints = decodeJSON<Endpoints>(*text);
        check(file, "appStoreConnect", endpoints.appStoreConnect);
        check(file, "relay", endpoints.relay);
        check(file, "storeSearch", endpoints.storeSearch);
        check(file, "searchHints", endpoints.searchHints);
        check(file, "marketingFeeds", endpoints.marketingFeeds);
        check(file, "legacyFeeds", endpoints.legacyFeeds);
        check(file, "productSite", endpoints.productSite);
        if (endpoints.relaySecret.value_or("").size() > longestSecret)
            throw EndpointsError(fmt::format("{}: \"relaySecret\" is longer than {} bytes.",
                                             escapeControls(file.string()), longestSecret));
        return endpoints;
    } catch (const FileError& error) {
        throw EndpointsError(error.what());
    } catch (const JSONError& error) {
        throw EndpointsError(fmt::format("{}: is no JSON object of addresses ({}).",
                                         escapeControls(file.string()), escapeControls(error.what())));
    }
}

} // namespace quorvel
