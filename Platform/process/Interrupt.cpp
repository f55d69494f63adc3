#include "Platform/process/Interrupt.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

namespace quorvel {

namespace {

constexpr int endOfWaiting = SIGUSR1;

bool isIgnored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t awaitedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGXFSZ, endOfWaiting})
        sigaddset(&signals, signal);
    // What nohup ignores for its command would be awaited all the same.
    if (!isIgnored(SIGHUP)) sigaddset(&signals, SIGHUP);
    return signals;
}

} // namespace

Interrupt::Interrupt(int status) : status_(status), signals_(awaitedSignals()) {
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    waiter_ = std::thread([this] { awaitSignals(); });
}

// Signals are taken one by one on a thread of their own, where anything may be called.
void Interrupt::awaitSignals() {
    while (true) {
        int signal = 0;
        if (sigwait(&signals_, &signal) != 0) continue;
        if (signal == endOfWaiting) return;
        if (source_.stop_requested()) _exit(status_);
        source_.request_stop();
    }
}

Interrupt::~Interrupt() {
    pthread_kill(waiter_.native_handle(), endOfWaiting);
    waiter_.join();
}

} // namespace quorvel
