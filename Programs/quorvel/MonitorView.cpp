#include "Programs/quorvel/MonitorView.h"

#include "Core/build/VersionStateTexts.h"
#include "Core/metadata/MetadataTexts.h"
#include "Core/metadata/PlatformContext.h"
#include "Platform/log/Log.h"
#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/commands/TextReports.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

using Check = ReviewStateMonitor::Check;
using WatchedVersion = ReviewStateMonitor::WatchedVersion;

// The time of today, else the day; in UTC.
std::string moment(Date date, Date now) {
    const std::string text = shortTime(date); // 2026-03-01 12:30Z
    const std::size_t blank = text.find(' ');
    return text.substr(0, blank) == shortTime(now).substr(0, blank) ? text.substr(blank + 1)
                                                                    : text.substr(0, blank);
}

Table firstRows(Table table, std::size_t count) {
    table.rows.resize(std::min(count, table.rows.size()));
    return table;
}

} // namespace

Table reviewTable(const Check& check, Date now) {
    std::vector<WatchedVersion> versions = check.versions;
    std::ranges::stable_partition(versions, [](const WatchedVersion& version) {
        return stateClassOf(version.state) != AppStoreVersionStateClass::live;
    });
    Table table{.columns = {{"App", Table::Align::left, Table::Fit::cut},
                            {"Version"},
                            {"State", Table::Align::left, Table::Fit::cut},
                            {"Since", Table::Align::left, Table::Fit::drop}},
                .rows = {}};
    for (const WatchedVersion& version : versions)
        table.rows.push_back({version.appName,
                              fmt::format("{} {}", platformLabel(version.platform), version.version),
                              {statePill(version.state),
                               isCriticalState(version.state) ? Style::red : styleOfState(version.state)},
                              version.since ? moment(*version.since, now) : "–"});
    return table;
}

std::string reviewLine(const ReviewNotice& notice, Date at) {
    return fmt::format("{}  {} — {}", shortTime(at), notice.title, notice.body);
}

std::vector<ReviewFailure> reviewFailures(const std::vector<ReviewStateMonitor::AppProblem>& failures) {
    std::vector<std::pair<Failure, std::vector<std::string>>> groups;
    for (const auto& problem : failures) {
        auto found = std::ranges::find(groups, problem.failure, &decltype(groups)::value_type::first);
        if (found == groups.end()) found = groups.insert(found, {problem.failure, {}});
        found->second.push_back(problem.appName);
    }
    std::vector<ReviewFailure> all;
    for (const auto& [failure, apps] : groups)
        all.push_back({failure, someOf(apps)});
    return all;
}

MonitorView::MonitorView(Output& output, Form form, Clock clock)
    : output_(output), form_(form), clock_(std::move(clock)) {
    if (form_ == Form::live) // a line between the table's would be drawn over
        setLogSink(LogLevel::warning, [this](const LogLine& line) {
            if (line.level == LogLevel::warning) tell(line.text);
        });
}

MonitorView::~MonitorView() {
    if (form_ == Form::live) setLogSink(LogLevel::error, nullptr);
}

void MonitorView::tell(std::string_view text) {
    const std::lock_guard lock(mutex_);
    add(Sound::note, text);
    draw();
}

void MonitorView::show(const ReviewStateMonitor::State& state) {
    const std::lock_guard lock(mutex_);
    state_ = state;
    if (state.last && state.checks != checksShown_) {
        checksShown_ = state.checks;
        addCheck(*state.last);
    }
    if (form_ == Form::lines && !isAnnounced_ && state.last && state.nextCheckAt) {
        isAnnounced_ = true;
        add(Sound::note, fmt::format("Watching {}; the next check is at {}.",
                                     counted(static_cast<std::size_t>(state.last->appCount), "app"),
                                     shortTime(*state.nextCheckAt)));
    }
    draw();
}

void MonitorView::add(Sound sound, std::string_view text) {
    if (form_ == Form::live)
        events_ += onOneLine(text) + "\n";
    else if (sound == Sound::warning)
        output_.warning(text);
    else
        output_.note(text);
}

