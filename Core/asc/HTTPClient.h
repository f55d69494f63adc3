// What App Store Connect access needs of HTTP, and the adapter that production uses.
#pragma once

#include "Platform/http/URLSession.h"

#include <memory>

namespace quorvel {

/// Sends a request and returns the answer, whatever its status. Blocking; any thread; obeys the current task.
class HTTPClient {
  public:
    virtual ~HTTPClient() = default;
    [[nodiscard]] virtual HTTPResponse send(const HTTPRequest& request) = 0;
};

/// The production client over the program's shared session. Something that answers but not with HTTP is
/// `ASCError::InvalidResponse`; other transfers that fail throw `TransportError`.
class URLSessionHTTPClient : public HTTPClient {
  public:
    explicit URLSessionHTTPClient(std::shared_ptr<URLSession> session) : session_(std::move(session)) {}
    [[nodiscard]] HTTPResponse send(const HTTPRequest& request) override;

  private:
    std::shared_ptr<URLSession> session_;
};

} // namespace quorvel
