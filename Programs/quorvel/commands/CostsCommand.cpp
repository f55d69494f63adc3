#include "Core/ai/ASOClaudeStack.h"
#include "Programs/quorvel/commands/AIServices.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/MetadataRecords.h"

#include <fmt/format.h>

#include <map>

namespace quorvel {

namespace {

constexpr long defaultDays = 30;
constexpr long mostDays = 36'500;

struct ModelCosts {
    std::string model;
    std::int64_t calls = 0; // paid for
    std::int64_t cachedCalls = 0;
    std::int64_t inputTokens = 0; // of the calls that were paid for, as the next
    std::int64_t outputTokens = 0;
    double costUSD = 0;
    QUORVEL_RECORD(ModelCosts, model, calls, cachedCalls, inputTokens, outputTokens, costUSD)
};

struct CostsDocument {
    std::int64_t days = 0;
    double costUSD = 0;
    std::vector<ModelCosts> models;
    QUORVEL_RECORD(CostsDocument, days, costUSD, models)
};

CostsDocument costsOf(const std::filesystem::path& ledger, const Clock& clock, long days) {
    CostsDocument document{.days = days};
    if (!std::filesystem::exists(ledger)) return document;
    const Date cutoff = clock() - std::chrono::hours(24 * days);
    std::map<std::string, ModelCosts> models;
    for (const ClaudeCostRecorder::LogEntry& entry : ClaudeCostRecorder(ledger, clock).entries()) {
        if (entry.timestamp < cutoff) continue;
        ModelCosts& model = models[entry.model];
        model.model = entry.model;
        ++(entry.cached ? model.cachedCalls : model.calls);
        if (entry.cached) continue;
        model.inputTokens += entry.inputTokens;
        model.outputTokens += entry.outputTokens;
        model.costUSD += entry.costUSD;
        document.costUSD += entry.costUSD;
    }
    for (auto& [name, model] : models)
        document.models.push_back(std::move(model));
    return document;
}

ExitStatus showCosts(Invocation& invocation) {
    const long days = invocation.arguments.number("--days", 1, mostDays).value_or(defaultDays);
    const auto ledger =
        ASOClaudeStack::ledgerFile(ASOClaudeStack::defaultDirectory(invocation.composition.home()));
    const CostsDocument document = costsOf(ledger, invocation.composition.clock(), days);
    Output& output = invocation.output;
    output.document(document);
    Table table{.columns = {{"Model"},
                            {"Paid calls", Table::Align::right},
                            {"From the cache", Table::Align::right},
                            {"Tokens in", Table::Align::right},
                            {"Tokens out", Table::Align::right},
                            {"Cost", Table::Align::right}},
                .rows = {}};
    for (const ModelCosts& model : document.models)
        table.rows.push_back({model.model, std::to_string(model.calls), std::to_string(model.cachedCalls),
                              std::to_string(model.inputTokens), std::to_string(model.outputTokens),
                              priceText(model.costUSD)});
    if (!table.rows.empty()) output.table(table);
    output.line(fmt::format("{} in the last {}.", priceText(document.costUSD),
                            counted(static_cast<std::size_t>(days), "day")));
    return ExitStatus::done;
}

} // namespace

std::vector<Command> costsCommands() {
    return {{.name = "costs",
             .summary = "Show what AI requests cost",
             .arguments = {{"--days", "N", "Of the last N days; 30 without it"}},
             .run = showCosts,
             .details =
                 "Models whose prices are not known are counted at the highest price, so the sum is an upper "
                 "bound."}};
}

} // namespace quorvel
