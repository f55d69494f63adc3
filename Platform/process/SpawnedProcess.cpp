#include "Platform/process/SpawnedProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

extern char** environ;

namespace quorvel {

namespace {

std::string reasonOf(int errorNumber) {
    return std::generic_category().message(errorNumber);
}

[[noreturn]] void fail(const std::string& what, int errorNumber) {
    throw ProcessError(what + ": " + reasonOf(errorNumber));
}

// What posix_spawn is told, freed at the end.
class SpawnSettings {
  public:
    SpawnSettings() {
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawnattr_init(&attributes);
    }
    ~SpawnSettings() {
        ::posix_spawn_file_actions_destroy(&actions);
        ::posix_spawnattr_destroy(&attributes);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    void setUp(const std::array<int, 3>& standard, const std::optional<std::filesystem::path>& folder) {
        for (int number = 0; number < 3; ++number)
            ::posix_spawn_file_actions_adddup2(&actions, standard[static_cast<std::size_t>(number)], number);
        if (folder) ::posix_spawn_file_actions_addchdir_np(&actions, folder->c_str());
        sigset_t all;
        sigset_t none;
        ::sigfillset(&all);
        ::sigdelset(&all, SIGKILL);
        ::sigdelset(&all, SIGSTOP);
        ::sigemptyset(&none);
        ::posix_spawnattr_setsigdefault(&attributes, &all);
        ::posix_spawnattr_setsigmask(&attributes, &none);
        ::posix_spawnattr_setpgroup(&attributes, 0);
        int flags = POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;
#ifdef __APPLE__
        flags |= POSIX_SPAWN_CLOEXEC_DEFAULT;
#else
        ::posix_spawn_file_actions_addclosefrom_np(&actions, 3);
#endif
        ::posix_spawnattr_setflags(&attributes, static_cast<short>(flags));
    }

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
};

std::vector<std::string> environmentWith(const std::map<std::string, std::optional<std::string>>& changed) {
    std::vector<std::string> all;
    for (char** entry = environ; entry && *entry; ++entry) {
        const std::string text(*entry);
        if (!changed.contains(text.substr(0, text.find('=')))) all.push_back(text);
    }
    for (const auto& [name, value] : changed)
        if (value) all.push_back(name + "=" + *value);
    return all;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// A missing working folder would be reported as if the program were missing.
void requireFolder(const ProcessRunner::Command& command) {
    if (!command.workingFolder) return;
    struct stat status {};
    if (::stat(command.workingFolder->c_str(), &status) != 0)
        fail("cannot start " + command.executable + " in " + command.workingFolder->string(), errno);
    if (!S_ISDIR(status.st_mode))
        fail("cannot start " + command.executable + " in " + command.workingFolder->string(), ENOTDIR);
}

void requireNoNUL(const ProcessRunner::Command& command) {
    const auto hasNUL = [](const std::string& text) { return text.find('\0') != std::string::npos; };
    bool found = hasNUL(command.executable);
    for (const std::string& argument : command.arguments)
        found = found || hasNUL(argument);
    for (const auto& [name, value] : command.environment)
        found = found || hasNUL(name) || hasNUL(value.value_or(""));
    if (found)
        throw ProcessError("cannot start " + command.executable + ": an argument holds a NUL character");
}

void setNonblocking(int descriptor) {
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

pid_t spawn(const ProcessRunner::Command& command, const std::array<int, 3>& standard) {
    requireNoNUL(command);
    requireFolder(command);
    SpawnSettings settings;
    settings.setUp(standard, command.workingFolder);
    std::vector<std::string> arguments{command.executable};
    arguments.insert(arguments.end(), command.arguments.begin(), command.arguments.end());
    std::vector<std::string> environment = environmentWith(command.environment);
    pid_t process = -1;
    const int error =
        ::posix_spawnp(&process, command.executable.c_str(), &settings.actions, &settings.attributes,
                       pointersTo(arguments).data(), pointersTo(environment).data());
    if (error != 0) fail("cannot start " + command.executable, error);
    return process;
}

} // namespace

Pipe makePipe() {
    std::array<int, 2> ends{};
#ifdef __linux__
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) fail("cannot make a pipe", errno);
#else
    if (::pipe(ends.data()) != 0) fail("cannot make a pipe", errno);
    for (const int end : ends)
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
#endif
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

SpawnedProcess::SpawnedProcess(const ProcessRunner::Command& command) {
    Pipe in = makePipe();
    Pipe out = makePipe();
    Pipe error = makePipe();
    Pipe ended = makePipe();
    process_ = spawn(command, {in.reading.number(), out.writing.number(), error.writing.number()});
    input = std::move(in.writing);
    output = std::move(out.reading);
    errorOutput = std::move(error.reading);
    wake = std::move(ended.reading);
    waking = std::move(ended.writing);
    for (const FileDescriptor* end : {&input, &output, &errorOutput, &wake, &waking})
        setNonblocking(end->number());
    waiter_ = std::jthread([process = process_, end = waking.number()] {
        siginfo_t info{};
        uninterrupted([&] { return ::waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOWAIT); });
        uninterrupted([&] { return ::write(end, "e", 1); });
    });
}

SpawnedProcess::~SpawnedProcess() {
    if (process_ < 0) return;
    signalGroup(SIGKILL);
    static_cast<void>(reap());
}

void SpawnedProcess::signalGroup(int signal) const {
    ::kill(-process_, signal);
    ::kill(-process_, SIGCONT);
}

ProcessRunner::Result SpawnedProcess::reap() {
    if (waiter_.joinable()) waiter_.join();
    int status = 0;
    uninterrupted([&] { return ::waitpid(process_, &status, 0); });
    process_ = -1;
    ProcessRunner::Result result;
    if (WIFSIGNALED(status)) {
        result.signal = WTERMSIG(status);
        result.exitCode = 128 + WTERMSIG(status);
    } else {
        result.exitCode = WEXITSTATUS(status);
    }
    return result;
}

} // namespace quorvel
