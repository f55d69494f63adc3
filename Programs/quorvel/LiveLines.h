// Shows a job that prints lines for a long time.
#pragma once

#include "Programs/quorvel/Seconds.h"
#include "Programs/quorvel/Surroundings.h"

#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace quorvel {

/// On a terminal one line with the stage, the time that it takes and the last line, drawn again in place at
/// least each second; elsewhere every line, and a mark where a stage begins. Thread-safe; nothing else is to
/// be printed while it lives.
class LiveLines {
  public:
    enum class Form { live, lines, silent };

    /// The lines of the stages in `kept` stay on the terminal, too.
    LiveLines(const Streams& streams, Form form, std::vector<std::string_view> kept = {},
              Seconds seconds = steadySeconds);
    ~LiveLines(); // clears the line
    LiveLines(const LiveLines&) = delete;
    LiveLines& operator=(const LiveLines&) = delete;

    void line(const std::string& stage, const std::string& text);

    /// The line as it stands, at most `width` cells wide.
    [[nodiscard]] std::string drawn(std::size_t width) const;

  private:
    void enter(const std::string& stage);
    void print(const std::string& text);
    void redraw(bool now);
    void clear();
    void tick();
    [[nodiscard]] std::string current(std::size_t width) const;

    const Streams& streams_;
    const Form form_;
    const std::vector<std::string_view> kept_;
    const Seconds seconds_;
    mutable std::mutex mutex_; // guards all below
    std::optional<std::string> stage_;
    std::string last_;
    double stageBegan_ = 0;
    double lastDrawn_ = -1;
    bool isShown_ = false;
    bool hasEnded_ = false;
    std::condition_variable ended_;
    std::thread ticker_; // keeps the time going while nothing is printed
};

/// "0:07", "12:03", "1:02:03".
[[nodiscard]] std::string elapsedText(double seconds);

} // namespace quorvel
