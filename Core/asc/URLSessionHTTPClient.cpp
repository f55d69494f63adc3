#include "Core/asc/HTTPClient.h"

#include "Core/asc/ASCError.h"

namespace quorvel {

HTTPResponse URLSessionHTTPClient::send(const HTTPRequest& request) {
    try {
        return session_->send(request);
    } catch (const TransportError& error) {
        if (error.kind() == TransportError::Kind::notHTTP) throw ASCError(ASCError::InvalidResponse{});
        throw;
    }
}

} // namespace quorvel
