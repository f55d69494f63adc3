#include "Core/metadata/FolderLock.h"
#include "Core/metadata/MetadataError.h"
#include "Platform/task/Task.h"
#include "Quorvel/controllers/AppContexts.h"
#include "Quorvel/controllers/MetadataControllerOperation.h"
#include "Quorvel/workspace/AppFolder.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace quorvel {

struct MetadataController::Pulling {
    Target target;
    AppContexts contexts;
    PullOptions options;
    AutoPullLimiter& limiter;
    const ASCClientProtocol& client;
    AppDiscovery found;
    AppInfoTexts& appInfoTexts;
};

namespace {

using ContextPull = MetadataController::ContextPull;

AppDiscovery discover(const ASCClientProtocol& client, const Clock& clock, const ManagedApp& app,
                      AutoPullLimiter& limiter) {
    const AutoPullLimiter::Slot slot = limiter.acquire();
    AppDiscovery found = MetadataPuller(client, clock).discover(app.appStoreId);
    if (found.contexts.empty()) throw OperationRefused(Refusal::noVersions);
    return found;
}

std::vector<std::string> localesOf(const std::vector<ContextPull>& pulls) {
    std::set<std::string> locales;
    for (const ContextPull& pull : pulls)
        if (pull.result)
            locales.insert(pull.result->summary.locales.begin(), pull.result->summary.locales.end());
    return {locales.begin(), locales.end()};
}

std::string reportOf(const std::vector<ContextPull>& pulls) {
    const auto pulled = static_cast<std::size_t>(
        std::ranges::count_if(pulls, [](const ContextPull& pull) { return pull.result.has_value(); }));
    if (pulls.size() > 1) return fmt::format("Pulled {} of {} contexts", pulled, pulls.size());
    return fmt::format("Pulled {} {}", pulls.front().context.id(), pulls.front().context.versionString);
}

} // namespace

std::vector<ContextPull> MetadataController::pull(const PullRequest& request) {
    std::vector<ContextPull> pulls;
    run(MetadataOperation::pull, [&](Operation& operation) {
        Target target = targetOfTransfer();
        const FileLock lock = lockAppFolder(target.folder, "a pull");
        const AppContexts contexts(target.folder, parts_.clock);
        if (request.context) (void)contexts.known(request.context); // refuses a misspelt one before all else
        operation.status(std::string(discoveringText));
        AutoPullLimiter own;
        AutoPullLimiter& limiter = request.limiter ? *request.limiter : own;
        const auto client = parts_.client();
        AppDiscovery found = discover(*client, parts_.clock, target.app, limiter);
        AppInfoTexts texts(*client, found.appInfos);
        Pulling pulling{std::move(target),
                        contexts,
                        {request.edits, apps_.disabledLocales(parts_.appID)},
                        limiter,
                        *client,
                        std::move(found),
                        texts};
        const auto wanted = contextsToPull(pulling, request);
        operation.status(wanted.size() > 1 ? fmt::format("Pulling {} contexts…", wanted.size())
                                           : fmt::format("Pulling {}…", wanted.front().id()));
        operation.progress(0, wanted.size());
        std::atomic<std::size_t> done = 0;
        pulls = parallelMap(wanted, wanted.size(), [&](const PlatformContext& context) {
            ContextPull pulled = pullContext(pulling, context);
            operation.progress(++done, wanted.size());
            return pulled;
        });
        rememberPull(pulling, pulls);
        operation.status(reportOf(pulls));
        const auto failed = std::ranges::find_if(pulls, [](const ContextPull& one) { return !one.result; });
        if (failed != pulls.end()) operation.endWithError("Pull failed: " + *failed->error);
    });
    return pulls;
}

std::vector<PlatformContext> MetadataController::contextsToPull(const Pulling& pulling,
                                                                const PullRequest& request) const {
    // The app's own folder may hold versions that were all deleted since; one that was named, or that
    // another app uses too, may be another's.
    const Target& target = pulling.target;
    if (!pulling.contexts.areOf(pulling.found.versionIDs) &&
        (parts_.folder || otherAppIn(target.folder, target.app, parts_.home, apps_)))
        pulling.contexts.requireSameApp(pulling.found.versionIDs, target.app.displayName);
    if (request.contexts == PullRequest::Contexts::all) return pulling.found.contexts;
    const auto& saved = pulling.contexts.saved();
    return {AppContexts::choose(pulling.found.contexts, request.context,
                                saved ? saved->selectedContextId : std::nullopt)};
}

ContextPull MetadataController::pullContext(Pulling& pulling, const PlatformContext& context) const {
    ContextPull pulled{context, std::nullopt, std::nullopt};
    try {
        const AutoPullLimiter::Slot slot = pulling.limiter.acquire();
        pulled.result = MetadataPuller(pulling.client, parts_.clock)
                            .pull(pulling.appInfoTexts, context,
                                  pulling.target.folder.contextFolder(context.contextID()), pulling.options);
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception& error) {
        pulled.error = error.what();
        pulled.failure = std::current_exception();
    }
    return pulled;
}

void MetadataController::rememberPull(const Pulling& pulling, const std::vector<ContextPull>& pulls) {
    const auto pulled =
        std::ranges::find_if(pulls, [](const ContextPull& one) { return one.result.has_value(); });
    if (pulled == pulls.end()) {
        if (pulls.size() == 1) std::rethrow_exception(pulls.front().failure);
        return;
    }
    const Target& target = pulling.target;
    if (!parts_.folder && !target.app.metadataFolderBookmark) keepAppFolder(target.app, target.folder, apps_);

    const auto& found = pulling.found.contexts;
    const auto& saved = pulling.contexts.saved();
    const auto selected = saved ? saved->selectedContextId : std::nullopt;
    const bool stillThere =
        std::ranges::any_of(found, [&](const PlatformContext& context) { return context.id() == selected; });
    saveContexts(target.folder, found, stillThere ? selected : pulled->context.id());
    apps_.addMissingLocales(target.app.id, localesOf(pulls));
    showResult(target);
    published_.update([&](MetadataState& state) {
        const auto shown = std::ranges::find_if(pulls, [&](const ContextPull& one) {
            return one.result && one.context.id() == state.selectedContextId;
        });
        state.lastPull = (shown == pulls.end() ? *pulled : *shown).result;
    });
}

} // namespace quorvel
