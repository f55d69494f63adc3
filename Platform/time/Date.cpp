#include "Platform/time/Date.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <span>

namespace quorvel {

namespace {

using namespace std::chrono;

constexpr std::array<std::string_view, 7> weekdayNames = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<std::string_view, 12> monthNames = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                         "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// A date and time of day in UTC with whole seconds.
struct Fields {
    year_month_day day;
    hh_mm_ss<seconds> time;
};

Fields fieldsOf(Date date) {
    const auto whole = floor<seconds>(date);
    const auto midnight = floor<days>(whole);
    return {year_month_day(midnight), hh_mm_ss<seconds>(whole - midnight)};
}

// Takes a text from its start; once something did not fit, nothing fits any more.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    [[nodiscard]] bool atEnd() const { return fits_ && rest_.empty(); }

    bool skip(std::string_view anyOf) {
        if (!fits_ || rest_.empty() || anyOf.find(rest_.front()) == std::string_view::npos) return false;
        rest_.remove_prefix(1);
        return true;
    }
    void require(std::string_view anyOf) { fits_ = skip(anyOf); }

    void requireText(std::string_view text) {
        fits_ = fits_ && rest_.substr(0, text.size()) == text;
        if (fits_) rest_.remove_prefix(text.size());
    }

    [[nodiscard]] std::string_view digits() {
        const auto end = std::find_if_not(rest_.begin(), rest_.end(), isDigit);
        const auto run = rest_.substr(0, static_cast<std::size_t>(end - rest_.begin()));
        rest_.remove_prefix(run.size());
        return run;
    }

    // Exactly `width` digits as a number up to `maximum`.
    int number(std::size_t width, int maximum) {
        int value = 0;
        for (std::size_t at = 0; at < width; ++at) {
            fits_ = fits_ && !rest_.empty() && isDigit(rest_.front());
            if (!fits_) return 0;
            value = value * 10 + (rest_.front() - '0');
            rest_.remove_prefix(1);
        }
        fits_ = value <= maximum;
        return value;
    }

    // One of `names`, each three letters; its index.
    std::size_t name(std::span<const std::string_view> names) {
        const auto found = std::ranges::find(names, rest_.substr(0, 3));
        fits_ = fits_ && found != names.end();
        if (fits_) rest_.remove_prefix(3);
        return static_cast<std::size_t>(found - names.begin());
    }

    void fail() { fits_ = false; }

  private:
    static bool isDigit(char character) { return character >= '0' && character <= '9'; }

    std::string_view rest_;
    bool fits_ = true;
};

// A leap second counts as the first second of the next minute.
seconds timeOfDay(Scanner& scanner) {
    const int hour = scanner.number(2, 23);
    scanner.require(":");
    const int minute = scanner.number(2, 59);
    scanner.require(":");
    const int second = scanner.number(2, 60);
    return hours(hour) + minutes(minute) + seconds(second);
}

Date::duration fraction(std::string_view digits) {
    std::int64_t value = 0;
    for (std::size_t at = 0; at < 9; ++at)
        value = value * 10 + (at < digits.size() ? digits[at] - '0' : 0);
    return floor<Date::duration>(nanoseconds(value));
}

minutes zoneOffset(Scanner& scanner) {
    if (scanner.skip("Zz")) return minutes(0);
    const bool east = scanner.skip("+");
    if (!east) scanner.require("-");
    const int hour = scanner.number(2, 23);
    const bool hasMinutes = scanner.skip(":") || !scanner.atEnd();
    const minutes offset = hours(hour) + minutes(hasMinutes ? scanner.number(2, 59) : 0);
    return east ? offset : -offset;
}

// A day far enough inside the clock's range that a time of day and a zone cannot leave it.
std::optional<Date> dateAt(year_month_day day) {
    constexpr auto first = ceil<days>(Date::min()) + days(2);
    constexpr auto last = floor<days>(Date::max()) - days(2);
    if (!day.ok() || sys_days(day) < first || sys_days(day) > last) return std::nullopt;
    return Date(sys_days(day));
}

} // namespace

Clock systemClock() {
    return [] { return system_clock::now(); };
}

Date dateFromSecondsSince1970(double seconds) {
    using Seconds = duration<double>;
    constexpr double limit = duration_cast<Seconds>(Date::max().time_since_epoch()).count() - 1;
    if (std::isnan(seconds)) return Date();
    const double clamped = std::clamp(seconds, -limit, limit);
    // Whole seconds apart, so that their exactness does not depend on the fraction's rounding.
    const double whole = std::floor(clamped);
    return Date(std::chrono::seconds(static_cast<std::int64_t>(whole)) +
                round<Date::duration>(Seconds(clamped - whole)));
}

double secondsSince1970(Date date) {
    const auto whole = floor<seconds>(date.time_since_epoch());
    return static_cast<double>(whole.count()) + duration<double>(date.time_since_epoch() - whole).count();
}

std::string formatISO8601(Date date) {
    const Fields fields = fieldsOf(date);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", int(fields.day.year()),
                       unsigned(fields.day.month()), unsigned(fields.day.day()), fields.time.hours().count(),
                       fields.time.minutes().count(), fields.time.seconds().count());
}

std::optional<Date> parseISO8601(std::string_view text) {
    Scanner scanner(text);
    const int yearNumber = scanner.number(4, 9999);
    scanner.require("-");
    const int monthNumber = scanner.number(2, 12);
    scanner.require("-");
    const int dayNumber = scanner.number(2, 31);
    scanner.require("Tt");
    const seconds time = timeOfDay(scanner);
    std::string_view fractionDigits;
    if (scanner.skip(".")) {
        fractionDigits = scanner.digits();
        if (fractionDigits.empty()) scanner.fail();
    }
    const minutes offset = zoneOffset(scanner);
    if (!scanner.atEnd()) return std::nullopt;
    const auto date = dateAt(year(yearNumber) / monthNumber / dayNumber);
    if (!date) return std::nullopt;
    return *date + time - offset + fraction(fractionDigits);
}

std::string formatHTTPDate(Date date) {
    const Fields fields = fieldsOf(date);
    return fmt::format(
        "{}, {:02} {} {:04} {:02}:{:02}:{:02} GMT", weekdayNames[weekday(sys_days(fields.day)).c_encoding()],
        unsigned(fields.day.day()), monthNames[unsigned(fields.day.month()) - 1], int(fields.day.year()),
        fields.time.hours().count(), fields.time.minutes().count(), fields.time.seconds().count());
}

std::optional<Date> parseHTTPDate(std::string_view text) {
    Scanner scanner(text);
    scanner.name(weekdayNames);
    scanner.requireText(", ");
    const int dayNumber = scanner.number(2, 31);
    scanner.requireText(" ");
    const auto monthIndex = static_cast<unsigned>(scanner.name(monthNames));
    scanner.requireText(" ");
    const int yearNumber = scanner.number(4, 9999);
    scanner.requireText(" ");
    const seconds time = timeOfDay(scanner);
    scanner.requireText(" GMT");
    if (!scanner.atEnd()) return std::nullopt;
    const auto date = dateAt(year(yearNumber) / static_cast<int>(monthIndex + 1) / dayNumber);
    if (!date) return std::nullopt;
    return *date + time;
}

} // namespace quorvel
