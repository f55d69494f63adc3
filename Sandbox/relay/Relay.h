// The relay of AI calls and the exchange rates that its host serves.
#pragma once

#include "Platform/time/Date.h"
#include "Sandbox/SandboxServer.h"
#include "Sandbox/relay/RelayModel.h"
#include "Sandbox/server/HTTPServer.h"

#include <mutex>
#include <set>
#include <string>
#include <string_view>

namespace quorvel::sandbox {

/// Where the relay lies under the sandbox's address.
inline constexpr std::string_view relayPrefix = "/relay/";

/// The clocks that a client may sign by.
struct RelayClocks {
    Date real;
    Date simulated;
};

/// Whether an answer reaches its client or is lost on the way.
enum class Delivery { whole, lost };

/// POST <prefix>v1/chat/completions and GET <prefix>fx. Safe to use from any thread.
class Relay {
  public:
    explicit Relay(std::string secret) : secret_(std::move(secret)) {}

    [[nodiscard]] Response handle(const Request& request, const RelayClocks& clocks, Delivery delivery);
    void setManner(ModelManner manner);
    [[nodiscard]] RelayAccount account() const;

    /// An error document of the relay.
    [[nodiscard]] static Response failure(int status, std::string_view message);

  private:
    [[nodiscard]] bool isSigned(const Request& request, const RelayClocks& clocks) const;
    [[nodiscard]] Response complete(const Request& request, Date now, Delivery delivery);
    void charge(const Request& request, std::int64_t promptTokens, std::int64_t completionTokens,
                Delivery delivery);

    const std::string secret_;
    mutable std::mutex mutex_; // guards all below
    RelayModel model_;
    RelayAccount account_;
    std::set<std::string> delivered_; // digests of the bodies that were answered
};

/// The European Central Bank's reference rates as the service gives them: base, date and rates.
[[nodiscard]] Response exchangeRates(Date now);

} // namespace quorvel::sandbox
