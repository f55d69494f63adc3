// The sandbox's HTTP/1.1 server on 127.0.0.1; able to end an answer badly on purpose.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvel::sandbox {

struct Request {
    std::string method;
    std::string target; // path and query as sent
    std::string path;   // percent-decoded, without the query
    std::vector<std::pair<std::string, std::string>> query;
    std::string body; // empty for PUT, whose body is read with `readBody`
    std::function<std::optional<std::string>(std::string_view)> header;
    /// Hands the body over piece by piece, until a piece is answered with false; whether it came to its end.
    std::function<bool(const std::function<bool(std::string_view)>&)> readBody;

    /// The first value of a query parameter.
    [[nodiscard]] std::optional<std::string> parameter(std::string_view name) const;
};

/// How an answer ends: as it should, with the connection reset instead of it, cut in its middle, or slowly.
enum class Ending { whole, reset, truncated, slow };

struct Response {
    int status = 200; // 0: none, the connection is to be reset
    std::string contentType = {};
    std::string body = {};
    std::vector<std::pair<std::string, std::string>> headers = {};
    Ending ending = Ending::whole;
};

class HTTPServer {
  public:
    using Handler = std::function<Response(const Request&)>;

    /// Binds `port` of 127.0.0.1 (0: any free one). Throws `std::runtime_error` when it is taken.
    HTTPServer(std::uint16_t port, Handler handler);
    ~HTTPServer(); // cuts open connections and waits for the handlers that run
    HTTPServer(const HTTPServer&) = delete;
    HTTPServer& operator=(const HTTPServer&) = delete;

    [[nodiscard]] std::uint16_t port() const;
    /// Begins to answer requests.
    void start();

  private:
    struct Implementation;
    std::unique_ptr<Implementation> implementation_;
};

/// Percent-decodes `text`; "+" is a blank in queries only.
enum class PlusSign { literal, blank };
[[nodiscard]] std::string percentDecode(std::string_view text, PlusSign plus);
[[nodiscard]] std::string percentEncode(std::string_view text);

} // namespace quorvel::sandbox
