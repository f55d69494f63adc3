// How much of a key's quota is left, and how requests are spread so that it lasts.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string_view>

namespace quorvel {

/// What the last `X-Rate-Limit` header said, such as "user-hour-lim:3600;user-hour-rem:3599;".
struct ASCRateLimit {
    std::optional<std::int64_t> hourLimit;
    std::optional<std::int64_t> hourRemaining;
    std::optional<std::int64_t> minuteLimit;
    std::optional<std::int64_t> minuteRemaining;
    bool operator==(const ASCRateLimit&) const = default;
};

/// Reads an `X-Rate-Limit` header; nothing when it names no limit that we know.
[[nodiscard]] std::optional<ASCRateLimit> parseRateLimit(std::string_view header);

/// Reads a `Retry-After` header as seconds; nothing when it is no plain decimal number.
[[nodiscard]] std::optional<double> parseRetryAfter(std::string_view header);

/// Seconds that should lie between two requests so that the quota is not used up before it refills: 0 while
/// more than a tenth of it is left, then the pace at which it refills, and slower the less is left.
[[nodiscard]] double paceFor(const ASCRateLimit& limit);

/// Seconds until a tenth of the quota is there again: 0 while it is.
[[nodiscard]] double recoveryOf(const ASCRateLimit& limit);

/// The requests in flight with one key, shared by all clients that use it: at most `width` at once, spread
/// out when the quota runs low. Thread-safe.
class ASCQuota {
  public:
    static constexpr int defaultWidth = 6; // more at once earns random server errors

    explicit ASCQuota(int width = defaultWidth) : free_(width) {}

    /// A place among the requests in flight, given back at the end of its life.
    class [[nodiscard]] Place {
      public:
        explicit Place(ASCQuota& quota);
        ~Place();
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;

      private:
        ASCQuota& quota_;
    };

    void note(const ASCRateLimit& limit);
    [[nodiscard]] std::optional<ASCRateLimit> last() const;
    /// Reserves the next moment to send at, so far behind the one before as the quota asks for, and returns
    /// how many seconds from now that is.
    [[nodiscard]] double
    reserveDelay(std::chrono::steady_clock::time_point now = std::chrono::steady_clock::now());

  private:
    mutable std::mutex mutex_;
    std::condition_variable_any freed_;
    int free_;
    std::optional<ASCRateLimit> last_;
    std::chrono::steady_clock::time_point lastSend_ = std::chrono::steady_clock::time_point::min();
};

} // namespace quorvel
