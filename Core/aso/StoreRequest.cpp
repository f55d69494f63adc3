#include "Core/aso/StoreRequest.h"

#include "Core/aso/ASOError.h"
#include "Platform/http/URLRules.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <utility>

namespace quorvel {

std::string fetchFromStore(HTTPClient& http, const StoreRequest& request) {
    std::string_view base = request.baseURL;
    while (base.ends_with('/'))
        base.remove_suffix(1);
    HTTPRequest sent{.url = std::string(base) + request.path, .headers = request.headers};
    char separator = '?';
    for (const auto& [name, value] : request.query) {
        if (!isValidUTF8(value)) throw ASOError(ASOError::InvalidURL{});
        sent.url.push_back(std::exchange(separator, '&'));
        sent.url += name;
        sent.url.push_back('=');
        appendPercentEncoded(sent.url, value);
    }
    if (problemOfURL(sent.url)) throw ASOError(ASOError::InvalidURL{});
    // No request carries anything secret, and the product site leads on to the address with the app's name.
    sent.redirects = RedirectPolicy::follow;
    sent.maximumBodyBytes = request.maximumBodyBytes;
    HTTPResponse response = http.send(sent);
    if (response.status < 200 || response.status > 299) throw ASOError(ASOError::HTTPError{response.status});
    return std::move(response.body);
}

std::string storeCountry(std::string_view country) {
    std::string code = asciiLowercase(country);
    if (code.size() != 2 || !std::ranges::all_of(code, [](char c) { return c >= 'a' && c <= 'z'; }))
        throw ASOError(ASOError::InvalidURL{});
    return code;
}

void requireAppNumber(std::string_view appId) {
    if (appId.empty() || !std::ranges::all_of(appId, [](char c) { return c >= '0' && c <= '9'; }))
        throw ASOError(ASOError::InvalidURL{});
}

} // namespace quorvel
