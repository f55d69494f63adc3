#include "Quorvel/monitor/ChangeProgram.h"

#include "Core/asc/KeyVariables.h"
#include "Platform/log/Log.h"
#include "Platform/process/ProcessRunner.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace quorvel {

namespace {

// Runs `work` as a task of its own, which is cancelled with the current one and after `seconds`.
template <typename Work>
auto runBounded(double seconds, Work&& work) {
    std::stop_source bounded;
    const std::stop_callback withCurrent(currentStopToken(), [&] { bounded.request_stop(); });
    const std::jthread timer([&](const std::stop_token& done) {
        std::mutex mutex;
        std::condition_variable_any ended;
        std::unique_lock lock(mutex);
        ended.wait_for(lock, done, std::chrono::duration<double>(seconds), [] { return false; });
        if (!done.stop_requested()) bounded.request_stop();
    });
    const TaskScope scope(bounded.get_token());
    return work();
}

std::string lastLineOf(std::string_view text) {
    text = trim(text);
    const std::size_t end = text.rfind('\n');
    return escapeControls(trim(end == std::string_view::npos ? text : text.substr(end + 1)));
}

} // namespace

std::optional<std::string> ChangeProgram::run(const ReviewNotice& notice) const {
    using namespace ProcessRunner;
    const Command command{.executable = executable,
                          .environment = withoutKeyTexts(),
                          .input = encodeJSON(notice) + "\n",
                          .grace = std::chrono::milliseconds(500)};
    try {
        const Result result = runBounded(mostSeconds, [&] {
            return ProcessRunner::run(
                command, [](std::string_view line, Stream) { Logger("ChangeProgram").debug(line); });
        });
        if (result.succeeded()) return std::nullopt;
        const std::string said =
            lastLineOf(result.stderrTail.empty() ? result.stdoutTail : result.stderrTail);
        const std::string how = result.signal ? fmt::format("was ended by signal {}", *result.signal)
                                              : fmt::format("ended with status {}", result.exitCode);
        return said.empty() ? how : fmt::format("{}: {}", how, said);
    } catch (const ProcessError& error) {
        return fmt::format("did not run: {}", error.what());
    } catch (const CancellationError&) {
        checkCancellation(); // of the current task
        return fmt::format("was ended after {:g} seconds", mostSeconds);
    }
}

} // namespace quorvel
