#include "Quorvel/settings/ReviewMonitorSettings.h"

#include <algorithm>

namespace quorvel {

namespace {

constexpr std::string_view enabledKey = "ReviewMonitor.enabled";
constexpr std::string_view intervalKey = "ReviewMonitor.intervalMinutes";
constexpr std::string_view lastCheckKey = "ReviewMonitor.lastCheckAt";
constexpr std::string_view transitionsKey = "ReviewMonitor.notifiedTransitions.v1";
constexpr std::int64_t usualMinutes = 30;
constexpr std::int64_t mostMinutes = 366 * 24 * 60; // far below what a clock holds

} // namespace

std::chrono::minutes reviewCheckInterval(std::optional<std::int64_t> storedMinutes) {
    const std::int64_t minutes = storedMinutes.value_or(0);
    if (minutes < 1) return std::chrono::minutes(usualMinutes);
    return std::chrono::minutes(std::clamp(minutes, ReviewMonitorSettings::leastMinutes, mostMinutes));
}

bool ReviewMonitorSettings::isEnabled() const {
    return defaults_->boolean(enabledKey).value_or(true);
}

std::chrono::minutes ReviewMonitorSettings::interval() const {
    return reviewCheckInterval(defaults_->integer(intervalKey));
}

void ReviewMonitorSettings::setIntervalMinutes(std::int64_t minutes) const {
    defaults_->set(intervalKey, minutes);
}

std::optional<Date> ReviewMonitorSettings::lastCheckAt() const {
    return parseISO8601(defaults_->string(lastCheckKey).value_or(""));
}

void ReviewMonitorSettings::setLastCheckAt(Date date) const {
    defaults_->set(lastCheckKey, formatISO8601(date));
}

std::vector<std::string> ReviewMonitorSettings::notifiedTransitions() const {
    return defaults_->strings(transitionsKey).value_or(std::vector<std::string>());
}

void ReviewMonitorSettings::addNotifiedTransitions(const std::vector<std::string>& keys) const {
    if (keys.empty()) return;
    std::vector<std::string> all = notifiedTransitions();
    for (const std::string& key : keys)
        if (std::ranges::find(all, key) == all.end()) all.push_back(key);
    const std::size_t tooMany = all.size() - std::min(all.size(), mostTransitions);
    JSONValue::Array stored(all.begin() + static_cast<std::ptrdiff_t>(tooMany), all.end());
    defaults_->set(transitionsKey, JSONValue(std::move(stored)));
}

} // namespace quorvel
