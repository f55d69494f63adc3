// Everything that the sandbox plays: its resources, its clock, and what will happen by itself.
#pragma once

#include "Platform/time/Date.h"
#include "Sandbox/resources/Document.h"
#include "Sandbox/resources/Store.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel::sandbox {

class Uploads;

/// Something that the service does on its own after a while.
struct Event {
    double due = 0; // seconds since 1970, on the virtual clock
    std::string action;
    std::string id; // of the resource that it happens to
};

/// How long the service takes, in seconds of the virtual clock, and what it makes of screenshots.
struct Pace {
    double screenshots = 1;
    double visibility = 0; // until lists show what was created
    bool screenshotsFail = false;
    double cancellation = 0; // until a submission that was canceled has left review
};

struct World {
    Store store;
    std::string baseURL;
    std::shared_ptr<Uploads> uploads;
    std::string vendorNumber;
    NullAttributes nulls = NullAttributes::omitted; // of answers
    Pace pace;
    double clockOffset = 0;   // seconds that the virtual clock was advanced
    double clockSkew = 0;     // seconds that the service's clocks differ from this machine's
    double firstSalesDay = 0; // days since 1970
    std::optional<std::filesystem::path> salesFolder; // whose reports are served instead of made-up ones
    std::vector<Event> events;
    std::optional<double> moment; // that an event takes place at, while it is carried out

    /// The virtual clock: the real one, moved on by what tests advanced it.
    [[nodiscard]] Date now() const;
    void after(double seconds, std::string_view action, std::string_view id);
    /// Whether an event of that kind lies ahead for the resource.
    [[nodiscard]] bool expects(std::string_view action, std::string_view id) const;
    void forget(std::string_view action, std::string_view id);
    /// Carries out what is due, in order; whether there was anything.
    bool settle();

    [[nodiscard]] JSONValue document() const;
    void restore(const JSONValue& document);
};

/// A date as the service writes it: with whole seconds and its own offset from UTC.
[[nodiscard]] std::string serviceDate(Date date);
/// The days since 1970 of `date` in UTC.
[[nodiscard]] int dayNumber(Date date);
/// The calendar date of a day since 1970, such as "2026-03-01".
[[nodiscard]] std::string calendarDate(int day);

/// Whether a member of a document is there and true.
[[nodiscard]] inline bool isTrue(const JSONValue* value) {
    return value && value->boolean() && *value->boolean();
}

} // namespace quorvel::sandbox
