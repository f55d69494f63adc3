#include "Core/screenshots/AssetProcessing.h"

#include "Core/asc/ASCError.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

namespace quorvel {

namespace {

constexpr double longestPause = 30; // seconds

using States = std::map<std::string, ASCAssetDeliveryState>; // by the assets' ids

States statesOf(const AssetOperations& operations, const std::string& setID) {
    States states;
    try {
        for (const StoreAsset& asset : operations.list(setID))
            if (asset.delivery) states[asset.id] = *asset.delivery;
    } catch (const ASCError&) { // the next round asks again
    }
    return states;
}

std::vector<std::string> setsOf(const std::vector<PendingAsset>& pending) {
    std::set<std::string> sets;
    for (const PendingAsset& asset : pending)
        sets.insert(asset.setID);
    return {sets.begin(), sets.end()};
}

} // namespace

ProcessingOutcome awaitProcessing(const AssetOperations& operations, std::vector<PendingAsset> pending,
                                  const ScreenshotPushOptions& options) {
    ProcessingOutcome outcome;
    double waited = 0, pause = 1;
    while (!pending.empty() && waited < options.processingDeadline) {
        pause = std::min(pause, options.processingDeadline - waited);
        options.sleepFor(pause);
        waited += pause;
        pause = std::min(pause * 2, longestPause);
        States states;
        for (States& some : parallelMap(setsOf(pending), options.width,
                                        [&](const std::string& set) { return statesOf(operations, set); }))
            states.merge(some);
        std::erase_if(pending, [&](const PendingAsset& asset) {
            const ASCAssetDeliveryState& state = states[asset.id];
            if (state.state == assetFailed) outcome.failures.push_back({asset, failureReasonOf(state)});
            return state.state == assetFailed || state.state == assetComplete;
        });
    }
    outcome.unfinished = std::move(pending);
    return outcome;
}

void noteFailure(ScreenshotPushSummary& summary, const PendingAsset& asset, std::string_view reason) {
    summary.failures.push_back(
        fmt::format("{}: App Store Connect could not process it — {}", asset.item.text(), reason));
    std::erase(summary.successfullyUploadedLocalURLs, asset.item.fileURL);
    summary.uploaded -= asset.isCounted ? 1 : 0;
}

} // namespace quorvel
