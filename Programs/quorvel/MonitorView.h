// Shows what the review state monitor does.
#pragma once

#include "Platform/time/Date.h"
#include "Programs/quorvel/Output.h"
#include "Quorvel/monitor/ReviewStateMonitor.h"

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace quorvel {

/// The versions with their states, those that are on their way before those on sale.
[[nodiscard]] Table reviewTable(const ReviewStateMonitor::Check& check, Date now);
/// "2026-03-01 12:30Z  Kontor 1.2 · in review — …"
[[nodiscard]] std::string reviewLine(const ReviewNotice& notice, Date at);
/// "Kontor, Tides and 3 more: the key was refused", one for each failure.
struct ReviewFailure {
    Failure failure;
    std::string apps;
};
[[nodiscard]] std::vector<ReviewFailure>
reviewFailures(const std::vector<ReviewStateMonitor::AppProblem>& failures);

/// On a terminal a table that is drawn again in place, under the lines of what happened; elsewhere the lines
/// alone. Each lasting trouble is told once. Thread-safe.
class MonitorView {
  public:
    enum class Form { live, lines };

    MonitorView(Output& output, Form form, Clock clock);
    ~MonitorView();
    MonitorView(const MonitorView&) = delete;
    MonitorView& operator=(const MonitorView&) = delete;

    void show(const ReviewStateMonitor::State& state);
    /// A line about something that happened.
    void tell(std::string_view text);

  private:
    enum class Sound { note, warning };
    void add(Sound sound, std::string_view text);
    void addCheck(const ReviewStateMonitor::Check& check);
    void addFailures(const ReviewStateMonitor::Check& check);
    void draw();
    [[nodiscard]] std::string block(const TerminalSize& size) const;
    [[nodiscard]] std::string footer() const;
    template <typename Print>
    [[nodiscard]] std::string printed(const TerminalSize& size, Print&& print) const;

    Output& output_;
    const Form form_;
    const Clock clock_;
    std::mutex mutex_; // guards all below
    ReviewStateMonitor::State state_;
    std::int64_t checksShown_ = 0;
    bool isAnnounced_ = false;
    std::string events_;                          // for above the table
    std::map<std::string, std::string> failures_; // of the last check, by app
    std::set<std::string> problems_;              // that were told
    std::size_t linesShown_ = 0;
    TerminalSize sizeShown_;
};

} // namespace quorvel
