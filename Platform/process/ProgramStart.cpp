#include "Platform/process/ProgramStart.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <initializer_list>

namespace quorvel {

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

void prepareProcess() {
    leaveNoCoreDump();
    occupyStandardStreams();
    signal(SIGPIPE, SIG_IGN);
}

} // namespace quorvel
