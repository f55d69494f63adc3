#include "Quorvel/actions/RevenueAnalysisActions.h"

#include "Core/ai/ClaudePricing.h"
#include "Core/ai/PenwiseConfig.h"
#include "Platform/text/Counted.h"
#include "Quorvel/actions/RevenueActions.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

RevenueFigures figuresOf(const ShowRevenue::Result& revenue) {
    RevenueFigures figures{.firstDay = revenue.firstDay,
                           .lastDay = revenue.lastDay,
                           .currency = revenue.currency,
                           .proceeds = revenue.proceeds,
                           .proceedsOfDaysBefore = revenue.previousProceeds,
                           .downloads = revenue.downloads,
                           .downloadsOfDaysBefore = revenue.previousDownloads,
                           .daysBeforeWithoutReport = revenue.failedDays,
                           .proceedsAsReported = revenue.reported,
                           .currenciesLeftOut = revenue.unconverted};
    for (const auto& day : revenue.days) {
        const bool isMissing = day.status != DayResult::Status::ok;
        if (day.status == DayResult::Status::failed) --figures.daysBeforeWithoutReport;
        figures.periods.push_back({day.date, 1, day.proceeds, day.downloads, isMissing ? 1 : 0});
    }
    for (const auto& app : revenue.apps)
        figures.apps.push_back({app.displayName, app.proceeds, app.downloads});
    // Products of no recorded app go by no name of theirs.
    std::int64_t otherDownloads = 0;
    for (const auto& product : revenue.unknownProducts)
        otherDownloads += product.downloads;
    if (revenue.unattributedProceeds != 0 || otherDownloads != 0)
        figures.apps.push_back({"(products of no app here)", revenue.unattributedProceeds, otherDownloads});
    return figures.reduced();
}

bool hasNothing(const RevenueFigures& figures) {
    return figures.proceedsAsReported.empty() && figures.downloads == 0 &&
           figures.proceedsOfDaysBefore == 0 && figures.downloadsOfDaysBefore == 0;
}

std::vector<std::string> remarksOn(const ShowRevenue::Result& revenue) {
    std::vector<std::string> remarks;
    if (revenue.failedDays > 0)
        remarks.push_back(fmt::format("{} without a report: {}",
                                      counted(static_cast<std::size_t>(revenue.failedDays), "day"),
                                      revenue.failure.value_or("")));
    if (!revenue.unconverted.empty())
        remarks.push_back(fmt::format("No rate for {}: these sums are left out of the totals.",
                                      fmt::join(revenue.unconverted, ", ")));
    for (const auto& account : revenue.refusedAccounts)
        remarks.push_back(
            fmt::format("No newer reports of vendor number {}: {}", account.vendorNumber, account.reason));
    for (const auto& app : revenue.appsWithoutVendorNumber)
        remarks.push_back(fmt::format("No vendor number is stored for {}: its sales are missing.", app));
    return remarks;
}

std::string requireLanguage(const std::optional<std::string>& tag) {
    if (!tag) return "English";
    const auto name = languageName(*tag);
    if (!name)
        throw ApplicationError(FailureKind::badRequest, fmt::format("{} is no language", quotedWord(*tag)),
                               "Languages are named as in de, ja or pt-BR.");
    return *name;
}

} // namespace

PlanRevenueAnalysis::Result PlanRevenueAnalysis::perform(Application& application, const Request& request,
                                                         const ActionProgress& progress) {
    RevenueAnalysisPlan plan{.language = requireLanguage(request.language),
                             .model = std::string(PenwiseConfig::defaultModel)};
    if (!request.dryRun) application.requireModelAccess();
    const auto revenue = ShowRevenue::perform(application,
                                              {.days = request.days,
                                               .currency = request.currency,
                                               .apps = request.apps,
                                               .workspace = request.workspace,
                                               .vendorNumber = request.vendorNumber},
                                              progress);
    plan.figures = figuresOf(revenue);
    if (hasNothing(plan.figures))
        throw ApplicationError(
            FailureKind::failed,
            fmt::format("Nothing was sold or downloaded from {} to {}, nor in the days before: "
                        "there is nothing to comment on.",
                        revenue.firstDay, revenue.lastDay));
    plan.prompt = RevenueAnalysisService::prompt(plan.figures, plan.language);
    plan.estimatedCostUSD = RevenueAnalysisService::estimatedCostUSD(plan.model, plan.prompt);
    plan.costIsAtMost = !ClaudePricing::isKnown(plan.model);
    plan.remarks = remarksOn(revenue);
    return {std::move(plan)};
}

AnalyseRevenue::Result AnalyseRevenue::perform(Application& application, const Request& request,
                                               const ActionProgress& progress) {
    const auto stack = application.aiStack();
    progress.step({"Asking for a comment…", {}, 0});
    const RevenueAnalysisService service(stack.client, request.plan.model);
    const auto made =
        service.analyse(request.plan.prompt, request.fresh ? KeptAnswers::renewed : KeptAnswers::taken);
    return {.comment = made.comment,
            .figures = request.plan.figures,
            .language = request.plan.language,
            .costUSD = made.cost.costUSD,
            .costIsAtMost = request.plan.costIsAtMost,
            .remarks = request.plan.remarks};
}

} // namespace quorvel
