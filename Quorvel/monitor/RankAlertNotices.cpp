#include "Quorvel/monitor/RankAlertNotices.h"

#include "Platform/text/Counted.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace quorvel {

namespace {

using Detector = RankVelocityDetector;

// "<app>|<keyword>|<severity>|<rank>"; the rank is empty for a term that is off the chart.
struct NotifiedAlert {
    std::string app, keyword, severity;
    std::optional<std::int64_t> rank;
};

std::optional<NotifiedAlert> readNotified(std::string_view line) {
    std::string_view parts[4];
    for (std::string_view& part : parts) {
        const std::size_t end = std::min(line.find('|'), line.size());
        part = line.substr(0, end);
        line.remove_prefix(std::min(end + 1, line.size()));
    }
    NotifiedAlert notified{std::string(parts[0]), std::string(parts[1]), std::string(parts[2]), {}};
    std::int64_t rank = 0;
    if (std::from_chars(parts[3].data(), parts[3].data() + parts[3].size(), rank).ec == std::errc())
        notified.rank = rank;
    if (notified.app.empty() || notified.keyword.empty()) return std::nullopt;
    return notified;
}

std::string lineOf(const NotifiedAlert& notified) {
    return fmt::format("{}|{}|{}|{}", notified.app, notified.keyword, notified.severity,
                       notified.rank ? std::to_string(*notified.rank) : "");
}

NotifiedAlert notifiedOf(const ManagedApp& app, const KeywordAlert& alert) {
    return {app.id, alert.keyword.id, std::string(rawValue(alert.alert.severity)), alert.rank};
}

// Whether a term went on falling, or climbing, by enough since it was told of.
bool wentFurther(const NotifiedAlert& told, const NotifiedAlert& now) {
    if (!told.rank || !now.rank) return told.rank.has_value() && !now.rank;
    const std::int64_t fallen = *now.rank - *told.rank;
    const bool isWarning = now.severity == rawValue(Detector::Severity::warning);
    return (isWarning ? fallen : -fallen) >= Detector::leastPlaces;
}

bool isToldBy(const NotifiedAlert& told, const NotifiedAlert& now) {
    return told.keyword == now.keyword && told.severity == now.severity && !wentFurther(told, now);
}

DesktopNotification notificationOf(const ManagedApp& app, const KeywordAlert& alert) {
    return {.id = alert.alert.id,
            .title = fmt::format("{}: {}", app.displayName, alert.alert.summary),
            .body = fmt::format("\"{}\" in {}. {}", alert.keyword.term, alert.keyword.country,
                                alert.alert.detail),
            .group = app.id};
}

DesktopNotification digestOf(const ManagedApp& app, const std::vector<const KeywordAlert*>& alerts) {
    std::size_t falls = 0;
    for (const KeywordAlert* alert : alerts)
        falls += alert->alert.severity == Detector::Severity::warning;
    return {.id = alerts.front()->alert.id,
            .title = fmt::format("{}: {}", app.displayName, counted(alerts.size(), "rank alert")),
            .body = fmt::format("{} fell, {} climbed within a week.", counted(falls, "term"),
                                alerts.size() - falls),
            .group = app.id};
}

} // namespace

RankAlertNotices::Outcome RankAlertNotices::tell(const ManagedApp& app,
                                                 const std::vector<KeywordAlert>& alerts) const {
    std::vector<NotifiedAlert> ofOthers, told;
    for (const std::string& line : defaults_->strings(notifiedKey).value_or(std::vector<std::string>()))
        if (auto one = readNotified(line)) (one->app == app.id ? told : ofOthers).push_back(std::move(*one));
    std::vector<const KeywordAlert*> fresh;
    std::vector<NotifiedAlert> kept;
    for (const KeywordAlert& alert : alerts) {
        const NotifiedAlert now = notifiedOf(app, alert);
        const auto before = std::ranges::find_if(told, [&](const auto& one) { return isToldBy(one, now); });
        if (before == told.end()) fresh.push_back(&alert);
        kept.push_back(before == told.end() ? now : *before);
    }
    Outcome outcome;
    if (!fresh.empty()) {
        std::vector<DesktopNotification> notifications;
        if (fresh.size() > mostSingle)
            notifications.push_back(digestOf(app, fresh));
        else
            for (const KeywordAlert* alert : fresh)
                notifications.push_back(notificationOf(app, *alert));
        const auto shown = notifier_->show(notifications);
        outcome.problem = shown.problem;
        outcome.notified = std::ssize(shown.shown);
        if (fresh.size() > mostSingle && !shown.shown.empty()) outcome.notified = std::ssize(fresh);
    }
    // Also those that could not be shown: they stand in the result, and old news is no help later.
    ofOthers.insert(ofOthers.end(), kept.begin(), kept.end());
    if (ofOthers.size() > mostNotified)
        ofOthers.erase(ofOthers.begin(), ofOthers.end() - static_cast<std::ptrdiff_t>(mostNotified));
    JSONValue::Array lines;
    for (const NotifiedAlert& one : ofOthers)
        lines.emplace_back(lineOf(one));
    defaults_->set(notifiedKey, JSONValue(std::move(lines)));
    return outcome;
}

} // namespace quorvel
