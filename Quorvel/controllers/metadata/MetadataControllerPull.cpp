#include "Quorvel/controllers/metadata/MetadataController.h"

#include "Core/ai/translation/TranslationOrigins.h"
#include "Core/metadata/AppInfoTexts.h"
#include "Core/metadata/MetadataPuller.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Quorvel/controllers/metadata/SecretExposure.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <set>

namespace quorvel {

struct MetadataController::Pulling {
    const Target& target;
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

std::string textOf(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& error) {
        return error.what();
    }
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
    gate_->run(OperationKind::pull, [&](Operation& operation) {
        const Target target = openForTransfer(operation, request.dryRun);
        const AppContexts contexts = access_.contexts(target.folder);
        if (contexts.wanted(request.context))
            (void)contexts.known(request.context); // refuses a misspelt one before all else
        operation.status(std::string(discoveringText));
        AutoPullLimiter own;
        AutoPullLimiter& limiter = request.limiter ? *request.limiter : own;
        const auto client = access_.client();
        AppDiscovery found = discover(*client, access_.clock(), target.app, limiter);
        AppInfoTexts texts(*client, found);
        const TextRules rules = access_.textRules(target.app, target.folder);
        PullOptions options(request.edits, rules.disabledLocales, rules.finalLineBreak);
        options.dryRun = request.dryRun;
        Pulling pulling{target, contexts, std::move(options), limiter, *client, std::move(found), texts};
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
        const auto failed = std::ranges::find_if(pulls, [](const ContextPull& one) { return !one.result; });
        if (failed != pulls.end() && pulls.size() == 1) std::rethrow_exception(failed->failure);
        if (request.dryRun == DryRun::no) rememberPull(pulling, pulls);
        operation.status(request.dryRun == DryRun::no ? reportOf(pulls) : "");
        if (failed != pulls.end()) operation.endWithError("Pull failed: " + textOf(failed->failure));
    });
    return pulls;
}

std::vector<PlatformContext> MetadataController::contextsToPull(const Pulling& pulling,
                                                                const PullRequest& request) const {
    access_.requireOwnFolder(pulling.target.app, pulling.target.folder, pulling.found.versionIDs);
    if (request.contexts == PullRequest::Contexts::all) return pulling.found.contexts;
    const auto& saved = pulling.contexts.saved();
    return {AppContexts::choose(pulling.found.contexts, pulling.contexts.wanted(request.context),
                                saved ? saved->selectedContextId : std::nullopt)};
}

ContextPull MetadataController::pullContext(Pulling& pulling, const PlatformContext& context) const {
    ContextPull pulled{context, std::nullopt};
    const MetadataFolder folder = pulling.target.folder.contextFolder(context.contextID());
    try {
        const AutoPullLimiter::Slot slot = pulling.limiter.acquire();
        pulled.result = MetadataPuller(pulling.client, access_.clock())
                            .pull(pulling.appInfoTexts, context, folder, pulling.options);
        if (auto exposed = exposedSecret(folder))
            pulled.result->summary.warnings.push_back(std::move(exposed->text));
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception&) {
        pulled.failure = std::current_exception();
        return pulled;
    }
    if (pulling.options.dryRun == DryRun::yes) return pulled;
    MetadataStore(folder).restrictSecrets();
    try {
        // A later change of a source text then shows its translations as out of date.
        TranslationOrigins::learn(MetadataStore(folder), sourceLocaleOf(pulling.target.app));
    } catch (const std::exception& error) {
        logger_.warning(fmt::format("What the translations were made from is not known: {}", error.what()));
    }
    return pulled;
}

void MetadataController::rememberPull(const Pulling& pulling, const std::vector<ContextPull>& pulls) {
    const auto pulled =
        std::ranges::find_if(pulls, [](const ContextPull& one) { return one.result.has_value(); });
    if (pulled == pulls.end()) return;
    const Target& target = pulling.target;
    access_.keepFolder(target.app, target.folder);

    const auto& found = pulling.found.contexts;
    const auto& saved = pulling.contexts.saved();
    const auto selected = saved ? saved->selectedContextId : std::nullopt;
    const bool stillThere =
        std::ranges::any_of(found, [&](const PlatformContext& context) { return context.id() == selected; });
    access_.saveContexts(target.app, target.folder, found, stillThere ? selected : pulled->context.id());
    access_.records().addMissingLocales(target.app.id, localesOf(pulls));
    showResult(target);
    published_.update([&](MetadataState& state) {
        const auto shown = std::ranges::find_if(pulls, [&](const ContextPull& one) {
            return one.result && one.context.id() == state.selectedContextId;
        });
        state.lastPull = (shown == pulls.end() ? *pulled : *shown).result;
    });
}

MetadataController::RemoteLook
MetadataController::compareRemote(const std::optional<std::string>& context) const {
    const ManagedApp app = access_.record();
    if (isBlank(app.appStoreId)) throw OperationRefused(Refusal::noAppStoreID);
    const MetadataFolder folder = access_.folderToRead(app, *gate_, DryRun::yes);
    const AppContexts contexts = access_.contexts(folder);
    if (context) (void)contexts.known(context); // refuses a misspelt one before all else
    const auto client = access_.client();
    const MetadataPuller puller(*client, access_.clock());
    const AppDiscovery found = puller.discover(app.appStoreId);
    if (found.contexts.empty()) throw OperationRefused(Refusal::noVersions);
    access_.requireOwnFolder(app, folder, found.versionIDs);
    const PlatformContext chosen = AppContexts::choose(
        found.contexts, context, contexts.saved() ? contexts.saved()->selectedContextId : std::nullopt);
    AppInfoTexts texts(*client, found);
    const ReadTexts remote = puller.look(texts, chosen);
    const MetadataFolder contextFolder = folder.contextFolder(chosen.contextID());
    return {chosen, contextFolder,
            compareWithRemote(MetadataStore(contextFolder), access_.textRules(app, folder), remote)};
}

} // namespace quorvel
