#include "Programs/quorvel/Run.h"

#include "Core/asc/ASCRateLimit.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/ApplicationSetup.h"
#include "Programs/quorvel/CommandLine.h"
#include "Programs/quorvel/Consent.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Help.h"
#include "Programs/quorvel/Invocation.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/repository/RepositoryFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>

namespace quorvel {

namespace {

struct VersionRecord {
    std::string version;
    QUORVEL_RECORD(VersionRecord, version)
};

struct ErrorRecord {
    struct Details {
        std::int64_t exitStatus = 0;
        std::string text;
        std::optional<std::string> hint;
        QUORVEL_RECORD(Details, exitStatus, text, hint)
    };
    Details error;
    QUORVEL_RECORD(ErrorRecord, error)
};

Output makeOutput(const GlobalOptions& global, const Surroundings& surroundings) {
    const bool noColour =
        global.noColor || surroundings.variable("NO_COLOR") || !surroundings.streams.takesSequences;
    return {surroundings.streams, global.json ? Output::Form::json : Output::Form::text,
            global.quiet ? Output::Noise::quiet : Output::Noise::normal,
            noColour ? Output::Colour::never : Output::Colour::automatic};
}

ExitStatus fail(Output& output, const ErrorReport& report) {
    output.error(report.text, report.hint);
    try {
        if (!output.hasDocument())
            output.document(ErrorRecord{{static_cast<std::int64_t>(report.status), report.text,
                                         report.hint.empty() ? std::nullopt : std::optional(report.hint)}});
    } catch (const FileError&) { // the text on standard error has to do
    }
    return report.status;
}

void noteQuota(Output& output, const Application& application) {
    const auto limit = application.rateLimit();
    if (!limit || !limit->hourRemaining || !limit->hourLimit) return;
    output.detail(
        fmt::format("{} of {} requests are left this hour", *limit->hourRemaining, *limit->hourLimit));
}

// Empty while no service asked for a longer wait than the user allows.
std::string comeBackText(const Application& application) {
    const auto moment = application.comeBackAt();
    if (!moment) return {};
    // Shown in minutes: not before the moment.
    return fmt::format(
        "Run the command again after {}: a service asks to wait so long, and --max-wait bounds "
        "what a command waits for.",
        shortTime(*moment + std::chrono::seconds(59)));
}

// The command itself says why one cannot be used.
void tellRepository(Invocation& invocation) {
    try {
        if (const RepositoryFile* file = invocation.application.repository())
            invocation.output.detail(fmt::format("{} is in force", file->file));
    } catch (const std::exception&) {
    }
}

ExitStatus runCommand(Invocation& invocation) {
    if (invocation.global.verbose) tellRepository(invocation);
    try {
        requireSomebodyToAsk(invocation);
        const ExitStatus status = invocation.command.run(invocation);
        if (const auto text = comeBackText(invocation.application); !text.empty())
            invocation.output.warning(text);
        return status;
    } catch (const std::exception& error) {
        ErrorReport report = reportOf(error);
        // A key is not wrong because this machine's clock is.
        if (invocation.application.learnFromAnswers() && report.status == ExitStatus::noCredentials)
            report.hint =
                "This machine's clock is off; that is corrected from now on. Run the command again.";
        if (auto text = comeBackText(invocation.application); !text.empty()) report.hint = std::move(text);
        return fail(invocation.output, report);
    }
}

// Where the log goes while a command runs. Warnings are shown, so that a wait does not look like a hang;
// errors are left to the command, which reports its own.
class CommandLog {
  public:
    CommandLog(const GlobalOptions& global, const Streams& streams) : isOurs_(!global.verbose) {
        if (global.verbose)
            logToStandardError(LogLevel::debug);
        else
            setLogSink(LogLevel::warning, global.quiet ? nullptr : sinkTo(streams));
    }
    ~CommandLog() {
        if (isOurs_) setLogSink(LogLevel::error, nullptr);
    }
    CommandLog(const CommandLog&) = delete;
    CommandLog& operator=(const CommandLog&) = delete;

  private:
    static std::function<void(const LogLine&)> sinkTo(const Streams& streams) {
        // Lines come from several threads.
        return [&streams, mutex = std::make_shared<std::mutex>()](const LogLine& line) {
            if (line.level != LogLevel::warning) return;
            const std::lock_guard lock(*mutex);
            streams.error(fmt::format("{}quorvel: {}\n",
                                      streams.errorIsTerminal && streams.takesSequences ? "\r\x1b[K" : "",
                                      escapeControls(line.text)));
        };
    }

    bool isOurs_;
};

ExitStatus runParsed(const ParsedLine& line, const GlobalOptions& global, Output& output,
                     const Surroundings& surroundings) {
    if (line.arguments.has("--help")) {
        return showHelp(output, line.command);
    }
    if (line.wantsVersion) {
        output.line(versionLine());
        output.document(VersionRecord{QUORVEL_VERSION});
        return ExitStatus::done;
    }
    const Command& command = line.command ? *line.command : homeCommand();
    if (!command.run)
        return fail(output, {ExitStatus::usage, fmt::format("\"{}\" needs a command", command.name),
                             fmt::format("See 'quorvel {} --help'.", command.name)});
    if (global.dryRun && std::ranges::find(command.heeds, "--dry-run") == command.heeds.end())
        return fail(output, {ExitStatus::usage, fmt::format("\"{}\" has no dry run", command.name), {}});
    const CommandLog log(global, surroundings.streams);
    Application application(applicationOptionsOf(global, surroundings, output));
    Invocation invocation{command, line.arguments, global, surroundings, output, application};
    const ExitStatus status = runCommand(invocation);
    application.learnFromAnswers();
    if (global.verbose) noteQuota(output, application);
    return status;
}

} // namespace

std::string versionLine() {
    return "quorvel " QUORVEL_VERSION;
}

ExitStatus run(const std::vector<std::string>& words, const Surroundings& surroundings) {
    ParsedLine line;
    GlobalOptions global;
    // A line that is not understood still says how it wants to be answered.
    const auto end = std::ranges::find(words, "--");
    global.json = std::find(words.begin(), end, "--json") != end;
    try {
        line = parseCommandLine(words);
        global = GlobalOptions::from(line.arguments);
        Output output = makeOutput(global, surroundings);
        return runParsed(line, global, output, surroundings);
    } catch (const std::exception& error) {
        Output output = makeOutput(global, surroundings);
        return fail(output, reportOf(error));
    }
}

} // namespace quorvel
