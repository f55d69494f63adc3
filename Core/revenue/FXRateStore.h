// The exchange rates that this home knows, fetched from the relay and kept in the user's settings.
#pragma once

#include "Core/revenue/FXRates.h"
#include "Platform/defaults/UserDefaults.h"
#include "Platform/http/HTTPClient.h"
#include "Platform/log/Log.h"
#include "Platform/time/Date.h"

#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace quorvel {

/// Rates older than half a day are fetched anew; the kept ones serve while that fails. Callers that ask at
/// the same time share one request. Thread-safe.
class FXRateStore {
  public:
    static constexpr std::chrono::hours maximumAge{12};

    struct Cache {
        Date fetchedAt;
        FXRates rates;
        QUORVEL_RECORD(Cache, fetchedAt, rates)
    };
    struct Parts {
        std::shared_ptr<UserDefaults> defaults;
        std::shared_ptr<HTTPClient> http;
        std::string relayURL; // base address; empty: there is no relay
        Clock clock = systemClock();
    };

    explicit FXRateStore(Parts parts);

    /// The newest rates to be had; nothing when none were ever fetched. A failure is in `lastError`. Throws
    /// `CancellationError`.
    [[nodiscard]] std::optional<FXRates> current();
    /// The kept rates; asks nobody.
    [[nodiscard]] std::optional<FXRates> rates() const;
    [[nodiscard]] std::optional<Date> fetchedAt() const;
    /// Why the last request brought no rates.
    [[nodiscard]] std::optional<std::string> lastError() const;

  private:
    [[nodiscard]] std::optional<Cache> kept() const;
    void refresh();
    void fetch() const;

    const Parts parts_;
    const Logger logger_{"FXRateStore"};
    mutable std::mutex mutex_; // guards what follows
    std::optional<std::shared_future<void>> inFlight_;
    std::optional<std::string> lastError_;
};

} // namespace quorvel
