#include "Platform/time/Date.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace quorvel {
namespace {

using namespace std::chrono_literals;

std::optional<double> seconds(std::string_view text) {
    const auto date = parseISO8601(text);
    return date ? std::optional(secondsSince1970(*date)) : std::nullopt;
}

TEST(Date, readsISO8601WithZonesAndFractions) {
    const std::vector<std::pair<const char*, double>> table = {
        {"1970-01-01T00:00:00Z", 0},
        {"2026-03-01T12:30:00Z", 1772368200},
        {"2026-03-01T12:30:00+0000", 1772368200},
        {"2026-03-01T12:30:00-00:00", 1772368200},
        {"2026-03-01T05:30:00-07:00", 1772368200},
        {"2026-03-01T18:00:00+05:30", 1772368200},
        {"2026-03-01T14:30:00+02", 1772368200},
        {"2026-03-01t12:30:00z", 1772368200},
        {"2026-03-01T12:30:00.5Z", 1772368200.5},
        {"2026-03-01T12:30:00.250000000000-00:00", 1772368200.25},
        {"2024-02-29T23:59:60Z", 1709251200}, // a leap second
        {"1969-12-31T23:59:59.75Z", -0.25},
        {"2026-01-01T00:30:00+01:00", 1767223800},
    };
    for (const auto& [text, expected] : table)
        EXPECT_EQ(seconds(text), expected) << text;
}

TEST(Date, refusesWhatIsNoISO8601Date) {
    for (const char* text : {"",
                             "2026-03-01",
                             "2026-03-01T12:30:00",
                             "2026-03-01 12:30:00Z",
                             "2026-03-01T12:30Z",
                             "2026-3-1T12:30:00Z",
                             "2026-02-29T00:00:00Z",
                             "2026-13-01T00:00:00Z",
                             "2026-00-01T00:00:00Z",
                             "2026-04-31T00:00:00Z",
                             "2026-03-01T24:00:00Z",
                             "2026-03-01T12:60:00Z",
                             "2026-03-01T12:30:61Z",
                             "2026-03-01T12:30:00.Z",
                             "2026-03-01T12:30:00Z ",
                             " 2026-03-01T12:30:00Z",
                             "2026-03-01T12:30:00+1",
                             "2026-03-01T12:30:00+25:00",
                             "2026-03-01T12:30:00+01:60",
                             "2026-03-01T12:30:00+01:",
                             "2026-03-01T12:30:00 Z",
                             "+026-03-01T12:30:00Z",
                             "12026-03-01T12:30:00Z",
                             "2026-03-01T-1:30:00Z",
                             "0001-01-01T00:00:00Z",
                             "9999-12-31T23:59:59Z",
                             "٢٠٢٦-03-01T12:30:00Z"})
        EXPECT_FALSE(parseISO8601(text)) << text;
}

TEST(Date, writesBothFormsOfWhatItReads) {
    for (const char* text : {"1970-01-01T00:00:00Z", "2000-02-29T23:59:59Z", "1969-07-20T20:17:40Z",
                             "2100-03-01T00:00:00Z", "2026-12-31T09:05:07Z"}) {
        const auto date = parseISO8601(text);
        ASSERT_TRUE(date) << text;
        EXPECT_EQ(formatISO8601(*date), text);
        EXPECT_EQ(parseHTTPDate(formatHTTPDate(*date)), date) << formatHTTPDate(*date);
    }
    EXPECT_EQ(formatHTTPDate(dateFromSecondsSince1970(784111777)), "Sun, 06 Nov 1994 08:49:37 GMT");
    // Fractions are cut downwards, before 1970 too.
    EXPECT_EQ(formatISO8601(Date(1999ms)), "1970-01-01T00:00:01Z");
    EXPECT_EQ(formatISO8601(Date(-1ms)), "1969-12-31T23:59:59Z");
}

TEST(Date, refusesWhatIsNoHTTPDate) {
    for (const char* text :
         {"", "Sunday, 06-Nov-94 08:49:37 GMT", "Sun Nov  6 08:49:37 1994", "Sun, 6 Nov 1994 08:49:37 GMT",
          "Sun, 06 Nov 1994 08:49:37 UTC", "Sun, 31 Feb 1994 08:49:37 GMT", "Sun, 06 nov 1994 08:49:37 GMT",
          "Sun, 06 Nov 1994 08:49:37 GMT+1", "120", "Sun, 06 Nov 1994 25:49:37 GMT"})
        EXPECT_FALSE(parseHTTPDate(text)) << text;
}

TEST(Date, convertsSecondsWithoutLosingOrOverflowing) {
    for (const double value : {0.0, 0.5, -0.25, 1772368200.125, -62135.75, 1e9})
        EXPECT_EQ(secondsSince1970(dateFromSecondsSince1970(value)), value);
    // What the clock cannot hold becomes its nearest date instead of wrapping round.
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_GT(dateFromSecondsSince1970(1e300), dateFromSecondsSince1970(9e9));
    EXPECT_EQ(dateFromSecondsSince1970(infinity), dateFromSecondsSince1970(1e300));
    EXPECT_LT(dateFromSecondsSince1970(-infinity), dateFromSecondsSince1970(-9e9));
    EXPECT_EQ(dateFromSecondsSince1970(std::nan("")), Date());
}

} // namespace
} // namespace quorvel
