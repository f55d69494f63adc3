// The transport of AI calls: signed requests to the relay.
#pragma once

#include "Core/ai/ClaudeClientProtocol.h"
#include "Core/ai/PenwiseConfig.h"
#include "Platform/http/HTTPClient.h"
#include "Platform/log/Log.h"
#include "Platform/task/Backoff.h"
#include "Platform/time/Date.h"

#include <functional>
#include <memory>
#include <string>

namespace quorvel {

/// Speaks the chat-completions dialect, signs each request anew and retries rate-limited and server-failed
/// answers with back-off; transport failures are reported at once. Without an address or a secret every call
/// throws `ClaudeError::MissingAPIKey`. Holds no state of its own between calls; may be used from any thread.
class PenwiseClient : public ClaudeClientProtocol {
  public:
    static constexpr std::int64_t minOutputTokens = 256;

    struct Parts {
        RelayAccess relay;
        std::string bundleID = std::string(PenwiseConfig::bundleID);
        std::shared_ptr<HTTPClient> http;
        int maxRetries = 3;
        std::function<double(int attempt)> backoff = defaultBackoff;
        std::function<void(double seconds)> sleepFor = {}; // the task's own sleep when empty
        Clock clock = systemClock();
        Logger logger = Logger(PenwiseConfig::bundleID, "PenwiseClient");
    };

    explicit PenwiseClient(Parts parts);

    [[nodiscard]] ClaudeResponse send(const ClaudeRequest& request) const override;

  private:
    [[nodiscard]] HTTPResponse sendOnce(const std::string& body) const;
    void waitBeforeRetry(int status, double delay, int attempt) const;
    [[nodiscard]] ClaudeResponse decode(const std::string& body, const ClaudeRequest& request) const;

    Parts parts_;
};

/// What proves to the relay that a request comes from this program: HMAC-SHA-256 over
/// "<bundleID>:<timestamp>", in lower-case hexadecimal.
[[nodiscard]] std::string makeAppToken(std::string_view bundleID, std::string_view timestamp,
                                       const ObfuscatedString& sharedSecret);

} // namespace quorvel
