#include "Quorvel/actions/TranslationActions.h"

#include "Core/ai/ASOClaudeStack.h"
#include "Core/ai/ClaudeCostRecorder.h"
#include "Quorvel/application/Application.h"

#include <chrono>
#include <filesystem>
#include <map>

namespace quorvel {

PlanTranslation::Result PlanTranslation::perform(Application& application, const Request& request,
                                                 const ActionProgress&) {
    const OpenedApp opened = openRecorded(application, targetOf(request));
    for (const std::string& locale : request.to)
        requireAppStoreLocale(locale);
    if (request.from) requireAppStoreLocale(*request.from);
    Result result{opened.session->translation->plan(
        {.context = request.context,
         .sourceLocale = request.from,
         .targetLocales = request.to,
         .fields = request.fields,
         .which = request.all ? TranslationWish::Which::all : TranslationWish::Which::stale,
         .keptAnswers = request.fresh ? KeptAnswers::renewed : KeptAnswers::taken,
         .dryRun = dryRunOf(request)})};
    // Nobody is to agree to the cost of what the service cannot be asked.
    if (!request.dryRun && !result.plan.nothing) application.requireModelAccess();
    return result;
}

TranslateTexts::Result TranslateTexts::perform(Application& application, const Request& request,
                                               const ActionProgress& progress) {
    const OpenedApp opened =
        openRecorded(application, {{request.plan.app.id, request.workspace}, request.folder});
    const auto stack = application.aiStack(request.plan.fresh ? KeptAnswers::renewed : KeptAnswers::taken);
    const ToldOperations told(*opened.session, progress);
    Result result;
    result.report = opened.session->translation->translate(request.plan, stack.client);
    if (result.report.failure) result.failure = failureOf(result.report.failure);
    return result;
}

PlanEnglishKeywords::Result PlanEnglishKeywords::perform(Application& application, const Request& request,
                                                         const ActionProgress&) {
    const OpenedApp opened = openRecorded(application, targetOf(request));
    return {opened.session->translation->planEnglishKeywords(
        request.context, std::string(PenwiseConfig::defaultModel), dryRunOf(request))};
}

ExpandEnglishKeywords::Result ExpandEnglishKeywords::perform(Application& application, const Request& request,
                                                             const ActionProgress& progress) {
    const OpenedApp opened = openRecorded(application, targetOf(request));
    const ToldOperations told(*opened.session, progress);
    // What lacks its texts is refused before the service is asked for.
    (void)opened.session->translation->planEnglishKeywords(request.context, {});
    const auto stack = application.aiStack(request.fresh ? KeptAnswers::renewed : KeptAnswers::taken);
    progress.step({"Asking for keywords…", {}, 0});
    return {opened.session->translation->expandEnglishKeywords(request.context, stack)};
}

ShowCosts::Result ShowCosts::perform(Application& application, const Request& request,
                                     const ActionProgress&) {
    requireNumber("days", request.days, 1, Request::mostDays);
    Result result{.days = request.days};
    const auto ledger = ASOClaudeStack::ledgerFile(ASOClaudeStack::defaultDirectory(application.home()));
    if (!std::filesystem::exists(ledger)) return result;
    const Date cutoff = application.clock()() - std::chrono::hours(24 * request.days);
    std::map<std::string, ModelCosts> models;
    for (const auto& entry : ClaudeCostRecorder(ledger, application.clock()).entries()) {
        if (entry.timestamp < cutoff) continue;
        ModelCosts& model = models[entry.model];
        model.model = entry.model;
        ++(entry.cached ? model.cachedCalls : model.calls);
        if (entry.cached) continue;
        model.inputTokens += entry.inputTokens;
        model.outputTokens += entry.outputTokens;
        model.costUSD += entry.costUSD;
        result.costUSD += entry.costUSD;
    }
    for (auto& [name, model] : models)
        result.models.push_back(std::move(model));
    return result;
}

} // namespace quorvel
