#include "Quorvel/actions/TranslationActions.h"

#include "Core/ai/ASOClaudeStack.h"
#include "Core/ai/ClaudeCostRecorder.h"
#include "Core/ai/ClaudePricing.h"
#include "Quorvel/application/Application.h"

#include <chrono>
#include <filesystem>
#include <map>

namespace quorvel {

namespace {

TranslationWish::Which whichOf(bool all) {
    return all ? TranslationWish::Which::all : TranslationWish::Which::stale;
}

KeptAnswers keptAnswersOf(bool fresh) {
    return fresh ? KeptAnswers::renewed : KeptAnswers::taken;
}

} // namespace

PlanTranslation::Result PlanTranslation::perform(Application& application, const Request& request,
                                                 const ActionProgress&) {
    const OpenedApp opened = openRecorded(application, targetOf(request));
    Result result{opened.session->translation->plan({.context = request.context,
                                                     .sourceLocale = request.from,
                                                     .targetLocales = request.to,
                                                     .fields = request.fields,
                                                     .which = whichOf(request.all),
                                                     .keptAnswers = keptAnswersOf(request.fresh),
                                                     .dryRun = dryRunOf(request)})};
    // Nobody is to agree to the cost of what the service cannot be asked.
    if (!request.dryRun && !result.plan.nothing) application.requireModelAccess();
    return result;
}

TranslateTexts::Result TranslateTexts::perform(Application& application, const Request& request,
                                               const ActionProgress& progress) {
    const OpenedApp opened =
        openRecorded(application, {{request.plan.app.id, request.workspace}, request.folder});
    const auto stack = application.aiStack();
    const ToldOperations told(*opened.session, progress);
    Result result;
    result.report = opened.session->translation->translate(request.plan, stack.client);
    if (result.report.failure) result.failure = failureOf(result.report.failure);
    return result;
}

AcceptTexts::Result AcceptTexts::perform(Application& application, const Request& request,
                                         const ActionProgress& progress) {
    const OpenedApp opened = openLocal(application, targetOf(request));
    const ToldOperations told(*opened.session, progress);
    return {knownReferenceOf(opened.app), opened.session->translation->accept({.context = request.context,
                                                                               .locales = request.locales,
                                                                               .fields = request.fields,
                                                                               .dryRun = dryRunOf(request)})};
}

PlanEnglishKeywords::Result PlanEnglishKeywords::perform(Application& application, const Request& request,
                                                         const ActionProgress&) {
    const OpenedApp opened = openRecorded(application, targetOf(request));
    return {opened.session->translation->planEnglishKeywords(
        {.context = request.context, .which = whichOf(request.all), .dryRun = dryRunOf(request)})};
}

ExpandEnglishKeywords::Result ExpandEnglishKeywords::perform(Application& application, const Request& request,
                                                             const ActionProgress& progress) {
    const OpenedApp opened = openRecorded(application, targetOf(request));
    const ToldOperations told(*opened.session, progress);
    EnglishKeywordsOrder order{.context = request.context,
                               .which = whichOf(request.all),
                               .keptAnswers = keptAnswersOf(request.fresh)};
    // What lacks its texts is refused before the service is asked for, and what is up to date needs none.
    const auto plan = opened.session->translation->planEnglishKeywords(order);
    if (plan.locales.empty()) return {opened.session->translation->expandEnglishKeywords(order, nullptr)};
    const auto stack = application.aiStack();
    order.model = stack.model;
    progress.step({"Asking for keywords…", {}, 0});
    return {opened.session->translation->expandEnglishKeywords(order, stack.client)};
}

ShowCosts::Result ShowCosts::perform(Application& application, const Request& request,
                                     const ActionProgress&) {
    requireNumber("days", request.days, 1, Request::mostDays);
    Result result{.days = request.days};
    const auto ledger = ASOClaudeStack::ledgerFile(ASOClaudeStack::defaultDirectory(application.home()));
    std::error_code unreachable;
    if (!std::filesystem::exists(ledger, unreachable)) return result;
    const Date cutoff = application.clock()() - std::chrono::hours(24 * request.days);
    std::map<std::string, ModelCosts> models;
    std::map<std::string, FeatureCosts> features;
    for (const auto& entry : ClaudeCostRecorder(ledger, application.clock()).entries()) {
        if (entry.timestamp < cutoff) continue;
        ModelCosts& model = models[entry.model];
        model.model = entry.model;
        model.costIsAtMost = !ClaudePricing::isKnown(entry.model);
        ++(entry.cached ? model.cachedCalls : model.calls);
        FeatureCosts& feature = features[entry.feature];
        feature.feature = entry.feature;
        ++(entry.cached ? feature.cachedCalls : feature.calls);
        if (entry.cached) continue;
        feature.costUSD += entry.costUSD;
        feature.costIsAtMost = feature.costIsAtMost || model.costIsAtMost;
        model.inputTokens += entry.inputTokens;
        model.outputTokens += entry.outputTokens;
        model.costUSD += entry.costUSD;
        result.costUSD += entry.costUSD;
        result.costIsAtMost = result.costIsAtMost || model.costIsAtMost;
    }
    for (auto& [name, model] : models)
        result.models.push_back(std::move(model));
    for (auto& [name, feature] : features)
        result.features.push_back(std::move(feature));
    return result;
}

} // namespace quorvel
