// How a transfer is driven, on the thread of its caller.
#include "Platform/http/Transfer.h"

#include <algorithm>
#include <csignal>

namespace quorvel {

namespace {

constexpr std::chrono::milliseconds longestPoll{60'000};

// A connection that breaks while TLS writes to it must not end the program. How the program treats the signal
// elsewhere is left alone.
class BrokenPipesIgnored {
  public:
    BrokenPipesIgnored() {
        sigemptyset(&signal_);
        sigaddset(&signal_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &signal_, &previous_);
    }
    ~BrokenPipesIgnored() {
        if (sigismember(&previous_, SIGPIPE) == 1) return;
        sigset_t pending;
        sigemptyset(&pending);
        sigpending(&pending);
        int received = 0;
        if (sigismember(&pending, SIGPIPE) == 1) sigwait(&signal_, &received);
        pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
    }
    BrokenPipesIgnored(const BrokenPipesIgnored&) = delete;
    BrokenPipesIgnored& operator=(const BrokenPipesIgnored&) = delete;

  private:
    sigset_t signal_{};
    sigset_t previous_{};
};

// libcurl's result once the transfer is done.
std::optional<CURLcode> resultOf(CURLM* multi) {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi, &left))
        if (message->msg == CURLMSG_DONE) return message->data.result;
    return std::nullopt;
}

void pollUntil(CURLM* multi, Transfer::Deadline deadline) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    const auto timeout = std::clamp(left, std::chrono::milliseconds(0), longestPoll);
    curl_multi_poll(multi, nullptr, 0, static_cast<int>(timeout.count()), nullptr);
}

} // namespace

void Transfer::run(Deadline deadline, const std::stop_token& task, const std::stop_token& session) {
    const BrokenPipesIgnored ignored;
    CURLM* multi = handles_.multi.get();
    const auto wake = [multi] { curl_multi_wakeup(multi); };
    const std::stop_callback onCancellation(task, wake);
    const std::stop_callback onClose(session, wake);
    Ending ending = Ending::finished;
    std::optional<CURLcode> code;
    if (curl_multi_add_handle(multi, handle()) != CURLM_OK) code = CURLE_FAILED_INIT;
    while (!code) {
        int running = 0;
        if (curl_multi_perform(multi, &running) != CURLM_OK) code = CURLE_OUT_OF_MEMORY;
        if (!code) code = resultOf(multi);
        if (code) break;
        if (task.stop_requested() || session.stop_requested())
            ending = Ending::cancelled;
        else if (std::chrono::steady_clock::now() >= deadline)
            ending = Ending::timedOut;
        if (ending != Ending::finished) break;
        pollUntil(multi, deadline);
    }
    curl_multi_remove_handle(multi, handle());
    end(ending, code.value_or(CURLE_OK));
}

} // namespace quorvel
