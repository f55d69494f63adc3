#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/CSV.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/RevenueOptions.h"
#include "Programs/quorvel/commands/RevenuePlot.h"
#include "Quorvel/actions/RevenueActions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cmath>

namespace quorvel {

namespace {

using Day = ShowRevenue::Day;
using Status = DayResult::Status;

// The change against the window before; nothing where that had no sales.
std::string changeText(double now, double before) {
    if (before <= 0) return "";
    const double change = (now / before - 1) * 100;
    return fmt::format(" ({}{:.0f} % against the days before)", change < 0 ? "−" : "+", std::fabs(change));
}

void printTotals(Output& output, const ShowRevenue::Result& result) {
    output.styledLine(
        output.styled(Style::bold, fmt::format("PROCEEDS · LAST {} DAYS  {} to {}", result.days.size(),
                                               result.firstDay, result.lastDay)));
    output.line(fmt::format("{}{}", moneyText(result.proceeds, result.currency),
                            changeText(result.proceeds, result.previousProceeds)));
    output.line(fmt::format(
        "{}{}",
        counted(static_cast<std::size_t>(std::max<std::int64_t>(result.downloads, 0)), "first-time download"),
        changeText(static_cast<double>(result.downloads), static_cast<double>(result.previousDownloads))));
    output.line();
}

void printApps(Output& output, const ShowRevenue::Result& result) {
    Table table{.columns = {{"App", Table::Align::left, Table::Fit::cut},
                            {"Proceeds", Table::Align::right},
                            {"Downloads", Table::Align::right},
                            {"As reported", Table::Align::left, Table::Fit::drop}},
                .rows = {}};
    for (const auto& share : result.apps)
        table.rows.push_back({share.displayName, moneyText(share.proceeds, result.currency),
                              std::to_string(share.downloads), reportedText(share.reported)});
    if (result.unattributedProceeds != 0)
        table.rows.push_back({"(no app of these)", moneyText(result.unattributedProceeds, result.currency)});
    if (!table.rows.empty()) output.table(table);
}

// What of the accounts is not in the result; whether anything.
bool printRefusals(Output& output, const std::vector<RefusedAccount>& refused,
                   const std::vector<std::string>& appsWithoutVendorNumber) {
    for (const auto& account : refused)
        output.warning(
            fmt::format("No newer reports of vendor number {}: {}", account.vendorNumber, account.reason));
    for (const std::string& app : appsWithoutVendorNumber)
        output.warning(fmt::format("No vendor number is stored for {}: its sales are missing. "
                                   "'quorvel auth set --vendor-number NUMBER' stores one.",
                                   app));
    return !refused.empty() || !appsWithoutVendorNumber.empty();
}

void printRemarks(Output& output, const ShowRevenue::Result& result) {
    if (!result.reported.empty()) output.line(fmt::format("As reported: {}", reportedText(result.reported)));
    if (result.rateDate) output.line(fmt::format("Converted with the rates of {}.", *result.rateDate));
    if (result.ratesProblem)
        output.warning(fmt::format("Newer exchange rates are not to be had: {}.", *result.ratesProblem));
    if (!result.unconverted.empty())
        output.warning(fmt::format("No rate for {}: these sums are left out of the totals.",
                                   fmt::join(result.unconverted, ", ")));
    for (const auto& product : result.unknownProducts)
        output.note(fmt::format("No app here for {} ({}): {}, {} downloads.",
                                product.sku.empty() ? "a product" : product.sku, product.appleIdentifier,
                                moneyText(product.proceeds, result.currency), product.downloads));
    if (!result.days.empty() && result.days.back().status == Status::notYetPublished)
        output.note(fmt::format("Apple has not published {} yet.", result.lastDay));
    if (result.unreadableNumbers > 0)
        output.warning(fmt::format("{} of the reports held something else than a number; it counts as 0.",
                                   counted(static_cast<std::size_t>(result.unreadableNumbers), "row")));
    if (result.failedDays > 0)
        output.warning(fmt::format("{} without a report: {}",
                                   counted(static_cast<std::size_t>(result.failedDays), "day"),
                                   result.failure.value_or("")));
}

ExitStatus showRevenue(Invocation& invocation) {
    const auto result = perform<ShowRevenue>(invocation, revenueRequest<ShowRevenue::Request>(invocation));
    Output& output = invocation.output;
    output.document(result);
    if (!output.isJSON()) {
        printTotals(output, result);
        printRevenuePlot(output, result);
        printApps(output, result);
    }
    printRemarks(output, result);
    const bool isRefused = printRefusals(output, result.refusedAccounts, result.appsWithoutVendorNumber);
    return result.failedDays == 0 && !isRefused ? ExitStatus::done : ExitStatus::partlyDone;
}

ExitStatus exportRevenue(Invocation& invocation) {
    if (invocation.output.isJSON() && invocation.arguments.has("--csv"))
        throw UsageError("--csv and --json exclude each other");
    const auto result = perform<ExportRevenue>(invocation, revenueRequest<ShowRevenue::Request>(invocation));
    Output& output = invocation.output;
    output.document(result);
    if (!output.isJSON()) {
        output.raw("date,app,name,currency,proceeds,units,downloads\n");
        // A terminal takes some characters of a foreign name for commands; a file does not.
        const auto cell = [&](const std::string& text) {
            return csvCell(output.streams().outIsTerminal ? escapeControls(text) : text);
        };
        for (const auto& row : result.rows)
            output.raw(fmt::format("{},{},{},{},{:.2f},{},{}\n", cell(row.date), cell(row.app),
                                   cell(row.displayName), cell(row.currency), row.proceeds, row.units,
                                   row.downloads));
    }
    if (!result.unpublishedDays.empty())
        output.note(fmt::format("Not published yet: {}.", fmt::join(result.unpublishedDays, ", ")));
    if (!result.failedDays.empty())
        output.warning(fmt::format("Without a report: {}.", fmt::join(result.failedDays, ", ")));
    const bool isRefused = printRefusals(output, result.refusedAccounts, result.appsWithoutVendorNumber);
    return result.failedDays.empty() && !isRefused ? ExitStatus::done : ExitStatus::partlyDone;
}

std::vector<ArgumentSpec> exportArguments() {
    auto arguments = revenueArguments();
    arguments.push_back({"--csv", "", "As CSV, which is what it is without --json"});
    return arguments;
}

} // namespace

std::vector<ArgumentSpec> revenueArguments() {
    return {{.name = "--days",
             .value = "N",
             .description = "The last N whole days; 30 without it",
             .suggestions = {"7", "30", "90"}},
            {"--currency", "CODE", "The currency of the sums, such as EUR; kept for the next time"},
            {"--vendor-number", "NUMBER", "The vendor number, instead of the stored one"}};
}

std::vector<Command> revenueCommands() {
    return {{.name = "revenue",
             .summary = "Show proceeds and first-time downloads of the apps",
             .arguments = revenueArguments(),
             .heeds = {"--app", "--workspace"},
             .run = showRevenue,
             .details =
                 "Read from Apple's daily sales reports, which need the vendor number of the account "
                 "('quorvel auth set --vendor-number NUMBER') and a key with the role Sales, Finance "
                 "or Admin. Days end at midnight in Los Angeles. Reports are kept, and only the last "
                 "three days are asked for again.\n\n"
                 "Without --app all apps of the workspace count; --app takes several, separated by commas."},
            {.name = "revenue export",
             .summary = "Write one row per day, app and currency as CSV, or with --json as JSON",
             .arguments = exportArguments(),
             .heeds = {"--app", "--workspace"},
             .run = exportRevenue,
             .details = "The amounts are those that Apple reports, not converted. Example: quorvel revenue "
                        "export --days 90 > sales.csv"},
            revenueAnalysisCommand()};
}

} // namespace quorvel