void MonitorView::addCheck(const Check& check) {
    for (const ReviewNotice& notice : check.changes) {
        const std::string line = reviewLine(notice, check.checkedAt);
        if (form_ == Form::live)
            events_ += onOneLine(line) + "\n";
        else
            output_.line(line);
        if (notice.programProblem)
            add(Sound::warning,
                fmt::format("The program for \"{}\" {}.", notice.title, *notice.programProblem));
    }
    for (const std::string& problem : check.problems)
        if (problems_.insert(problem).second) add(Sound::warning, problem);
    addFailures(check);
}

// What lasts stands below the table, and is one line elsewhere.
void MonitorView::addFailures(const Check& check) {
    std::map<std::string, std::string> now;
    std::vector<ReviewStateMonitor::AppProblem> fresh;
    for (const auto& problem : check.failures) {
        now[problem.appID] = problem.failure.text;
        const auto before = failures_.find(problem.appID);
        if (before == failures_.end() || before->second != problem.failure.text) fresh.push_back(problem);
    }
    std::size_t recovered = 0;
    for (const auto& [app, text] : failures_)
        if (!now.contains(app)) ++recovered;
    failures_ = std::move(now);
    if (form_ == Form::live) return;
    for (const ReviewFailure& one : reviewFailures(fresh)) {
        const ErrorReport report = reportOf(one.failure);
        add(Sound::warning,
            fmt::format("{}: {}{}{}", one.apps, report.text, report.hint.empty() ? "" : " — ", report.hint));
    }
    if (recovered > 0)
        add(Sound::note, fmt::format("App Store Connect answers again for {}.", counted(recovered, "app")));
}

template <typename Print>
std::string MonitorView::printed(const TerminalSize& size, Print&& print) const {
    std::string text;
    const auto append = [&text](std::string_view more) { text += more; };
    const Streams streams{.out = append,
                          .error = append,
                          .readAll = {},
                          .outIsTerminal = true,
                          .errorIsTerminal = true,
                          .width = size.columns,
                          .terminal = std::nullopt};
    Output output(streams, Output::Form::text, Output::Noise::normal,
                  output_.showsColours() ? Output::Colour::automatic : Output::Colour::never);
    print(output);
    return text;
}

std::string MonitorView::footer() const {
    if (state_.isChecking) return "Checking App Store Connect…";
    if (!state_.last) return "";
    const Date now = clock_();
    std::string text = fmt::format("Checked {}", moment(state_.last->checkedAt, now));
    if (state_.nextCheckAt) text += fmt::format(" · next check {}", moment(*state_.nextCheckAt, now));
    return text + " · Ctrl-C ends";
}

std::string MonitorView::block(const TerminalSize& size) const {
    const Table table = state_.last ? reviewTable(*state_.last, clock_()) : Table{};
    const std::size_t columns = size.columns > 0 ? size.columns : 80;
    std::size_t rows = table.rows.size();
    while (true) {
        const std::string text = printed(size, [&](Output& output) {
            if (rows > 0) output.table(firstRows(table, rows));
            if (rows < table.rows.size())
                output.line(cutToWidth(fmt::format("… and {} more", table.rows.size() - rows), columns));
            if (state_.last)
                for (const ReviewFailure& one : reviewFailures(state_.last->failures))
                    output.line(fmt::format("! {}: {}", one.apps, reportOf(one.failure).text));
            output.styledLine(output.styled(Style::dim, cutToWidth(footer(), columns)));
        });
        const auto lines = static_cast<std::size_t>(std::ranges::count(text, '\n'));
        if (size.lines == 0 || lines < size.lines || rows == 0) return text;
        rows -= std::min(rows, std::max<std::size_t>(1, (lines - size.lines) / 2));
    }
}

void MonitorView::draw() {
    if (form_ != Form::live) return;
    const Streams& streams = output_.streams();
    const TerminalSize size = streams.currentSize ? streams.currentSize() : TerminalSize{streams.width, 0};
    std::string text;
    // A terminal that changed its size has moved the lines: the old table stays.
    if (linesShown_ > 0 && size == sizeShown_) text = fmt::format("\x1b[{}A\r\x1b[J", linesShown_);
    text += wrapLines(std::exchange(events_, {}), size.columns);
    const std::string table = block(size);
    linesShown_ = static_cast<std::size_t>(std::ranges::count(table, '\n'));
    sizeShown_ = size;
    output_.raw(text + table);
}

} // namespace quorvel
