// From a command's options to a request, and from the request to its result.
#pragma once

#include "Programs/quorvel/Consent.h"
#include "Programs/quorvel/Invocation.h"
#include "Programs/quorvel/OperationProgress.h"
#include "Quorvel/actions/Action.h"
#include "Quorvel/application/AppDirectory.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// A request with the options that all commands share: --app, --workspace, --context, --folder, --dry-run.
template <typename Request>
[[nodiscard]] Request requestOf(const Invocation& invocation) {
    Request request;
    if constexpr (requires { request.app = std::optional<std::string>(); })
        request.app = invocation.global.app;
    if constexpr (requires { request.workspace = std::optional<std::string>(); })
        request.workspace = invocation.global.workspace;
    if constexpr (requires { request.context = std::optional<std::string>(); })
        request.context = invocation.global.context;
    if constexpr (requires { request.folder = std::optional<std::string>(); })
        request.folder = invocation.arguments.value("--folder");
    if constexpr (requires { request.dryRun = true; }) request.dryRun = invocation.global.dryRun;
    return request;
}

/// Tells what an import into the records did.
void printImported(Invocation& invocation, const std::optional<ImportedAppReport>& imported);

/// Performs an action while its progress stands on the terminal.
template <typename Action>
requires(!needsConsent(Action::info.effect)) typename Action::Result
    perform(Invocation& invocation, const typename Action::Request& request) {
    auto result = [&] {
        OperationProgress progress(invocation.output);
        return Action::perform(invocation.application, request, progress.actionProgress());
    }();
    if constexpr (requires { result.imported.has_value(); }) printImported(invocation, result.imported);
    return result;
}

/// The same for an action that the user has to agree to; `progress` in place of the line on the terminal.
template <typename Action>
requires(needsConsent(Action::info.effect)) typename Action::Result
    perform(Invocation& invocation, const typename Action::Request& request, const Consent&,
            const std::optional<ActionProgress>& progress = {}) {
    auto result = [&] {
        if (progress) return Action::perform(invocation.application, request, *progress);
        OperationProgress shown(invocation.output);
        return Action::perform(invocation.application, request, shown.actionProgress());
    }();
    if constexpr (requires { result.imported.has_value(); }) printImported(invocation, result.imported);
    return result;
}

/// The fields that a command takes, by any of their names: --field, several of them, or FIELD, the only one.
enum class Fields { all, ofStoreTexts };
[[nodiscard]] ArgumentSpec fieldOption(Fields fields);
[[nodiscard]] ArgumentSpec fieldArgument(Fields fields);
/// The options that name the app's folder.
[[nodiscard]] ArgumentSpec folderArgument();
/// Values that were given together or one by one: "--locale de-DE,ja --locale ko".
[[nodiscard]] std::vector<std::string> listOf(const Arguments& arguments, std::string_view name);

} // namespace quorvel
