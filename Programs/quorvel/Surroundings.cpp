#include "Programs/quorvel/Surroundings.h"

#include "Platform/files/Files.h"
#include "Platform/task/Task.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

namespace quorvel {

namespace {

// A reader that went away (a closed pipe) is no failure of ours: the rest is for nobody.
void writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            pollfd entry{descriptor, POLLOUT, 0};
            ::poll(&entry, 1, -1);
        } else if (errno == EPIPE || (errno != EINTR && descriptor == STDERR_FILENO)) {
            return;
        } else if (errno != EINTR) {
            throw FileError("standard output", "cannot be written", errno);
        }
    }
}

// Waits in small steps, so that a cancelled task does not wait for a key.
void awaitInput() {
    constexpr int stepInMilliseconds = 50;
    while (true) {
        checkCancellation();
        pollfd entry{STDIN_FILENO, POLLIN, 0};
        if (::poll(&entry, 1, stepInMilliseconds) != 0) return;
    }
}

std::size_t readSome(char* buffer, std::size_t size) {
    while (true) {
        awaitInput();
        const ssize_t count = ::read(STDIN_FILENO, buffer, size);
        checkCancellation(); // a terminal that goes away with Ctrl-C gives no answer
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno != EINTR && errno != EAGAIN) return 0;
    }
}

std::optional<std::string> readLineOfInput() {
    std::string line;
    char byte = 0;
    while (readSome(&byte, 1) == 1) {
        if (byte == '\n') return line;
        line += byte;
    }
    if (line.empty()) return std::nullopt;
    return line;
}

std::string readAllOfInput() {
    std::string text;
    char buffer[4096];
    while (const std::size_t count = readSome(buffer, sizeof buffer))
        text.append(buffer, count);
    return text;
}

std::size_t widthOfTerminal() {
    for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) { // results may go to a file, messages not
        winsize size{};
        if (::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    }
    return 0;
}

} // namespace

Surroundings surroundingsOfProcess(std::string_view program) {
    Surroundings result;
    const char* const terminal = std::getenv("TERM");
    result.streams = {.out = [](std::string_view text) { writeAll(STDOUT_FILENO, text); },
                      .error = [](std::string_view text) { writeAll(STDERR_FILENO, text); },
                      .readLine = readLineOfInput,
                      .readAll = readAllOfInput,
                      .outIsTerminal = ::isatty(STDOUT_FILENO) == 1,
                      .errorIsTerminal = ::isatty(STDERR_FILENO) == 1,
                      .inputIsTerminal = ::isatty(STDIN_FILENO) == 1,
                      .takesSequences = !terminal || std::string_view(terminal) != "dumb",
                      .width = widthOfTerminal()};
    result.variable = [](std::string_view name) -> std::optional<std::string> {
        const char* value = std::getenv(std::string(name).c_str());
        if (!value || !*value) return std::nullopt;
        return value;
    };
    std::error_code ignored;
    result.workingFolder = std::filesystem::current_path(ignored);
    result.program = program;
    return result;
}

} // namespace quorvel
