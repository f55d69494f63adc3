// The values that go into and come out of an HTTP transfer.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace quorvel {

struct HTTPHeader {
    std::string name;
    std::string value;
    bool operator==(const HTTPHeader&) const = default;
};

/// `length` bytes of the file at `path` from `offset` on, read while they are sent.
struct FileSlice {
    std::filesystem::path path;
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
};

/// Called with the bytes moved so far and the total (0 when unknown), on the thread that asked for the
/// transfer. What it throws ends the transfer.
using TransferProgress = std::function<void(std::uint64_t moved, std::uint64_t total)>;

enum class RedirectPolicy { refuse, follow };

/// Whether a request whose answer was lost or unreadable is sent again: one with an idempotent method (GET,
/// HEAD, PUT, DELETE), or also another that does no harm twice.
enum class Repetition { ofIdempotentMethods, allowed };

struct HTTPRequest {
    std::string method = "GET";
    std::string url = {};
    std::vector<HTTPHeader> headers = {};
    std::variant<std::monostate, std::string, FileSlice> body = {};
    std::chrono::milliseconds timeout{60'000};
    // Followed ones (at most five) never carry the Authorization header along.
    RedirectPolicy redirects = RedirectPolicy::refuse;
    Repetition repetition = Repetition::ofIdempotentMethods;
    std::optional<std::uint64_t> maximumBodyBytes = {}; // of the answer; the session's bound when empty
    TransferProgress uploadProgress = {};
};

struct HTTPResponse {
    int status = 0;
    std::vector<HTTPHeader> headers;
    std::string body;

    /// The first value of the header, its name compared without regard to case.
    [[nodiscard]] std::optional<std::string_view> header(std::string_view name) const;
};

/// A transfer that did not yield a whole HTTP answer. The text never holds a header or a body.
class TransportError : public std::runtime_error {
  public:
    enum class Kind {
        // Not sent: no URL, an unknown scheme, plain http to a host that is not this machine (also as the
        // target of a redirect), or a method or header that HTTP does not allow.
        refusedURL,
        couldNotConnect, // name resolution, connecting, proxy
        untrusted,       // TLS handshake or certificate
        timedOut,
        notHTTP,     // something answered, but not HTTP; an answer whose header or body is too large
        interrupted, // connection lost, or the answer ended early
        localFile,   // the file to send or to write failed
    };
    TransportError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
    [[nodiscard]] Kind kind() const { return kind_; }

  private:
    Kind kind_;
};

} // namespace quorvel
