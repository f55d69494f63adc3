#include "Core/revenue/ReportingWindow.h"

#include <fmt/format.h>
#include <unicode/timezone.h>

#include <chrono>
#include <cmath>
#include <memory>

namespace quorvel {

namespace {

// The calendar day in Los Angeles, as days since 1970.
std::chrono::sys_days dayInLosAngeles(Date now) {
    const std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone("America/Los_Angeles"));
    if (*zone == icu::TimeZone::getUnknown()) throw ReportingWindowError();
    std::int32_t offset = 0;   // milliseconds
    std::int32_t daylight = 0; // milliseconds
    UErrorCode status = U_ZERO_ERROR;
    zone->getOffset(secondsSince1970(now) * 1000, 0, offset, daylight, status);
    if (U_FAILURE(status) != 0) throw ReportingWindowError();
    return std::chrono::floor<std::chrono::days>(now + std::chrono::milliseconds(offset + daylight));
}

std::string textOf(std::chrono::sys_days day) {
    const std::chrono::year_month_day date(day);
    return fmt::format("{:04}-{:02}-{:02}", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
}

} // namespace

ReportingWindow ReportingWindow::lastDays(int count, Date now) {
    constexpr int longest = 366;
    if (count < 1 || count > longest) throw ReportingWindowError();
    const auto today = dayInLosAngeles(now);
    ReportingWindow window;
    for (int back = 2 * count; back >= 1; --back)
        (back > count ? window.previous : window.current).push_back(textOf(today - std::chrono::days(back)));
    return window;
}

} // namespace quorvel
