#include "Platform/json/JSON.h"
#include "Sandbox/relay/Relay.h"
#include "Sandbox/rules/World.h"

namespace quorvel::sandbox {
namespace {

constexpr std::pair<std::string_view, double> rates[] = {
    {"AUD", 1.7684}, {"BRL", 6.2817}, {"CAD", 1.6142}, {"CHF", 0.9371}, {"CNY", 8.1925},  {"CZK", 24.38},
    {"DKK", 7.4685}, {"GBP", 0.8719}, {"HKD", 9.0627}, {"HUF", 388.15}, {"IDR", 19384},   {"ILS", 3.8241},
    {"INR", 103.27}, {"JPY", 178.46}, {"KRW", 1687.3}, {"MXN", 21.364}, {"MYR", 4.8233},  {"NOK", 11.7325},
    {"NZD", 2.0411}, {"PHP", 68.347}, {"PLN", 4.2488}, {"RON", 5.0874}, {"SEK", 10.9215}, {"SGD", 1.5078},
    {"THB", 37.684}, {"TRY", 49.176}, {"USD", 1.1638}, {"ZAR", 20.1273}};

// Rates are published on working days; 1 January 1970 was a Thursday.
int lastWorkingDay(int day) {
    const int weekday = (day + 3) % 7; // 0: Monday
    return weekday > 4 ? day - (weekday - 4) : day;
}

} // namespace

Response exchangeRates(Date now) {
    JSONValue list = JSONValue::object();
    for (const auto& [currency, rate] : rates)
        list.set(currency, rate);
    return {.contentType = "application/json",
            .body = encodeJSON(JSONValue::object({{"base", "EUR"},
                                                  {"date", calendarDate(lastWorkingDay(dayNumber(now)))},
                                                  {"rates", std::move(list)}}))};
}

} // namespace quorvel::sandbox
