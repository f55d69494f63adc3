#include "Core/asc/ASCRateLimit.h"

#include "Platform/task/Task.h"
#include "Platform/text/Decimal.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <charconv>

namespace quorvel {

namespace {

std::optional<std::int64_t> parseCount(std::string_view text) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || value < 0) return std::nullopt;
    return value;
}

constexpr double slowBelow = 0.1; // of the limit
constexpr double slowestFactor = 10;

// What is left of a window's quota, as a part of it.
double partLeft(std::optional<std::int64_t> limit, std::optional<std::int64_t> remaining) {
    if (!limit || !remaining || *limit <= 0) return 1;
    return static_cast<double>(*remaining) / static_cast<double>(*limit);
}

double paceOf(std::optional<std::int64_t> limit, std::optional<std::int64_t> remaining,
              double windowSeconds) {
    const double left = partLeft(limit, remaining);
    if (left >= slowBelow) return 0;
    const double refillPace = windowSeconds / static_cast<double>(*limit);
    return refillPace * std::min(slowBelow / std::max(left, 1e-9), slowestFactor);
}

} // namespace

std::optional<ASCRateLimit> parseRateLimit(std::string_view header) {
    ASCRateLimit limit;
    while (!header.empty()) {
        const std::size_t end = std::min(header.find(';'), header.size());
        const std::string_view part = trim(header.substr(0, end));
        header.remove_prefix(std::min(end + 1, header.size()));
        const std::size_t colon = part.find(':');
        if (colon == std::string_view::npos) continue;
        const std::string_view name = trim(part.substr(0, colon));
        const auto count = parseCount(trim(part.substr(colon + 1)));
        if (name == "user-hour-lim") limit.hourLimit = count;
        if (name == "user-hour-rem") limit.hourRemaining = count;
        if (name == "user-minute-lim") limit.minuteLimit = count;
        if (name == "user-minute-rem") limit.minuteRemaining = count;
    }
    if (limit == ASCRateLimit{}) return std::nullopt;
    return limit;
}

std::optional<double> parseRetryAfter(std::string_view header) {
    return parseDecimal(trim(header));
}

double paceFor(const ASCRateLimit& limit) {
    return std::max(paceOf(limit.hourLimit, limit.hourRemaining, 3600),
                    paceOf(limit.minuteLimit, limit.minuteRemaining, 60));
}

double recoveryOf(const ASCRateLimit& limit) {
    const auto missing = [](double left) { return std::max(slowBelow - left, 0.0); };
    return std::max(3600 * missing(partLeft(limit.hourLimit, limit.hourRemaining)),
                    60 * missing(partLeft(limit.minuteLimit, limit.minuteRemaining)));
}

ASCQuota::Place::Place(ASCQuota& quota) : quota_(quota) {
    std::unique_lock lock(quota_.mutex_);
    if (!quota_.freed_.wait(lock, currentStopToken(), [&] { return quota_.free_ > 0; }))
        throw CancellationError();
    --quota_.free_;
}

ASCQuota::Place::~Place() {
    {
        const std::lock_guard lock(quota_.mutex_);
        ++quota_.free_;
    }
    quota_.freed_.notify_one();
}

void ASCQuota::note(const ASCRateLimit& limit) {
    const std::lock_guard lock(mutex_);
    last_ = limit;
}

std::optional<ASCRateLimit> ASCQuota::last() const {
    const std::lock_guard lock(mutex_);
    return last_;
}

double ASCQuota::reserveDelay(std::chrono::steady_clock::time_point now) {
    const std::lock_guard lock(mutex_);
    const double pace = last_ ? paceFor(*last_) : 0;
    const auto earliest = pace > 0
                              ? lastSend_ + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                                std::chrono::duration<double>(pace))
                              : now;
    lastSend_ = std::max(earliest, now);
    return std::chrono::duration<double>(lastSend_ - now).count();
}

} // namespace quorvel
