// HTTP transfers of the whole program.
#pragma once

#include "Platform/http/HTTPMessage.h"

#include <memory>

namespace quorvel {

/// Blocking transfers for any number of threads at once: connections are reused, HTTP/2 is used where it is
/// offered. Unless the options say otherwise, the system's trust store and the proxy variables of the
/// environment hold. A transfer belongs to the current task and ends at once when that is cancelled
/// (`CancellationError`).
///
/// Plain http is accepted for loopback hosts only. A request that may be repeated (`Repetition`) is sent
/// again, at most four times, when its connection was lost before the answer was whole or when what came
/// back is no HTTP answer.
class URLSession {
  public:
    struct Options {
        // Authorities to trust, in place of the system's file or folder of them. Empty: the system's.
        std::filesystem::path certificateFile = {};
        std::filesystem::path certificateFolder = {};
        std::string proxy = {}; // in place of the environment's; NO_PROXY holds for it too
        std::string userAgent = {};
        std::uint64_t maximumBodyBytes = 64ULL << 20; // of an answer that is kept in memory
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
