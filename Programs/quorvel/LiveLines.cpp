#include "Programs/quorvel/LiveLines.h"

#include "Platform/text/Text.h"
#include "Programs/quorvel/Table.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

namespace quorvel {

namespace {

constexpr double liveRedrawPause = 0.1; // seconds
constexpr std::size_t usualLiveWidth = 79;

} // namespace

std::string elapsedText(double seconds) {
    const auto whole = static_cast<std::int64_t>(std::max(0.0, seconds));
    if (whole < 3600) return fmt::format("{}:{:02}", whole / 60, whole % 60);
    return fmt::format("{}:{:02}:{:02}", whole / 3600, whole % 3600 / 60, whole % 60);
}

LiveLines::LiveLines(const Streams& streams, Form form, std::vector<std::string_view> kept, Seconds seconds)
    : streams_(streams), form_(form), kept_(std::move(kept)), seconds_(std::move(seconds)) {
    if (form_ == Form::live) ticker_ = std::thread([this] { tick(); });
}

LiveLines::~LiveLines() {
    {
        const std::lock_guard lock(mutex_);
        hasEnded_ = true;
        clear();
    }
    ended_.notify_all();
    if (ticker_.joinable()) ticker_.join();
}

void LiveLines::line(const std::string& stage, const std::string& text) {
    if (form_ == Form::silent) return;
    const std::lock_guard lock(mutex_);
    const bool begins = stage != stage_;
    if (begins) enter(stage);
    if (form_ == Form::lines) return print(text);
    const bool isKept = std::ranges::find(kept_, stage) != kept_.end();
    if (isKept) print(text);
    last_ = isKept ? "" : text;
    redraw(begins || isKept);
}

void LiveLines::enter(const std::string& stage) {
    const double now = seconds_();
    if (form_ == Form::lines)
        print(fmt::format("== {} ==", stage));
    else if (stage_ && std::ranges::find(kept_, *stage_) == kept_.end())
        print(fmt::format("{} took {}", *stage_, elapsedText(now - stageBegan_)));
    stage_ = stage;
    stageBegan_ = now;
    last_.clear();
}

// A text of several lines stays one; what a tool prints moves no cursor.
void LiveLines::print(const std::string& text) {
    clear();
    std::string_view rest = text;
    while (true) {
        const std::size_t end = rest.find('\n');
        streams_.error(escapeControls(rest.substr(0, end)) + "\n");
        if (end == std::string_view::npos) return;
        rest.remove_prefix(end + 1);
    }
}

std::string LiveLines::drawn(std::size_t width) const {
    const std::lock_guard lock(mutex_);
    return current(width);
}

std::string LiveLines::current(std::size_t width) const {
    return cutToWidth(fmt::format("{} {}  {}", stage_.value_or(""), elapsedText(seconds_() - stageBegan_),
                                  onOneLine(last_.substr(0, 1000))),
                      width);
}

void LiveLines::redraw(bool now) {
    if (form_ != Form::live || !stage_) return;
    const double moment = seconds_();
    if (!now && lastDrawn_ >= 0 && moment - lastDrawn_ < liveRedrawPause) return;
    lastDrawn_ = moment;
    streams_.error("\r\x1b[K" + current(streams_.width ? streams_.width - 1 : usualLiveWidth));
    isShown_ = true;
}

void LiveLines::clear() {
    if (!isShown_) return;
    streams_.error("\r\x1b[K");
    isShown_ = false;
}

void LiveLines::tick() {
    std::unique_lock lock(mutex_);
    while (!ended_.wait_for(lock, std::chrono::seconds(1), [this] { return hasEnded_; }))
        redraw(true);
}

} // namespace quorvel
