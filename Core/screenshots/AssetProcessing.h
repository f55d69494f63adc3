// Waits until App Store Connect has processed uploaded screenshots and previews.
#pragma once

#include "Core/screenshots/ScreenshotSetWriter.h"

#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

struct ProcessingOutcome {
    struct Failure {
        PendingAsset asset;
        std::string reason; // Apple's
    };
    std::vector<Failure> failures;
    std::vector<PendingAsset> unfinished; // at the deadline
};

/// Asks again and again, with growing pauses, only for the sets that hold something pending, until everything
/// is processed or `options.processingDeadline` is over. An answer that fails counts as none. Throws
/// `CancellationError`.
[[nodiscard]] ProcessingOutcome awaitProcessing(const AssetOperations& operations,
                                                std::vector<PendingAsset> pending,
                                                const ScreenshotPushOptions& options);

/// Turns what counted as sent into a failure.
void noteFailure(ScreenshotPushSummary& summary, const PendingAsset& asset, std::string_view reason);

} // namespace quorvel
