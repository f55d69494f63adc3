// What a client of a web service needs of HTTP, and the adapter that production uses.
#pragma once

#include "Platform/http/URLSession.h"

#include <memory>
#include <utility>

namespace quorvel {

/// Sends a request and returns the answer, whatever its status. Blocking; any thread; obeys the current task.
/// Throws `TransportError` when no whole answer came; of kind `notHTTP` when what answered was not HTTP.
class HTTPClient {
  public:
    virtual ~HTTPClient() = default;
    [[nodiscard]] virtual HTTPResponse send(const HTTPRequest& request) = 0;
};

/// The production client over the program's shared session.
class URLSessionHTTPClient : public HTTPClient {
  public:
    explicit URLSessionHTTPClient(std::shared_ptr<URLSession> session) : session_(std::move(session)) {}
    [[nodiscard]] HTTPResponse send(const HTTPRequest& request) override { return session_->send(request); }

  private:
    std::shared_ptr<URLSession> session_;
};

} // namespace quorvel
