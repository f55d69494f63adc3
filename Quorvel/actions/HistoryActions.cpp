#include "Quorvel/actions/HistoryActions.h"

#include "Platform/text/Text.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <set>

namespace quorvel {

namespace {

constexpr std::string_view newestRun = "last";

// The shortest beginning of a run's identifier, of some length, that no other run of the app shares.
std::string shortNameOf(const PushHistory& history, const std::string& appID, const std::string& run) {
    constexpr std::size_t least = 8;
    std::size_t length = std::min(least, run.size());
    while (length < run.size() && history.runsBeginningWith(appID, run.substr(0, length)).size() > 1)
        ++length;
    return run.substr(0, length);
}

HistoryRun historyRunOf(const PushHistory& history, const std::string& appID, const PushRun& run) {
    const auto platform = fromRawValue<ASCPlatform>(run.platform.value_or(""));
    const auto slot = fromRawValue<AppStoreVersionStateClass>(run.stateClass.value_or(""));
    return {.run = run.sessionId,
            .shortName = shortNameOf(history, appID, run.sessionId),
            .started = run.started,
            .finished = run.finished,
            .context = platform && slot ? ContextID{*platform, *slot}.text() : run.platform.value_or(""),
            .platform = run.platform,
            .stateClass = run.stateClass,
            .versionString = run.versionString,
            .fields = run.fields,
            .failed = run.failed,
            .unknown = run.unknown,
            .locales = run.locales};
}

PushRun requireRun(const PushHistory& history, const ManagedApp& app, const std::string& wanted) {
    const auto runs =
        wanted == newestRun ? history.runs(app.id, 1) : history.runsBeginningWith(app.id, wanted);
    for (const PushRun& run : runs)
        if (runs.size() == 1 || run.sessionId == wanted) return run;
    if (runs.empty())
        throw ApplicationError(FailureKind::unknownRun,
                               wanted == newestRun
                                   ? fmt::format("nothing was pushed for {} yet", app.displayName)
                                   : fmt::format("{} has no run {}", app.displayName, quotedWord(wanted)));
    std::vector<std::string> names;
    for (const PushRun& run : runs)
        names.push_back(shortNameOf(history, app.id, run.sessionId));
    throw ApplicationError(FailureKind::severalRuns,
                           fmt::format("{} stands for several runs", quotedWord(wanted)),
                           fmt::format("There are {}.", fmt::join(names, ", ")));
}

// A reverted text that was none before is removed by the next push.
bool clearsText(const RevertReport& report, const std::vector<PushHistoryEntry>& entries) {
    return std::ranges::any_of(entries, [&](const PushHistoryEntry& entry) {
        const auto field = fromRawValue<FieldType>(entry.fieldType);
        return field && (entry.success || isOutcomeUnknown(entry)) && isBlank(entry.previousValue) &&
               std::ranges::find(report.reverted, FieldKey{entry.locale, *field}) != report.reverted.end();
    });
}

} // namespace

ListRuns::Result ListRuns::perform(Application& application, const Request& request, const ActionProgress&) {
    requireNumber("limit", request.limit, 1, Request::mostRuns);
    const ManagedApp app = AppDirectory(application, targetOf(request).choice).requireApp();
    const PushHistory history = application.history();
    Result result{referenceOf(app), {}};
    for (const PushRun& run : history.runs(app.id, static_cast<std::size_t>(request.limit)))
        result.runs.push_back(historyRunOf(history, app.id, run));
    return result;
}

ShowRun::Result ShowRun::perform(Application& application, const Request& request, const ActionProgress&) {
    const ManagedApp app = AppDirectory(application, targetOf(request).choice).requireApp();
    const PushHistory history = application.history();
    const PushRun run = requireRun(history, app, request.run);
    Result result{referenceOf(app), historyRunOf(history, app.id, run), {}};
    for (PushHistoryEntry& entry : history.entriesOfRun(app.id, run.sessionId)) {
        const bool isUnknown = isOutcomeUnknown(entry);
        result.entries.push_back({.finished = entry.timestamp,
                                  .locale = std::move(entry.locale),
                                  .field = std::move(entry.fieldType),
                                  .previous = std::move(entry.previousValue),
                                  .sent = std::move(entry.newValue),
                                  .success = entry.success,
                                  .isUnknown = isUnknown,
                                  .error = std::move(entry.errorMessage)});
    }
    // Requests finish in any order.
    std::ranges::stable_sort(result.entries, {}, [](const Entry& entry) {
        return std::pair(entry.locale, fromRawValue<FieldType>(entry.field));
    });
    return result;
}

RevertRun::Result RevertRun::perform(Application& application, const Request& request,
                                     const ActionProgress& progress) {
    const OpenedApp opened = openRecorded(application, targetOf(request));
    const PushHistory history = application.history();
    const PushRun run = requireRun(history, opened.app, request.run);
    const ToldOperations told(*opened.session, progress);
    Result result;
    result.report = opened.session->metadata->revert(run.sessionId, dryRunOf(request));
    const auto entries = history.entriesOfRun(opened.app.id, run.sessionId);
    result.clearsTexts = clearsText(result.report, entries);
    std::set<std::string> disabled;
    const LocaleSet all = application.apps().disabledLocales(opened.app.id);
    for (const PushHistoryEntry& entry : entries)
        if (all.contains(entry.locale)) disabled.insert(entry.locale);
    result.disabledLocales.assign(disabled.begin(), disabled.end());
    return result;
}

} // namespace quorvel
