// Points in time and their textual forms.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

using Date = std::chrono::system_clock::time_point;

/// The source of the current time; injected so that tests can fix it.
using Clock = std::function<Date()>;

/// Returns the system's clock.
[[nodiscard]] Clock systemClock();

[[nodiscard]] Date dateFromSecondsSince1970(double seconds);
[[nodiscard]] double secondsSince1970(Date date);

/// Writes `date` as ISO 8601 in UTC with whole seconds, such as "2026-03-01T12:30:00Z".
[[nodiscard]] std::string formatISO8601(Date date);

/// Reads an ISO 8601 date and time with "Z" or an offset ("+0000", "-07:00") and optional fractional seconds;
/// nothing when the text is no such date.
[[nodiscard]] std::optional<Date> parseISO8601(std::string_view text);

/// Writes `date` as an HTTP date, such as "Sun, 06 Nov 1994 08:49:37 GMT" (RFC 9110, section 5.6.7).
[[nodiscard]] std::string formatHTTPDate(Date date);

/// Reads the preferred form of an HTTP date; nothing when the text is no such date.
[[nodiscard]] std::optional<Date> parseHTTPDate(std::string_view text);

} // namespace quorvel
