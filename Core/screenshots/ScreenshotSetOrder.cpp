// The second half of a set's edit: its order, and whether App Store Connect shows what was sent.
#include "Core/asc/ASCError.h"
#include "Core/screenshots/AssetProcessing.h"
#include "Core/screenshots/Retry.h"
#include "Core/screenshots/ScreenshotLists.h"
#include "Core/screenshots/ScreenshotSetWriter.h"
#include "Platform/text/Counted.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

void ScreenshotSetWriter::arrange() {
    const auto wanted = wantedOrder();
    StoreAssets listed = listWhole(wanted);
    if (removeLeftovers(listed) > 0) listed = list();
    // The document must name every screenshot of the set, also those that are not ours.
    const auto present = idsOf(listed);
    std::vector<std::string> order;
    std::ranges::copy_if(wanted, std::back_inserter(order),
                         [&](const auto& id) { return isIn(present, id); });
    std::ranges::copy_if(present, std::back_inserter(order),
                         [&](const auto& id) { return !isIn(wanted, id); });
    const bool isOrdered = traitsOf(parts_.operations.kind()).order == AssetOrder::asCreated;
    if (isOrdered || order.size() < 2 || reorder(order)) compare(listed, order, wanted.size());
    notePending(listed);
    parts_.steps.tell(fmt::format("{} · {} · ordered", edit_.locale, edit_.displayType), 1);
}

std::vector<std::string> ScreenshotSetWriter::wantedOrder() const {
    std::vector<std::string> wanted;
    for (const ScreenshotOrderToken& token : edit_.finalOrder) {
        if (const auto* stays = std::get_if<ScreenshotOrderToken::ASC>(&token.value))
            wanted.push_back(stays->id);
        else if (const auto sent = sent_.find(std::get<ScreenshotOrderToken::Local>(token.value).url);
                 sent != sent_.end())
            wanted.push_back(sent->second);
    }
    return wanted;
}

StoreAssets ScreenshotSetWriter::listWhole(const std::vector<std::string>& wanted) {
    double waited = 0;
    for (int attempt = 1;; ++attempt) {
        StoreAssets listed = list();
        const auto present = idsOf(listed);
        const bool isWhole = std::ranges::all_of(wanted, [&](const auto& id) { return isIn(present, id); });
        if (isWhole || waited >= parts_.options.visibilityDeadline) return listed;
        const double pause = parts_.options.backoff(attempt);
        parts_.options.sleepFor(pause);
        waited += pause;
    }
}

bool ScreenshotSetWriter::reorder(const std::vector<std::string>& order) {
    try {
        retry(parts_.options, [&] { parts_.operations.reorder(setID_, order); });
        return true;
    } catch (const ASCError& error) {
        outcome_.summary.failures.push_back(
            fmt::format("{}: reorder failed — {}", name_, error.description()));
        return false;
    }
}

void ScreenshotSetWriter::compare(const StoreAssets& listed, const std::vector<std::string>& order,
                                  std::size_t wantedCount) {
    StoreAssets now = order.size() < 2 ? listed : list();
    double waited = 0;
    for (int attempt = 1; idsOf(now) != order && waited < parts_.options.visibilityDeadline; ++attempt) {
        const double pause = parts_.options.backoff(attempt);
        parts_.options.sleepFor(pause);
        waited += pause;
        now = list();
    }
    const AssetTraits traits = traitsOf(parts_.operations.kind());
    if (now.size() != wantedCount)
        outcome_.summary.failures.push_back(
            fmt::format("{}: App Store Connect shows {} instead of {}. Pull, compare and push again.", name_,
                        counted(now.size(), traits.one), wantedCount));
    else if (idsOf(now) != order)
        outcome_.summary.failures.push_back(fmt::format(
            "{}: App Store Connect shows the {} in another order. Push again.", name_, traits.many));
}

void ScreenshotSetWriter::notePending(const StoreAssets& listed) {
    for (const ScreenshotPushItem& item : edit_.localsToUpload) {
        const auto sent = sent_.find(item.fileURL);
        if (sent == sent_.end()) continue;
        const auto shown = std::ranges::find(listed, sent->second, &StoreAsset::id);
        const PendingAsset asset{setID_, sent->second, item, !foundThere_.contains(sent->second)};
        const std::string state = shown == listed.end() ? "" : shown->state();
        if (state == assetFailed)
            noteFailure(outcome_.summary, asset, failureReasonOf(*shown->delivery));
        else if (state != assetComplete)
            outcome_.pending.push_back(asset);
    }
}

} // namespace quorvel
