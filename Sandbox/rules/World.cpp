#include "Sandbox/rules/World.h"

#include "Sandbox/rules/Events.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace quorvel::sandbox {
namespace {

double number(const JSONValue* value) {
    if (value && value->integer()) return static_cast<double>(*value->integer());
    const double* real = value ? std::get_if<double>(&value->value) : nullptr;
    return real ? *real : 0;
}

std::string string(const JSONValue* value) {
    return value && value->text() ? *value->text() : "";
}

/// Replaces the address that the service had in an earlier run, wherever it stands.
void readdress(JSONValue& value, const std::string& before, const std::string& after) {
    if (auto* text = std::get_if<std::string>(&value.value); text && text->starts_with(before + "/"))
        text->replace(0, before.size(), after);
    if (auto* items = value.items())
        for (JSONValue& item : *items)
            readdress(item, before, after);
    if (auto* members = value.members())
        for (auto& [name, member] : *members)
            readdress(member, before, after);
}

} // namespace

Date World::now() const {
    if (moment) return dateFromSecondsSince1970(*moment);
    return dateFromSecondsSince1970(secondsSince1970(systemClock()()) + clockSkew + clockOffset);
}

void World::after(double seconds, std::string_view action, std::string_view id) {
    events.push_back({secondsSince1970(now()) + seconds, std::string(action), std::string(id)});
}

bool World::expects(std::string_view action, std::string_view id) const {
    return std::ranges::any_of(events, [&](const Event& e) { return e.action == action && e.id == id; });
}

void World::forget(std::string_view action, std::string_view id) {
    std::erase_if(events, [&](const Event& e) { return e.action == action && e.id == id; });
}

bool World::settle() {
    const double current = secondsSince1970(now());
    bool happened = false;
    while (true) {
        const auto next = std::ranges::min_element(events, {}, &Event::due);
        if (next == events.end() || next->due > current) return happened;
        const Event event = *next;
        events.erase(next);
        moment = event.due; // what follows from it counts from there, however late it is noticed
        carryOut(*this, event);
        moment.reset();
        happened = true;
    }
}

JSONValue World::document() const {
    JSONValue::Array ahead;
    for (const Event& event : events)
        ahead.push_back(JSONValue::object({{"due", event.due}, {"action", event.action}, {"id", event.id}}));
    return JSONValue::object({{"format", 1},
                              {"clockOffset", clockOffset},
                              {"firstSalesDay", firstSalesDay},
                              {"baseURL", baseURL},
                              {"lastOrder", store.lastOrder()},
                              {"events", std::move(ahead)},
                              {"resources", store.document()}});
}

void World::restore(const JSONValue& document) {
    const JSONValue* resources = document.find("resources");
    if (!resources || number(document.find("format")) != 1)
        throw std::runtime_error("The sandbox's state.json is of another form. "
                                 "Delete the state folder to begin with a fresh account.");
    clockOffset = number(document.find("clockOffset"));
    firstSalesDay = number(document.find("firstSalesDay"));
    events.clear();
    if (const JSONValue* ahead = document.find("events"); ahead && ahead->items())
        for (const JSONValue& event : *ahead->items())
            events.push_back(
                {number(event.find("due")), string(event.find("action")), string(event.find("id"))});
    JSONValue moved = *resources;
    readdress(moved, string(document.find("baseURL")), baseURL);
    store.restore(moved, static_cast<std::int64_t>(number(document.find("lastOrder"))));
}

std::string serviceDate(Date date) {
    std::string text =
        formatISO8601(dateFromSecondsSince1970(std::floor(secondsSince1970(date)) - 7 * 3600.0));
    text.pop_back(); // the "Z"
    return text + "-07:00";
}

int dayNumber(Date date) {
    return static_cast<int>(std::floor(secondsSince1970(date) / 86400));
}

std::string calendarDate(int day) {
    return formatISO8601(dateFromSecondsSince1970(day * 86400.0)).substr(0, 10);
}

} // namespace quorvel::sandbox
