// Any bytes as the headers that steer retries: a wait is never negative, a count never below zero.
#include "Core/asc/ASCRateLimit.h"
#include "Platform/time/Date.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace quorvel;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (const auto seconds = parseRetryAfter(text); seconds && !(*seconds >= 0 && std::isfinite(*seconds)))
        std::abort();
    if (const auto limit = parseRateLimit(text)) {
        for (const auto& count :
             {limit->hourLimit, limit->hourRemaining, limit->minuteLimit, limit->minuteRemaining})
            if (count && *count < 0) std::abort();
        if (!(paceFor(*limit) >= 0 && std::isfinite(paceFor(*limit)))) std::abort();
    }
    if (const auto date = parseHTTPDate(text); date && parseHTTPDate(formatHTTPDate(*date)) != date)
        std::abort();
    (void)parseISO8601(text);
    return 0;
}
