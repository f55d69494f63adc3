#include "Programs/quorvel/TransferBars.h"

#include "Platform/text/Text.h"
#include "Programs/quorvel/Table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace quorvel {

namespace {

constexpr double redrawPause = 0.1; // seconds
constexpr std::size_t barCells = 20;
constexpr std::size_t widthOfNoTerminal = 79;

std::string bar(std::uint64_t sent, std::uint64_t total) {
    const double share =
        total == 0 ? 1 : std::min(1.0, static_cast<double>(sent) / static_cast<double>(total));
    const auto filled = static_cast<std::size_t>(share * static_cast<double>(barCells));
    return fmt::format("[{}{}] {:3.0f} %", std::string(filled, '#'), std::string(barCells - filled, '-'),
                       std::floor(share * 100));
}

std::string duration(double seconds) {
    const auto whole = static_cast<std::int64_t>(std::ceil(seconds));
    if (whole < 60) return fmt::format("{} s", whole);
    if (whole < 3600) return fmt::format("{} min {} s", whole / 60, whole % 60);
    return fmt::format("{} h {} min", whole / 3600, whole % 3600 / 60);
}

} // namespace

std::string byteCount(std::uint64_t bytes) {
    if (bytes < 1000) return fmt::format("{} B", bytes);
    double amount = static_cast<double>(bytes) / 1000;
    for (const char* unit : {"kB", "MB"}) {
        if (amount < 999.95) return fmt::format("{:.1f} {}", amount, unit);
        amount /= 1000;
    }
    return fmt::format("{:.1f} GB", amount);
}

TransferBars::TransferBars(const Streams& streams, Form form, std::size_t files, std::uint64_t bytes,
                           Seconds seconds)
    : streams_(streams),
      form_(form),
      files_(files),
      bytes_(bytes),
      seconds_(std::move(seconds)),
      began_(seconds_()) {}

TransferBars::~TransferBars() {
    const std::lock_guard lock(mutex_);
    clear();
}

void TransferBars::running(const std::string& file, std::uint64_t sent, std::uint64_t total) {
    const std::lock_guard lock(mutex_);
    running_[file] = {sent, total};
    redraw(false);
}

void TransferBars::finished(const std::string& file, std::uint64_t total) {
    end(file, total, fmt::format("Uploaded {} ({})", escapeControls(file), byteCount(total)));
}

void TransferBars::failed(const std::string& file) {
    end(file, 0, "FAILED " + escapeControls(file));
}

void TransferBars::stage(const std::string& text) {
    const std::lock_guard lock(mutex_);
    stage_ = text;
    redraw(ended_ == files_); // nothing may come after it for a long time
}

void TransferBars::end(const std::string& file, std::uint64_t bytes, const std::string& line) {
    const std::lock_guard lock(mutex_);
    running_.erase(file);
    ++ended_;
    endedBytes_ += bytes;
    if (form_ == Form::lines) streams_.error(fmt::format("{}, {} of {} files\n", line, ended_, files_));
    redraw(ended_ == files_);
}

std::vector<std::string> TransferBars::lines(std::size_t width) const {
    const std::lock_guard lock(mutex_);
    return drawn(width);
}

std::vector<std::string> TransferBars::drawn(std::size_t width) const {
    std::vector<std::string> lines;
    if (!stage_.empty()) lines.push_back(stage_);
    for (const auto& [file, state] : running_)
        lines.push_back(fmt::format("{} {} of {}  {}", bar(state.sent, state.total), byteCount(state.sent),
                                    byteCount(state.total), escapeControls(file)));
    lines.push_back(totalLine());
    for (std::string& line : lines)
        line = cutToWidth(line, width);
    return lines;
}

std::string TransferBars::totalLine() const {
    std::uint64_t sent = endedBytes_;
    for (const auto& [file, state] : running_)
        sent += state.sent;
    std::string line = fmt::format("{} {} of {}  {} of {} files", bar(sent, bytes_), byteCount(sent),
                                   byteCount(bytes_), ended_, files_);
    const double elapsed = seconds_() - began_;
    if (elapsed < redrawPause || sent == 0) return line;
    const double rate = static_cast<double>(sent) / elapsed;
    line += fmt::format("  {}/s", byteCount(static_cast<std::uint64_t>(rate)));
    if (sent < bytes_) line += fmt::format("  {} left", duration(static_cast<double>(bytes_ - sent) / rate));
    return line;
}

void TransferBars::redraw(bool now) {
    if (form_ != Form::bars) return;
    const double moment = seconds_();
    if (!now && lastDrawn_ >= 0 && moment - lastDrawn_ < redrawPause) return;
    lastDrawn_ = moment;
    clear();
    std::string text;
    const auto all = drawn(streams_.width ? streams_.width - 1 : widthOfNoTerminal);
    for (const std::string& line : all)
        text += line + "\n";
    shown_ = all.size();
    streams_.error(text);
}

void TransferBars::clear() {
    if (shown_ == 0) return;
    streams_.error(fmt::format("\x1b[{}A\r\x1b[J", shown_));
    shown_ = 0;
}

} // namespace quorvel
