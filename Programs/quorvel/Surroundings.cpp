#include "Programs/quorvel/Surroundings.h"

#include "Platform/files/FileDescriptor.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"

#include <fcntl.h>
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
        } else if (errno == EPIPE || (errno != EINTR && descriptor != STDOUT_FILENO)) {
            return;
        } else if (errno != EINTR) {
            throw FileError("standard output", "cannot be written", errno);
        }
    }
}

// Waits in small steps, so that a cancelled task does not wait for a key.
void awaitInput(int descriptor) {
    constexpr int stepInMilliseconds = 50;
    while (true) {
        checkCancellation();
        pollfd entry{descriptor, POLLIN, 0};
        if (::poll(&entry, 1, stepInMilliseconds) != 0) return;
    }
}

std::size_t readSome(int descriptor, char* buffer, std::size_t size) {
    while (true) {
        awaitInput(descriptor);
        const ssize_t count = ::read(descriptor, buffer, size);
        checkCancellation(); // a terminal that goes away with Ctrl-C gives no answer
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno != EINTR && errno != EAGAIN) return 0;
    }
}

std::optional<std::string> readLine(int descriptor) {
    std::string line;
    char byte = 0;
    while (readSome(descriptor, &byte, 1) == 1) {
        if (byte == '\n') return line;
        line += byte;
    }
    if (line.empty()) return std::nullopt;
    return line;
}

std::string readAllOfInput() {
    std::string text;
    char buffer[4096];
    while (const std::size_t count = readSome(STDIN_FILENO, buffer, sizeof buffer))
        text.append(buffer, count);
    return text;
}

TerminalSize sizeOf(int descriptor) {
    winsize size{};
    if (::ioctl(descriptor, TIOCGWINSZ, &size) != 0) return {};
    return {size.ws_col, size.ws_row};
}

std::size_t widthOf(int descriptor) {
    return sizeOf(descriptor).columns;
}

std::size_t widthOfStreams() {
    const std::size_t width = widthOf(STDOUT_FILENO);
    return width > 0 ? width : widthOf(STDERR_FILENO); // results may go to a file, messages not
}

// A job in the background would be stopped by its question instead of being answered.
std::optional<Terminal> terminalOfProcess() {
    const auto terminal = std::make_shared<FileDescriptor>(::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!terminal->isOpen() || ::tcgetpgrp(terminal->number()) != ::getpgrp()) return std::nullopt;
    return Terminal{.write = [terminal](std::string_view text) { writeAll(terminal->number(), text); },
                    .readLine = [terminal] { return readLine(terminal->number()); },
                    .width = widthOf(terminal->number())};
}

} // namespace

Surroundings surroundingsOfProcess(std::string_view program) {
    Surroundings result;
    const char* const terminal = std::getenv("TERM");
    result.streams = {.out = [](std::string_view text) { writeAll(STDOUT_FILENO, text); },
                      .error = [](std::string_view text) { writeAll(STDERR_FILENO, text); },
                      .readAll = readAllOfInput,
                      .outIsTerminal = ::isatty(STDOUT_FILENO) == 1,
                      .errorIsTerminal = ::isatty(STDERR_FILENO) == 1,
                      .takesSequences = !terminal || std::string_view(terminal) != "dumb",
                      .width = widthOfStreams(),
                      .terminal = terminalOfProcess(),
                      .currentSize = [] { return sizeOf(STDOUT_FILENO); }};
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
