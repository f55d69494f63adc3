#include "Quorvel/actions/PullActions.h"

#include "Platform/task/Task.h"
#include "Quorvel/application/Application.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace quorvel {

namespace {

using PullRequest = MetadataController::PullRequest;

PullRequest pullRequestOf(Application& application, const PullTexts::Request& request) {
    if (request.allContexts && request.context)
        throw ApplicationError(FailureKind::badRequest, "all contexts and a single one exclude each other");
    PullRequest wanted;
    if (request.context) wanted.context = requireContextID(*request.context).text();
    if (request.allContexts) wanted.contexts = PullRequest::Contexts::all;
    if (request.leaveEdits && request.replaceEdits)
        throw ApplicationError(FailureKind::badRequest,
                               "leaving edits in place and replacing them exclude each other");
    if (request.leaveEdits) wanted.edits = LocalEdits::leaveInPlace;
    if (request.replaceEdits) wanted.edits = LocalEdits::keepBeside;
    wanted.dryRun = dryRunOf(request);
    if (request.allContexts || request.allApps) wanted.limiter = &application.limiter();
    return wanted;
}

std::vector<ManagedApp> appsToPull(Application& application, const PullTexts::Request& request) {
    if (request.app)
        throw ApplicationError(FailureKind::badRequest, "all apps and a single one exclude each other");
    if (request.folder) throw ApplicationError(FailureKind::badRequest, "a folder is for a single app");
    auto apps = AppDirectory(application, targetOf(request).choice).appsInView();
    if (apps.empty()) throw ApplicationError(FailureKind::noAppRecorded, "no app is recorded here");
    return apps;
}

PullTexts::Pull pullOf(const ManagedApp& app, MetadataController::ContextPull&& pulled) {
    PullTexts::Pull pull{.app = referenceOf(app),
                         .folder = {},
                         .context = pulled.context.id(),
                         .version = pulled.context,
                         .result = std::move(pulled.result)};
    if (pulled.failure) pull.failure = failureOf(pulled.failure);
    return pull;
}

// A failure of an app is one of the results.
std::vector<PullTexts::Pull> pullApp(const OpenedApp& opened, const PullRequest& request) {
    std::vector<PullTexts::Pull> pulls;
    try {
        for (auto& pulled : opened.session->metadata->pull(request))
            pulls.push_back(pullOf(opened.app, std::move(pulled)));
        const std::string folder = opened.session->metadata->folder().rootURL.string();
        for (PullTexts::Pull& pull : pulls)
            pull.folder = folder;
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception& error) {
        pulls = {{.app = referenceOf(opened.app), .failure = failureOf(error)}};
    }
    return pulls;
}

PullTexts::Result pullSeveral(Application& application, const std::vector<OpenedApp>& apps,
                              const PullRequest& request, const ActionProgress& progress) {
    WorkspaceIndex& index = application.index();
    constexpr std::size_t width = 8; // the limiter lets fewer work
    const auto all = parallelMap(apps, width, [&](const OpenedApp& opened) {
        const ToldOperations told(*opened.session, progress);
        auto pulls = pullApp(opened, request);
        progress.step({fmt::format("Pulled {}", opened.app.displayName), {}, 0});
        return pulls;
    });
    PullTexts::Result result;
    for (const auto& pulls : all)
        result.pulls.insert(result.pulls.end(), pulls.begin(), pulls.end());
    if (request.dryRun == DryRun::yes) return result;
    const auto state = index.state(); // follows the notifications of the pulls
    for (const OpenedApp& opened : apps)
        if (const auto found = state->summaries.find(opened.app.id); found != state->summaries.end())
            result.attentionCount += found->second.attentionCount();
    return result;
}

} // namespace

PullTexts::Result PullTexts::perform(Application& application, const Request& request,
                                     const ActionProgress& progress) {
    const PullRequest wanted = pullRequestOf(application, request);
    if (request.allApps) {
        std::vector<OpenedApp> apps;
        for (const ManagedApp& app : appsToPull(application, request)) {
            RequestedTarget target = targetOf(request);
            target.choice.app = app.id;
            apps.push_back(openRecorded(application, target));
        }
        return pullSeveral(application, apps, wanted, progress);
    }
    OpenedApp opened = request.dryRun ? openUnchanged(application, targetOf(request))
                                      : openOrImport(application, targetOf(request));
    if (request.allContexts) {
        Result result = pullSeveral(application, {opened}, wanted, progress);
        result.imported = std::move(opened.imported);
        return result;
    }
    const ToldOperations told(*opened.session, progress);
    Result result;
    MetadataController& metadata = *opened.session->metadata;
    result.isFirst = !metadata.contexts().saved();
    result.pulls.push_back(pullOf(opened.app, std::move(metadata.pull(wanted).front())));
    result.pulls.front().folder = metadata.folder().rootURL.string();
    std::ranges::transform(metadata.state()->contexts, std::back_inserter(result.contexts),
                           &PlatformContext::id);
    const LocaleSet disabled =
        opened.app.id.empty() ? LocaleSet() : application.apps().disabledLocales(opened.app.id);
    result.disabledLocales.assign(disabled.begin(), disabled.end());
    result.imported = std::move(opened.imported);
    return result;
}

} // namespace quorvel
