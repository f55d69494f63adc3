// Repeating what may be repeated.
#pragma once

#include "Core/asc/services/CreateOrAdopt.h"
#include "Platform/task/Backoff.h"
#include "Platform/task/Task.h"

#include <functional>

namespace quorvel {

/// How patient work is with requests whose failure may pass.
struct RetryOptions {
    int attempts = 4;
    std::function<double(int attempt)> backoff = defaultBackoff;      // seconds
    std::function<void(double seconds)> sleepFor = quorvel::sleepFor; // the task's own sleep
};

/// Runs `request`, which does no harm twice, again while its failure may pass. Throws its last `ASCError`.
template <typename Request>
auto retry(const RetryOptions& options, Request&& request,
           bool (*mayPass)(const ASCError&) = mayHaveBeenDone) {
    for (int attempt = 1;; ++attempt) {
        try {
            return request();
        } catch (const ASCError& error) {
            if (!mayPass(error) || attempt >= options.attempts) throw;
        }
        options.sleepFor(options.backoff(attempt));
    }
}

} // namespace quorvel
