#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/FindProgram.h"
#include "Programs/quorvel/MonitorView.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/ServiceFiles.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Quorvel/actions/MonitorActions.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

using Check = ReviewStateMonitor::Check;

// A program that is not there is found out now, and not with the first change in some days.
std::optional<std::string> changeProgramOf(const Invocation& invocation) {
    const auto name = invocation.arguments.value("--exec");
    if (!name) return std::nullopt;
    const auto path = findProgram(*name, invocation.surroundings);
    if (path.empty())
        throw UsageError(fmt::format("--exec: {} is no program that can be run", quotedWord(*name)),
                         "It takes the name of one program without arguments; a script of yours can call "
                         "others.");
    return path.native();
}

bool wantsNotifications(const Invocation& invocation) {
    if (invocation.arguments.has("--notify") && invocation.arguments.has("--no-notify"))
        throw UsageError("--notify and --no-notify exclude each other");
    return !invocation.arguments.has("--no-notify");
}

ReviewOutlets outletsOf(Invocation& invocation) {
    ReviewOutlets outlets;
    if (const auto program = changeProgramOf(invocation))
        outlets.program = ChangeProgram{.executable = *program};
    if (wantsNotifications(invocation))
        outlets.notifier = makeDesktopNotifier(
            {.applicationName = "Quorvel", .busAddress = sessionBusAddress(invocation.surroundings.variable)},
            [&application = invocation.application](const std::string& appID) {
                ReviewStateMonitor::selectApp(application, appID);
            });
    return outlets;
}

// As of other commands: what all failures share, or that a part failed.
ExitStatus statusOf(const Check& check) {
    const bool programFailed = std::ranges::any_of(
        check.changes, [](const ReviewNotice& notice) { return notice.programProblem.has_value(); });
    if (check.failures.empty()) return programFailed ? ExitStatus::partlyDone : ExitStatus::done;
    const ExitStatus first = statusOf(check.failures.front().failure.kind);
    const bool isShared = std::ranges::all_of(
        check.failures, [&](const auto& problem) { return statusOf(problem.failure.kind) == first; });
    const bool allFailed = std::ssize(check.failures) == check.appCount;
    return allFailed && isShared ? first : ExitStatus::partlyDone;
}

ExitStatus checkOnce(Invocation& invocation) {
    Output& output = invocation.output;
    const auto outlets = outletsOf(invocation);
    const Check check = [&] {
        OperationProgress progress(output);
        output.progress("Checking App Store Connect…");
        return CheckReviews::perform(invocation.application, requestOf<CheckReviews::Request>(invocation),
                                     progress.actionProgress(), outlets);
    }();
    output.document(check);
    if (output.streams().outIsTerminal) output.table(reviewTable(check, invocation.application.clock()()));
    for (const ReviewNotice& notice : check.changes) {
        output.line(reviewLine(notice, check.checkedAt));
        if (notice.programProblem)
            output.warning(fmt::format("The program for \"{}\" {}.", notice.title, *notice.programProblem));
    }
    for (const std::string& problem : check.problems)
        output.warning(problem);
    for (const ReviewFailure& one : reviewFailures(check.failures)) {
        const ErrorReport report = reportOf(one.failure);
        output.error(fmt::format("{}: {}", one.apps, report.text), report.hint);
    }
    if (check.changes.empty())
        output.note(
            fmt::format("Nothing changed in {}.",
                        counted(static_cast<std::size_t>(check.appCount) - check.failures.size(), "app")));
    return statusOf(check);
}

ExitStatus watch(Invocation& invocation) {
    Output& output = invocation.output;
    const Streams& streams = output.streams();
    if (output.isJSON())
        throw UsageError("--json needs --once", "A monitor that goes on has no one document.");
    const bool isLive = streams.outIsTerminal && streams.takesSequences && !invocation.global.verbose;
    auto request = requestOf<WatchReviews::Request>(invocation);
    request.intervalMinutes = invocation.arguments.number("--interval", 1, WatchReviews::longestMinutes);
    if (request.intervalMinutes.value_or(ReviewMonitorSettings::leastMinutes) <
        ReviewMonitorSettings::leastMinutes)
        output.note(
            fmt::format("Checks are {} minutes apart at least.", ReviewMonitorSettings::leastMinutes));
    MonitorView view(output, isLive ? MonitorView::Form::live : MonitorView::Form::lines,
                     invocation.application.clock());
    auto outlets = outletsOf(invocation);
    outlets.appWasSelected = [&view](const ManagedApp& app) {
        view.tell(
            fmt::format("{}: 'quorvel versions --app {}' shows its versions.", app.displayName, app.slug));
    };
    static_cast<void>(
        WatchReviews::perform(invocation.application, request, {}, outlets,
                              [&view](const ReviewStateMonitor::State& state) { view.show(state); }));
    return ExitStatus::done;
}

