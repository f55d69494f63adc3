// HTTP transfers of the whole program.
#pragma once

#include "Platform/http/HTTPMessage.h"

#include <memory>

namespace quorvel {

/// Blocking transfers for any number of threads at once: connections are reused, HTTP/2 is used where it is
/// offered, the system's trust store and the proxy variables of the environment hold. A transfer belongs to
/// the current task and ends at once when that is cancelled (`CancellationError`).
///
/// Plain http is accepted for loopback hosts only. An idempotent request (GET, HEAD, PUT, DELETE) whose
/// connection was lost before any byte of an answer came is sent again, at most four times; a POST or PATCH
/// never is.
class URLSession {
  public:
    struct Options {
        std::filesystem::path certificateFile = {};    // instead of the system's trust store, when not empty
        std::uint64_t maximumBodyBytes = 512ULL << 20; // of an answer that is kept in memory
    };

    URLSession();
    explicit URLSession(Options options);
    ~URLSession(); // cancels what is running
    URLSession(const URLSession&) = delete;
    URLSession& operator=(const URLSession&) = delete;

    /// Sends `request` and returns the answer, whatever its status. Throws `TransportError`.
    [[nodiscard]] HTTPResponse send(const HTTPRequest& request);

    /// Like `send`, with the body of a 2xx answer streamed into `file` (written beside it and renamed when
    /// whole, so that `file` is never half written); `body` stays empty then. Another status leaves `file`
    /// alone and keeps the body in memory.
    [[nodiscard]] HTTPResponse download(const HTTPRequest& request, const std::filesystem::path& file,
                                        const TransferProgress& progress = {});

  private:
    struct Implementation;
    std::unique_ptr<Implementation> implementation_;
};

/// Whether `url` may be used: https to anywhere, or plain http to a loopback host. Returns what is wrong with
/// it, as the end of a sentence ("is not a URL"), or nothing.
[[nodiscard]] std::optional<std::string> problemOfURL(std::string_view url);

} // namespace quorvel
