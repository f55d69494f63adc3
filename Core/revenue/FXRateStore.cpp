#include "Core/revenue/FXRateStore.h"

#include "Platform/task/Task.h"

#include <fmt/format.h>

#include <stdexcept>

namespace quorvel {

namespace {

constexpr std::string_view cacheKey = "FXRates.cache.v1";
constexpr std::uint64_t largestAnswer = 1 << 20;

} // namespace

FXRateStore::FXRateStore(Parts parts) : parts_(std::move(parts)) {}

std::optional<FXRateStore::Cache> FXRateStore::kept() const {
    const auto text = parts_.defaults->string(cacheKey);
    if (!text) return std::nullopt;
    try {
        return decodeJSON<Cache>(*text);
    } catch (const JSONError&) {
        return std::nullopt;
    }
}

std::optional<FXRates> FXRateStore::rates() const {
    if (auto cache = kept()) return std::move(cache->rates);
    return std::nullopt;
}

std::optional<Date> FXRateStore::fetchedAt() const {
    if (const auto cache = kept()) return cache->fetchedAt;
    return std::nullopt;
}

std::optional<std::string> FXRateStore::lastError() const {
    const std::lock_guard lock(mutex_);
    return lastError_;
}

std::optional<FXRates> FXRateStore::current() {
    const auto fetched = fetchedAt();
    const Date now = parts_.clock();
    // A time in the future was kept by a clock that was wrong.
    if (!fetched || now - *fetched > maximumAge || *fetched > now) refresh();
    return rates();
}

void FXRateStore::refresh() {
    std::optional<std::promise<void>> own;
    std::shared_future<void> wait;
    {
        const std::lock_guard lock(mutex_);
        if (!inFlight_) inFlight_ = own.emplace().get_future().share();
        wait = *inFlight_;
    }
    if (!own) return wait.wait();
    std::optional<std::string> problem;
    std::exception_ptr cancelled;
    try {
        fetch();
    } catch (const CancellationError&) {
        cancelled = std::current_exception();
    } catch (const std::exception& error) {
        problem = error.what();
        logger_.warning(fmt::format("FX refresh failed: {}", error.what()));
    }
    {
        const std::lock_guard lock(mutex_);
        inFlight_.reset();
        lastError_ = problem;
    }
    own->set_value();
    if (cancelled) std::rethrow_exception(cancelled);
}

void FXRateStore::fetch() const {
    if (parts_.relayURL.empty()) throw std::runtime_error("no service of exchange rates is configured");
    HTTPRequest request{.url = parts_.relayURL + (parts_.relayURL.ends_with('/') ? "fx" : "/fx"),
                        .headers = {{"Accept", "application/json"}}};
    request.maximumBodyBytes = largestAnswer;
    const HTTPResponse response = parts_.http->send(request);
    if (response.status != 200)
        throw std::runtime_error(fmt::format("the service answered {}", response.status));
    auto rates = decodeJSON<FXRates>(response.body);
    if (rates.rates.empty()) throw std::runtime_error("the service named no rates");
    rates.rates.try_emplace(rates.base, 1); // sums in the base would not be converted otherwise
    parts_.defaults->set(cacheKey, JSONValue(encodeJSON(Cache{parts_.clock(), std::move(rates)})));
}

} // namespace quorvel
