#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Consent.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/RevenueOptions.h"
#include "Programs/quorvel/commands/RevenuePlot.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/RevenueAnalysisActions.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

// The language of the user's surroundings, such as "de" from "de_DE.UTF-8"; nothing for "C" and the like.
std::optional<std::string> languageOfSurroundings(const Invocation& invocation) {
    for (const std::string_view name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const auto value = invocation.surroundings.variable(name);
        if (!value || value->empty()) continue;
        std::string tag = value->substr(0, value->find_first_of(".@"));
        if (tag == "C" || tag == "POSIX") return std::nullopt;
        for (char& letter : tag)
            if (letter == '_') letter = '-';
        return languageName(tag) ? std::optional(tag) : std::nullopt;
    }
    return std::nullopt;
}

void printFigures(Output& output, const RevenueAnalysisPlan& plan) {
    const RevenueFigures& figures = plan.figures;
    output.line(fmt::format(
        "{} to {}: {}, {}, against {} and {} in the days before.", figures.firstDay, figures.lastDay,
        moneyText(figures.proceeds, figures.currency),
        counted(static_cast<std::size_t>(std::max<std::int64_t>(figures.downloads, 0)), "download"),
        moneyText(figures.proceedsOfDaysBefore, figures.currency), figures.downloadsOfDaysBefore));
}

// A terminal takes some characters of a foreign name for commands; a file does not.
void printPrompt(Output& output, const std::string& prompt) {
    if (output.streams().outIsTerminal)
        output.verbatim(prompt);
    else
        output.raw(prompt + "\n");
}

void printComment(Output& output, const AnalyseRevenue::Result& result) {
    output.styledLine(output.styled(Style::bold, escapeControls(result.comment.headline)));
    output.line();
    for (const auto& observation : result.comment.observations)
        output.line("• " + observation);
    if (!result.comment.suggestions.empty()) {
        output.line();
        output.line("Worth a look:");
        for (const auto& suggestion : result.comment.suggestions)
            output.line("• " + suggestion);
    }
    output.line();
    output.line(fmt::format(
        "Written by an AI model from the sums of {} to {}, for {}. Check it before you rely on it.",
        result.figures.firstDay, result.figures.lastDay, priceText(result.costUSD, result.costIsAtMost)));
}

ExitStatus analyseRevenue(Invocation& invocation) {
    Output& output = invocation.output;
    auto request = revenueRequest<PlanRevenueAnalysis::Request>(invocation);
    request.language = invocation.arguments.value("--language");
    if (!request.language) request.language = languageOfSurroundings(invocation);
    const auto planned = perform<PlanRevenueAnalysis>(invocation, request);
    const RevenueAnalysisPlan& plan = planned.plan;
    const std::string price = priceText(plan.estimatedCostUSD, plan.costIsAtMost);
    if (invocation.global.dryRun) {
        output.document(planned);
        printFigures(output, plan);
        if (invocation.global.verbose && !output.isJSON())
            printPrompt(output, plan.prompt.system + "\n\n" + plan.prompt.user);
        output.note(
            fmt::format("Dry run: one request would be sent at an estimated cost of {}, nothing was.{}",
                        price, invocation.global.verbose ? "" : " --verbose shows the prompt."));
    } else {
        if (invocation.global.yes) output.note(fmt::format("The estimated cost is {}.", price));
        (void)askConsent(
            invocation,
            {.text = fmt::format(
                 "Send these sums, by day and app, to the AI service? The estimated cost is {}.", price),
             .declined = "Nothing was sent.",
             .details = [&](Output& terminal) { printFigures(terminal, plan); }});
        const auto result = perform<AnalyseRevenue>(invocation, {plan, invocation.arguments.has("--fresh")});
        output.document(result);
        if (!output.isJSON()) printComment(output, result);
    }
    for (const auto& remark : plan.remarks)
        output.warning(remark);
    return plan.remarks.empty() ? ExitStatus::done : ExitStatus::partlyDone;
}

} // namespace

Command revenueAnalysisCommand() {
    auto arguments = revenueArguments();
    arguments.push_back(
        {"--language", "TAG",
         "Of the comment, such as de or pt-BR; that of LC_ALL, LC_MESSAGES or LANG without it"});
    arguments.push_back(freshArgument());
    return {.name = "revenue analyse",
            .summary = "Have the AI service comment on what was sold",
            .arguments = std::move(arguments),
            .heeds = {"--app", "--workspace", "--dry-run", "--yes"},
            .run = analyseRevenue,
            .details =
                "What is sent are sums: proceeds and first-time downloads per day, per app by its name, and "
                "per currency, those of at most 31 periods and 20 apps; no single sale, no identifier, no "
                "vendor number. A dry run shows them and the estimated cost, with --verbose the prompt, and "
                "needs no service. The same sums are commented on for nothing for a day; --fresh asks again. "
                "Example: quorvel revenue analyse --days 30 --language de --yes",
            .asksFirst = true};
}

} // namespace quorvel
