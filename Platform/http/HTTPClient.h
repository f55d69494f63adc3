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

/// Whether a client sends over plain http, which never goes further than this machine.
enum class PlainHTTP { onThisMachine, refused };

/// The production client over the program's shared session.
class URLSessionHTTPClient : public HTTPClient {
  public:
    explicit URLSessionHTTPClient(std::shared_ptr<URLSession> session,
                                  PlainHTTP plainHTTP = PlainHTTP::onThisMachine)
        : session_(std::move(session)), plainHTTP_(plainHTTP) {}
    /// Throws also `TransportError` (`refusedURL`) for plain http where that is refused.
    [[nodiscard]] HTTPResponse send(const HTTPRequest& request) override;

  private:
    std::shared_ptr<URLSession> session_;
    PlainHTTP plainHTTP_;
};

} // namespace quorvel
