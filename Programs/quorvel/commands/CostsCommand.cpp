#include "Platform/text/Counted.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/TranslationActions.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

ExitStatus showCosts(Invocation& invocation) {
    ShowCosts::Request request;
    request.days = invocation.arguments.number("--days", 1, request.mostDays).value_or(request.days);
    const auto result = perform<ShowCosts>(invocation, request);
    Output& output = invocation.output;
    output.document(result);
    Table table{.columns = {{"Model"},
                            {"Paid calls", Table::Align::right},
                            {"From the cache", Table::Align::right},
                            {"Tokens in", Table::Align::right},
                            {"Tokens out", Table::Align::right},
                            {"Cost", Table::Align::right}},
                .rows = {}};
    for (const ShowCosts::ModelCosts& model : result.models)
        table.rows.push_back({model.model, std::to_string(model.calls), std::to_string(model.cachedCalls),
                              std::to_string(model.inputTokens), std::to_string(model.outputTokens),
                              priceText(model.costUSD, model.costIsAtMost)});
    if (!table.rows.empty()) output.table(table);
    Table features{.columns = {{"Feature"},
                               {"Paid calls", Table::Align::right},
                               {"From the cache", Table::Align::right},
                               {"Cost", Table::Align::right}},
                   .rows = {}};
    for (const ShowCosts::FeatureCosts& feature : result.features)
        features.rows.push_back({feature.feature.empty() ? "(not recorded)" : feature.feature,
                                 std::to_string(feature.calls), std::to_string(feature.cachedCalls),
                                 priceText(feature.costUSD, feature.costIsAtMost)});
    if (!features.rows.empty()) {
        output.line();
        output.table(features);
    }
    output.line(fmt::format("{} in the last {}.", priceText(result.costUSD, result.costIsAtMost),
                            counted(static_cast<std::size_t>(result.days), "day")));
    return ExitStatus::done;
}

} // namespace

std::vector<Command> costsCommands() {
    return {{.name = "costs",
             .summary = "Show what AI requests cost",
             .arguments = {{"--days", "N", "Of the last N days; 30 without it"}},
             .run = showCosts,
             .details = "Models whose prices are not known are counted at the highest price; their sums are "
                        "upper bounds and say \"at most\". Example: quorvel costs --days 7"}};
}

} // namespace quorvel
