#include "Core/screenshots/ScreenshotPusher.h"

#include "Core/asc/ASCError.h"
#include "Core/metadata/RemoteLocalizations.h"
#include "Core/screenshots/AssetProcessing.h"
#include "Core/screenshots/Retry.h"
#include "Core/screenshots/ScreenshotError.h"
#include "Core/screenshots/ScreenshotSetWriter.h"
#include "Platform/task/Task.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <numeric>

namespace quorvel {

namespace {

// The sets of one locale's localization, or why they are not known.
struct LocaleSets {
    std::string localizationID;
    std::map<std::string, std::string> sets; // display type → id
    std::optional<std::string> problem;
};
using AllSets = std::map<std::string, LocaleSets>; // locales that have a localization

LocaleSets setsOf(const AssetOperations& operations, const std::string& localizationID,
                  const ScreenshotPushOptions& options) {
    LocaleSets result{.localizationID = localizationID};
    try {
        for (const auto& set : retry(options, [&] { return operations.listSets(localizationID); }))
            result.sets[set.displayType] = set.id;
    } catch (const ASCError& error) {
        result.problem = error.description();
    }
    return result;
}

AllSets setsOfEdits(const AssetOperations& operations, const RemoteLocalizations& localizations,
                    const std::vector<ScreenshotSetEdit>& edits, const ScreenshotPushOptions& options) {
    std::vector<std::pair<std::string, std::string>> wanted; // locale, localization
    for (const ScreenshotSetEdit& edit : edits)
        if (const auto found = localizations.find(edit.locale); found != localizations.end())
            wanted.emplace_back(edit.locale, found->second.id);
    const auto repeated = std::ranges::unique(wanted); // edits come locale by locale
    wanted.erase(repeated.begin(), repeated.end());
    const auto lists = parallelMap(wanted, options.width,
                                   [&](const auto& one) { return setsOf(operations, one.second, options); });
    AllSets all;
    for (std::size_t at = 0; at < wanted.size(); ++at)
        all[wanted[at].first] = lists[at];
    return all;
}

void append(auto& list, const auto& more) {
    list.insert(list.end(), more.begin(), more.end());
}

void append(ScreenshotPushSummary& summary, const ScreenshotPushSummary& part) {
    summary.uploaded += part.uploaded;
    summary.deleted += part.deleted;
    summary.setsCreated += part.setsCreated;
    summary.posterFrames += part.posterFrames;
    append(summary.warnings, part.warnings);
    append(summary.failures, part.failures);
    append(summary.successfullyUploadedLocalURLs, part.successfullyUploadedLocalURLs);
}

SetOutcome writeSet(const SetWriterParts& parts, const ScreenshotSetEdit& edit, const AllSets& all) {
    const auto locale = all.find(edit.locale);
    if (locale != all.end() && !locale->second.problem) {
        const auto& sets = locale->second.sets;
        const auto set = sets.find(edit.displayType);
        return ScreenshotSetWriter(parts, edit)
            .write(locale->second.localizationID,
                   set == sets.end() ? std::nullopt : std::optional(set->second));
    }
    SetOutcome outcome;
    const std::string set = setText(edit.locale, edit.displayType);
    if (locale == all.end())
        outcome.summary.warnings.push_back(
            edit.locale + ": no localization on ASC — create the locale first via the Metadata tab.");
    else
        outcome.summary.failures.push_back(fmt::format("{}: {}", set, *locale->second.problem));
    parts.steps.tell(set, ScreenshotSetWriter::stepsOf(edit));
    return outcome;
}

void noteProcessing(ScreenshotPushSummary& summary, const ProcessingOutcome& processing) {
    for (const auto& failure : processing.failures)
        noteFailure(summary, failure.asset, failure.reason);
    for (const PendingAsset& asset : processing.unfinished)
        summary.warnings.push_back(
            fmt::format("{}: App Store Connect is still processing it; pull later to see the outcome.",
                        asset.item.text()));
}

} // namespace

ScreenshotPusher::ScreenshotPusher(const ASCClientProtocol& client, HTTPClient& uploads,
                                   PlatformContext context, std::string appStoreId,
                                   ScreenshotPushOptions options)
    : client_(client),
      uploads_(uploads),
      context_(std::move(context)),
      appStoreId_(std::move(appStoreId)),
      options_(std::move(options)) {
    options_.width = std::max<std::size_t>(options_.width, 1);
}

ScreenshotPushSummary ScreenshotPusher::push(const std::vector<ScreenshotSetEdit>& edits,
                                             const Observer& observer) const {
    if (!context_.takesPushes()) throw ScreenshotError::readOnlyVersion(context_.versionString);
    logger_.info(
        fmt::format("App {}: {} {} sets to change", appStoreId_, edits.size(), traitsOf(options_.kind).one));
    const AssetOperations operations(client_, options_.kind);
    PushSteps steps(observer, std::transform_reduce(edits.begin(), edits.end(), std::int64_t{0}, std::plus(),
                                                    &ScreenshotSetWriter::stepsOf));
    steps.tell("Loading localizations…");
    const auto localizations = retry(options_, [&] {
        return listLocalizations(client_, FieldHome::versionLocalization, context_.versionId);
    });
    const AllSets all = setsOfEdits(operations, localizations, edits, options_);

    std::counting_semaphore<> places(static_cast<std::ptrdiff_t>(options_.width));
    const std::size_t setsAtOnce = std::clamp<std::size_t>(edits.size(), 1, options_.width);
    // One more than needed, as some wait for their reservations; one where they are shown as they come.
    const bool isInOrder = traitsOf(options_.kind).order == AssetOrder::asCreated;
    const std::size_t filesOfSetAtOnce = isInOrder ? 1 : options_.width / setsAtOnce + 1;
    const SetWriterParts parts{operations, uploads_, options_, steps, places, filesOfSetAtOnce, logger_};
    ScreenshotPushSummary summary;
    std::vector<PendingAsset> pending;
    for (const SetOutcome& outcome : parallelMap(
             edits, setsAtOnce, [&](const ScreenshotSetEdit& edit) { return writeSet(parts, edit, all); })) {
        append(summary, outcome.summary);
        append(pending, outcome.pending);
    }
    if (!pending.empty() && options_.processingDeadline > 0) {
        steps.tell(std::string(processingStage(options_.kind)));
        noteProcessing(summary, awaitProcessing(operations, std::move(pending), options_));
    }
    return summary;
}

} // namespace quorvel
