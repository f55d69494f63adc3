#include "Programs/quorvel/Interrupt.h"

#include "Programs/quorvel/ExitStatus.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

namespace quorvel {

namespace {

constexpr int endOfWaiting = SIGUSR1;

sigset_t awaitedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, endOfWaiting);
    return signals;
}

// Signals are taken one by one on a thread of their own, where anything may be called.
void waitForSignals(std::stop_source& source) {
    const sigset_t signals = awaitedSignals();
    while (true) {
        int signal = 0;
        if (sigwait(&signals, &signal) != 0) continue;
        if (signal == endOfWaiting) return;
        if (source.stop_requested()) _exit(static_cast<int>(ExitStatus::interrupted));
        source.request_stop();
    }
}

} // namespace

Interrupt::Interrupt() {
    const sigset_t signals = awaitedSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    waiter_ = std::thread([this] { waitForSignals(source_); });
}

Interrupt::~Interrupt() {
    pthread_kill(waiter_.native_handle(), endOfWaiting);
    waiter_.join();
}

} // namespace quorvel