// The options that mean the same for the service. Keys are left out: they belong into no such file.
std::vector<std::string> serviceArguments(const Invocation& invocation) {
    std::vector<std::string> words = {"monitor"};
    const auto add = [&](std::string_view option, const std::optional<std::string>& value) {
        if (value) words.insert(words.end(), {std::string(option), *value});
    };
    const auto addPath = [&](std::string_view option, const char* variable) {
        auto value = invocation.arguments.value(option);
        if (!value) value = invocation.surroundings.variable(variable);
        if (value) add(option, (invocation.surroundings.workingFolder / *value).lexically_normal().native());
    };
    addPath("--home", "QUORVEL_HOME");
    addPath("--endpoints", "QUORVEL_ENDPOINTS");
    addPath("--ca-file", "SSL_CERT_FILE");
    for (const std::string_view option : {"--proxy", "--max-wait", "--workspace", "--app", "--interval"})
        add(option, invocation.arguments.value(option));
    add("--exec", changeProgramOf(invocation));
    if (!wantsNotifications(invocation)) words.emplace_back("--no-notify");
    return words;
}

ExitStatus printService(Invocation& invocation) {
    const Surroundings& surroundings = invocation.surroundings;
    if (invocation.output.isJSON()) throw UsageError("--print-service prints no JSON");
    const ServiceCall call{runningProgram(surroundings), serviceArguments(invocation)};
    if (invocation.arguments.value("--print-service") == "launchd") {
        const auto home = surroundings.variable("HOME");
        invocation.output.raw(launchdPropertyList(
            call, home ? std::optional(std::filesystem::path(*home) / "Library/Logs/quorvel-monitor.log")
                       : std::nullopt));
    } else {
        invocation.output.raw(systemdUnit(call));
    }
    if (surroundings.variable("ASC_KEY_ID") || surroundings.variable("APP_STORE_CONNECT_API_KEY_KEY_ID") ||
        invocation.global.keyID)
        invocation.output.warning(
            "the service does not get the key of this call. Store it with 'quorvel auth "
            "set', so that it finds one.");
    return ExitStatus::done;
}

ExitStatus monitorReviews(Invocation& invocation) {
    const Arguments& arguments = invocation.arguments;
    if (arguments.has("--print-service")) {
        if (arguments.has("--once")) throw UsageError("--once and --print-service exclude each other");
        return printService(invocation);
    }
    if (!arguments.has("--once")) return watch(invocation);
    if (arguments.has("--interval")) throw UsageError("--interval has no meaning with --once");
    return checkOnce(invocation);
}

} // namespace

std::vector<Command> monitorCommands() {
    return {
        {.name = "monitor",
         .summary = "Watch the review of all apps and tell what changes",
         .arguments = {{"--once", "", "Check once and end, for a scheduler of your own"},
                       {"--interval", "MINUTES", "Minutes between checks from now on (30); 5 at least"},
                       {"--exec", "PROGRAM", "Run this program for each change, which it reads as JSON"},
                       {"--notify", "", "Show changes on the desktop; so it is by itself"},
                       {"--no-notify", "", "Show nothing on the desktop"},
                       {"--print-service",
                        "SYSTEM",
                        "Print the file that starts the monitor at each login, and do nothing else",
                        {"systemd", "launchd"}}},
         .heeds = {"--app", "--workspace"},
         .run = monitorReviews,
         .details =
             "The apps of all workspaces are checked with one request each. A change is told once, also "
             "after a restart; what a first check finds is no change. On a terminal the states stand in a "
             "table; elsewhere each change is one line. One monitor works on a home at a time; Ctrl-C or "
             "SIGTERM ends it with status 0.\n\n"
             "PROGRAM gets one JSON document on its standard input, with appName, platform, version, "
             "oldState, newState, title and body among others, and has a minute; no shell is involved. With "
             "--once the status is 0 when every app answered, 7 when some did not or PROGRAM failed, and "
             "else that of the failure they share: 3 for the key, 6 for the network.\n\n"
             "Example: quorvel monitor --interval 15 --exec ~/bin/post-to-chat\n"
             "         quorvel monitor --once --json --no-notify\n"
             "         quorvel monitor --print-service systemd > "
             "~/.config/systemd/user/quorvel-monitor.service"},
    };
}

} // namespace quorvel
