// Log lines with a subsystem, a category and a level.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace quorvel {

enum class LogLevel { debug, info, warning, error };

struct LogLine {
    LogLevel level = LogLevel::info;
    std::string subsystem;
    std::string category;
    std::string text;
};

/// Writes the lines of one component. A line carries names and counts, never a secret or a whole text.
/// Values; safe to use from any thread.
class Logger {
  public:
    /// A logger of the program's own subsystem for the component type `category`.
    explicit Logger(std::string_view category);
    Logger(std::string_view subsystem, std::string_view category);

    void debug(std::string_view text) const { write(LogLevel::debug, text); }
    void info(std::string_view text) const { write(LogLevel::info, text); }
    void warning(std::string_view text) const { write(LogLevel::warning, text); }
    void error(std::string_view text) const { write(LogLevel::error, text); }
    /// A warning about something that lasts: told to each sink once, however often it is met.
    void warningOnce(std::string_view text) const;

  private:
    void write(LogLevel level, std::string_view text) const;
    std::string subsystem_;
    std::string category_;
};

/// Where lines of at least `minimum` go, for the whole program. Until a main sets one, lines go nowhere.
void setLogSink(LogLevel minimum, std::function<void(const LogLine&)> sink);

/// Lines on standard error: "09:41:07 warning ASCClient: …", control characters escaped.
void logToStandardError(LogLevel minimum);

/// Puts a sink in place while it lives, then the one before.
class LogCapture {
  public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    /// All lines so far, one per line of text.
    [[nodiscard]] std::string text() const;

  private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace quorvel
