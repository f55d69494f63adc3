#include "Platform/task/Task.h"
#include "Programs/quorvel/Interrupt.h"
#include "Programs/quorvel/Run.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <cstdio>
#include <string_view>

namespace {

// A standard stream that the caller closed must not become a file or socket that is opened later.
void occupyStandardStreams() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (::fcntl(descriptor, F_GETFD) < 0) (void)::open("/dev/null", O_RDWR);
}

// Keys are in memory: what is left of a crash must not hold them.
void leaveNoCoreDump() {
    const rlimit none{};
    (void)::setrlimit(RLIMIT_CORE, &none);
#ifdef __linux__
    (void)::prctl(PR_SET_DUMPABLE, 0); // the limit does not hold for a program that takes the dump
#endif
}

} // namespace

int main(int count, char** words) {
    using namespace quorvel;
    leaveNoCoreDump();
    occupyStandardStreams();
    signal(SIGPIPE, SIG_IGN); // a reader that goes away shows up where it is written to
    if (count == 2 && std::string_view(words[1]) == "--version")
        return std::puts(versionLine().c_str()) < 0 || std::fflush(stdout) != 0;
    const Interrupt interrupt;
    const TaskScope task(interrupt.token());
    const Surroundings surroundings = surroundingsOfProcess(count > 0 ? words[0] : "quorvel");
    return static_cast<int>(run({words + (count > 0 ? 1 : 0), words + count}, surroundings));
}
