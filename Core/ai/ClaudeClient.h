// The AI client that features hold.
#pragma once

#include "Core/ai/PenwiseClient.h"

#include <string>
#include <string_view>

namespace quorvel {

/// Keeps the user's own key for the settings; every request goes through the relay, where the key plays no
/// part.
class ClaudeClient : public ClaudeClientProtocol {
  public:
    static constexpr std::string_view defaultAnthropicVersion = "2023-06-01";

    struct Parts {
        std::string apiKey;
        RelayAccess baseURL;
        std::shared_ptr<HTTPClient> http;
        std::string anthropicVersion = std::string(defaultAnthropicVersion); // accepted and never sent
        int maxRetries = 3;
        std::function<double(int attempt)> backoff = defaultBackoff;
        std::function<void(double seconds)> sleepFor = {}; // the task's own sleep when empty
        Clock clock = systemClock();
    };

    explicit ClaudeClient(Parts parts)
        : apiKey_(std::move(parts.apiKey)),
          inner_({.relay = std::move(parts.baseURL),
                  .http = std::move(parts.http),
                  .maxRetries = parts.maxRetries,
                  .backoff = std::move(parts.backoff),
                  .sleepFor = std::move(parts.sleepFor),
                  .clock = std::move(parts.clock)}) {}
    ClaudeClient(RelayAccess proxyURL, std::shared_ptr<HTTPClient> http)
        : ClaudeClient(Parts{.baseURL = std::move(proxyURL), .http = std::move(http)}) {}

    [[nodiscard]] ClaudeResponse send(const ClaudeRequest& request) const override {
        return inner_.send(request);
    }
    [[nodiscard]] const std::string& apiKey() const { return apiKey_; }

  private:
    std::string apiKey_;
    PenwiseClient inner_;
};

} // namespace quorvel
