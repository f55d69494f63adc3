// Repeating what may be repeated.
#pragma once

#include "Core/asc/services/CreateOrAdopt.h"
#include "Core/screenshots/ScreenshotPusher.h"

namespace quorvel {

/// Runs `request`, which does no harm twice, again while its failure may pass. Throws its last `ASCError`.
template <typename Request>
auto retry(const ScreenshotPushOptions& options, Request&& request) {
    for (int attempt = 1;; ++attempt) {
        try {
            return request();
        } catch (const ASCError& error) {
            if (!mayHaveBeenDone(error) || attempt >= options.attempts) throw;
        }
        options.sleepFor(options.backoff(attempt));
    }
}

} // namespace quorvel
