#include "Quorvel/actions/CheckActions.h"

#include "Core/metadata/MetadataError.h"
#include "Platform/task/Task.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/repository/RepositoryFile.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

using Check = CheckTexts::Check;

Check checkApp(const OpenedApp& opened, const CheckTexts::Request& request) {
    auto checked = opened.session->metadata->check(request.context,
                                                   {.locales = request.locales, .fields = request.fields});
    for (const std::string& locale : request.locales)
        if (!std::ranges::binary_search(checked.locales, locale) &&
            std::ranges::find(checked.findings, locale, &CheckFinding::locale) == checked.findings.end())
            throw MetadataError::unknownLocale(locale, checked.folder.rootURL, checked.locales);
    Check check{.app = knownReferenceOf(opened.app),
                .folder = opened.session->metadata->folder().rootURL.string(),
                .repository = {},
                .context = checked.context.text(),
                .version = std::move(checked.version),
                .findings = std::move(checked.findings),
                .texts = static_cast<std::int64_t>(checked.texts),
                .pictures = static_cast<std::int64_t>(checked.pictures),
                .failure = {}};
    if (const auto top = workingTreeOf(check.folder)) check.repository = top->native();
    for (CheckFinding& finding : check.findings)
        finding.file = std::filesystem::path(finding.file).lexically_relative(check.folder).native();
    return check;
}

Check tryToCheck(Application& application, const ManagedApp& app, const CheckTexts::Request& request) {
    try {
        RequestedTarget target = targetOf(request);
        target.choice.app = app.id;
        return checkApp(openRecorded(application, target), request);
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception& error) {
        return {.app = referenceOf(app),
                .folder = {},
                .repository = {},
                .context = {},
                .version = {},
                .findings = {},
                .failure = failureOf(error)};
    }
}

std::vector<ManagedApp> appsToCheck(Application& application, const CheckTexts::Request& request) {
    if (request.app)
        throw ApplicationError(FailureKind::badRequest, "all apps and a single one exclude each other");
    if (request.folder) throw ApplicationError(FailureKind::badRequest, "a folder is for a single app");
    auto apps = AppDirectory(application, targetOf(request).choice).appsInView();
    if (apps.empty()) throw ApplicationError(FailureKind::noAppRecorded, "no app is recorded here");
    return apps;
}

} // namespace

CheckTexts::Result CheckTexts::perform(Application& application, const Request& request,
                                       const ActionProgress& progress) {
    Result result;
    if (request.allApps)
        for (const ManagedApp& app : appsToCheck(application, request)) {
            progress.step({fmt::format("Checking {}…", app.displayName), {}, 0});
            result.checks.push_back(tryToCheck(application, app, request));
        }
    else
        result.checks.push_back(checkApp(openLocal(application, targetOf(request)), request));
    for (const Check& check : result.checks)
        for (const CheckFinding& finding : check.findings)
            ++(finding.severity == CheckSeverity::error ? result.errors : result.warnings);
    return result;
}

} // namespace quorvel
