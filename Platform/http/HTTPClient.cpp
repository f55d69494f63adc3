#include "Platform/http/HTTPClient.h"

#include "Platform/http/TransportErrors.h"
#include "Platform/http/URLRules.h"

namespace quorvel {

HTTPResponse URLSessionHTTPClient::send(const HTTPRequest& request) {
    if (plainHTTP_ == PlainHTTP::refused && !problemOfURL(request.url) && !isEncryptedURL(request.url))
        throw refusedURL("uses plain http, where only https is accepted");
    return session_->send(request);
}

} // namespace quorvel
