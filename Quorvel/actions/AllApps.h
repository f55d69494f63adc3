// One action for every recorded app of a workspace: each with its own outcome, and none stops the others.
#pragma once

#include "Platform/task/Task.h"
#include "Quorvel/actions/Target.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/controllers/metadata/MetadataController.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace quorvel {

/// What became of one app.
template <typename ActionResult>
struct AppOutcome {
    AppReference app;
    std::optional<ActionResult> result;
    std::optional<Failure> failure;
    QUORVEL_RECORD(AppOutcome, app, result, failure)
};

/// The recorded apps of the workspace in view. Throws `ApplicationError` when there is none.
[[nodiscard]] inline std::vector<ManagedApp> allAppsInView(Application& application,
                                                           const std::optional<std::string>& workspace) {
    auto apps = AppDirectory(application, {{}, workspace}).appsInView();
    if (apps.empty()) throw ApplicationError(FailureKind::noAppRecorded, "no app is recorded here");
    return apps;
}

/// `work` for each of `items`, several at once; `appOf` tells the app that an item is of. Throws
/// `CancellationError`; any other failure is one of the outcomes.
template <typename Item, typename AppOf, typename Work>
[[nodiscard]] auto outcomesOfApps(const std::vector<Item>& items, AppOf&& appOf, Work&& work) {
    using Outcome = AppOutcome<decltype(work(items.front()))>;
    constexpr std::size_t width = 4; // each works on its own files; the client bounds the requests
    return parallelMap(items, width, [&](const Item& item) {
        Outcome outcome{appOf(item), std::nullopt, std::nullopt};
        try {
            outcome.result = work(item);
        } catch (const CancellationError&) {
            throw;
        } catch (const std::exception& error) {
            outcome.failure = failureOf(error);
        }
        return outcome;
    });
}

/// `look` with the request for each recorded app of the workspace. Throws `ApplicationError` for a request
/// that names an app or a folder, and when no app is recorded.
template <typename Request, typename Look>
[[nodiscard]] auto performForAllApps(Application& application, const Request& request, Look&& look) {
    if (request.app)
        throw ApplicationError(FailureKind::badRequest, "all apps and a single one exclude each other");
    if (request.folder) throw ApplicationError(FailureKind::badRequest, "a folder is for a single app");
    return outcomesOfApps(
        allAppsInView(application, request.workspace), [](const ManagedApp& app) { return referenceOf(app); },
        [&](const ManagedApp& app) {
            Request one = request;
            one.app = app.id;
            return look(one);
        });
}

} // namespace quorvel
