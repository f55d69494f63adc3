#include "Tests/support/ChildProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace quorvel::test {

namespace {

struct Pipe {
    int read = -1;
    int write = -1;
};

Pipe makePipe() {
    int ends[2];
    if (pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    for (const int end : ends)
        fcntl(end, F_SETFD, FD_CLOEXEC);
    return {ends[0], ends[1]};
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// A file without a name holds the input whole, so that nobody has to feed it.
int inputHolding(const std::string& text) {
    std::string pattern = (std::filesystem::temp_directory_path() / "quorvel-input-XXXXXX").string();
    const int descriptor = mkstemp(pattern.data());
    if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "input");
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    unlink(pattern.c_str());
    if (write(descriptor, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        throw std::runtime_error("the input cannot be written");
    lseek(descriptor, 0, SEEK_SET);
    return descriptor;
}

} // namespace

ChildProgram::ChildProgram(const ProgramCall& call) {
    if (call.streams != ProgramCall::Streams::pipes) openTerminal(call.input);
    if (call.streams == ProgramCall::Streams::terminal) {
        out_ = std::exchange(terminal_, -1);
        spawn(call, terminalOfChild_, terminalOfChild_, terminalOfChild_);
        close(std::exchange(terminalOfChild_, -1));
        return;
    }
    const Pipe out = makePipe();
    const Pipe error = makePipe();
    const int input = inputHolding(call.streams == ProgramCall::Streams::pipes ? call.input : "");
    out_ = out.read;
    error_ = error.read;
    spawn(call, input, out.write, error.write);
    close(input);
    close(out.write);
    close(error.write);
}

void ChildProgram::openTerminal(const std::string& typed) {
    terminal_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal_ < 0 || grantpt(terminal_) != 0 || unlockpt(terminal_) != 0)
        throw std::system_error(errno, std::generic_category(), "terminal");
    terminalName_ = ptsname(terminal_);
    terminalOfChild_ = open(terminalName_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const winsize size{.ws_row = 40, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};
    ioctl(terminalOfChild_, TIOCSWINSZ, &size);
    if (write(terminal_, typed.data(), typed.size()) != static_cast<ssize_t>(typed.size()))
        throw std::runtime_error("the terminal takes no input");
}

// The child leads a session of its own: it has the terminal that it is given, or none, and never the
// developer's.
void ChildProgram::spawn(const ProgramCall& call, int input, int out, int error) {
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (!terminalName_.empty()) { // opening it makes it the session's
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, terminalName_.c_str(), O_RDWR, 0);
    }
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, error, STDERR_FILENO);
    posix_spawn_file_actions_addchdir_np(&actions, call.workingFolder.c_str());
    std::vector<std::string> words = {call.program.string()};
    words.insert(words.end(), call.arguments.begin(), call.arguments.end());
    std::vector<std::string> variables;
    for (const auto& [name, value] : call.environment)
        variables.push_back(name + "=" + value);
    for (const std::string name : {"TSAN_OPTIONS", "ASAN_OPTIONS", "UBSAN_OPTIONS"})
        if (const char* value = std::getenv(name.c_str())) variables.push_back(name + "=" + value);
    const int failure = posix_spawn(&process_, call.program.c_str(), &actions, &attributes,
                                    pointersTo(words).data(), pointersTo(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (failure != 0) throw std::system_error(failure, std::generic_category(), call.program.string());
}

ChildProgram::~ChildProgram() {
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    closeOutput();
    for (const int descriptor : {error_, terminal_, terminalOfChild_})
        if (descriptor >= 0) close(descriptor);
}

std::string ChildProgram::readLine() {
    std::string line;
    char byte = 0;
    while (read(out_, &byte, 1) == 1) {
        result_.out += byte;
        if (byte == '\n') break;
        line += byte;
    }
    return line;
}

std::string ChildProgram::readSome() {
    char buffer[4096];
    const ssize_t count = read(out_, buffer, sizeof buffer);
    if (count <= 0) return {};
    result_.out.append(buffer, static_cast<std::size_t>(count));
    return {buffer, static_cast<std::size_t>(count)};
}

void ChildProgram::signal(int number) const {
    kill(process_, number);
}

void ChildProgram::closeOutput() {
    if (out_ >= 0) close(std::exchange(out_, -1));
}

void ChildProgram::drain() {
    std::array<pollfd, 2> streams = {pollfd{out_, POLLIN, 0}, pollfd{error_, POLLIN, 0}};
    const std::array<std::string*, 2> texts = {&result_.out, &result_.error};
    int open = (out_ >= 0) + (error_ >= 0);
    while (open > 0 && poll(streams.data(), streams.size(), -1) >= 0) {
        for (std::size_t index = 0; index < streams.size(); ++index) {
            if (streams[index].fd < 0 || streams[index].revents == 0) continue;
            char buffer[65536];
            const ssize_t count = read(streams[index].fd, buffer, sizeof buffer);
            if (count > 0) {
                texts[index]->append(buffer, static_cast<std::size_t>(count));
            } else {
                streams[index].fd = -1;
                --open;
            }
        }
    }
}

ProgramResult ChildProgram::wait() {
    drain();
    int status = 0;
    waitpid(std::exchange(process_, -1), &status, 0);
    result_.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    if (terminal_ >= 0) { // the other end is still open here, so a read would wait for more
        fcntl(terminal_, F_SETFL, O_NONBLOCK);
        char buffer[4096];
        for (ssize_t count = 0; (count = read(terminal_, buffer, sizeof buffer)) > 0;)
            result_.terminal.append(buffer, static_cast<std::size_t>(count));
    }
    return result_;
}

ProgramResult runProgram(const ProgramCall& call) {
    return ChildProgram(call).wait();
}

} // namespace quorvel::test
