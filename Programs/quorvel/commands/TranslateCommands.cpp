#include "Core/ai/translation/Translation.h"
#include "Core/metadata/Locales.h"
#include "Platform/task/Task.h"
#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/TranslationActions.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>

namespace quorvel {

namespace {

void printPrompts(Output& output, const TranslationPlan& plan) {
    for (const auto& preview : plan.items) {
        output.styledLine(
            output.styled(Style::bold, fmt::format("{} {}", escapeControls(preview.item.targetLocale),
                                                   shortLabelOf(preview.item.field))));
        if (preview.skippedBecause) output.line(*preview.skippedBecause);
        if (preview.fromCache) output.line("Answered from the cache; nothing would be sent.");
        if (preview.prompt) output.raw(preview.prompt->system + "\n\n" + preview.prompt->user + "\n\n");
    }
}

// How many texts share a fate, and which.
void printSummary(Output& output, const TranslationPlan& plan) {
    std::vector<std::pair<std::string, std::vector<FieldKey>>> fates; // in the order of the first
    for (const auto& preview : plan.items) {
        const std::string fate = preview.skippedBecause ? "Skipped: " + *preview.skippedBecause
                                 : preview.fromCache    ? "Answered from the cache"
                                                        : "To be asked for";
        auto found = std::ranges::find(fates, fate, &decltype(fates)::value_type::first);
        if (found == fates.end()) found = fates.insert(found, {fate, {}});
        found->second.push_back({preview.item.targetLocale, preview.item.field});
    }
    Table table{.columns = {{"Texts", Table::Align::right},
                            {"What", Table::Align::left, Table::Fit::wrap},
                            {"Which", Table::Align::left, Table::Fit::wrap}},
                .rows = {}};
    for (const auto& [fate, keys] : fates)
        table.rows.push_back({std::to_string(keys.size()), fate, placesOf(keys)});
    output.table(table);
}

ExitStatus showPlan(Invocation& invocation, const PlanTranslation::Result& planned) {
    Output& output = invocation.output;
    const TranslationPlan& plan = planned.plan;
    output.document(planned);
    if (output.isJSON()) return ExitStatus::done;
    printSummary(output, plan);
    if (invocation.global.verbose) printPrompts(output, plan);
    output.note(fmt::format("Dry run: {} would be sent at an estimated cost of {}, nothing was.{}",
                            counted(static_cast<std::size_t>(plan.requests), "request"),
                            priceText(plan.estimatedCostUSD, plan.costIsAtMost),
                            invocation.global.verbose ? "" : " --verbose shows the prompts."));
    return ExitStatus::done;
}

std::string whyNothing(const TranslationPlan& plan) {
    if (plan.nothing == NothingToTranslate::upToDate)
        return "Every text is there and up to date; --all makes them anew, and --all --fresh in other words.";
    return fmt::format("The fields are empty in {}, or 'quorvel rules' turns them off.", plan.sourceLocale);
}

void confirmCost(Invocation& invocation, const TranslationPlan& plan) {
    if (plan.replacements > 0)
        invocation.output.note(fmt::format("{} that {} there already will be replaced and backed up first.",
                                           counted(static_cast<std::size_t>(plan.replacements), "text"),
                                           plan.replacements == 1 ? "is" : "are"));
    confirmCost(invocation, plan.estimatedCostUSD, plan.costIsAtMost);
}

Table::Cell resultCell(const TranslatedText& text) {
    if (text.error) return {"FAILED", Style::red};
    if (text.skipped) return {"skipped", Style::dim};
    if (!text.review) return {"as it was", Style::dim};
    if (text.isOverLimit) return {"cut, review", Style::yellow};
    if (!text.remarks.empty()) return {"see remarks, review", Style::yellow};
    return {text.fromCache ? "from the cache, review" : "review", Style::green};
}

// Errors first.
void printProblems(Output& output, const std::vector<TranslatedText>& texts) {
    std::vector<PushWarning> problems;
    for (const TranslatedText& text : texts)
        if (text.error) problems.push_back({text.locale, text.field, *text.error});
    for (const TranslatedText& text : texts)
        for (const std::string& remark : text.remarks)
            problems.push_back({text.locale, text.field, remark});
    printWarnings(output, problems);
}

void printReport(Output& output, const TranslationReport& report) {
    Table table{.columns = {{"Locale"}, {"Field"}, {"Characters", Table::Align::right}, {"Result"}},
                .rows = {}};
    for (const TranslatedText& text : report.texts)
        table.rows.push_back({text.locale, shortLabelOf(text.field),
                              text.review ? fmt::format("{}/{}", text.length, text.limit) : "",
                              resultCell(text)});
    output.table(table);
    printProblems(output, report.texts);
    const auto replaced = std::ranges::find_if(
        report.texts, [](const TranslatedText& text) { return text.backup.has_value(); });
    if (replaced != report.texts.end())
        output.note(fmt::format("Texts that were there were backed up, such as {}", *replaced->backup));
    output.line();
    const auto written = std::ranges::count(report.texts, true, &TranslatedText::review);
    output.line(fmt::format("Wrote {} for {}. Read them with 'quorvel diff', then accept them with "
                            "'quorvel translate --accept' and push.",
                            counted(static_cast<std::size_t>(written), "text"),
                            priceText(report.costUSD, report.costIsAtMost)));
}

ExitStatus exitStatusOf(const TranslateTexts::Result& result) {
    const auto& texts = result.report.texts;
    const auto failed =
        std::ranges::count_if(texts, [](const TranslatedText& text) { return text.error.has_value(); });
    if (failed == 0) return ExitStatus::done;
    if (failed < std::ranges::ssize(texts)) return ExitStatus::partlyDone;
    return result.failure ? statusOf(result.failure->kind) : ExitStatus::failed;
}

// Tells how far an interrupted run came.
TranslateTexts::Result translate(Invocation& invocation, const TranslateTexts::Request& request) {
    std::atomic<std::size_t> done = 0;
    OperationProgress progress(invocation.output);
    ActionProgress told = progress.actionProgress();
    const auto step = told.step;
    told.step = [&](const ActionProgress::Step& each) {
        // Steps come from several threads, in any order.
        for (std::size_t known = done; each.done && known < *each.done;)
            done.compare_exchange_weak(known, *each.done);
        step(each);
    };
    try {
        return TranslateTexts::perform(invocation.application, request, told);
    } catch (const CancellationError&) {
        invocation.output.note(fmt::format("{} of {} ended before the interruption; what was written stays.",
                                           done.load(), request.plan.items.size()));
        throw;
    }
}

ExitStatus translateFields(Invocation& invocation, std::vector<FieldType> fields) {
    auto request = requestOf<PlanTranslation::Request>(invocation);
    request.to = listOf(invocation.arguments, "--to");
    request.from = invocation.arguments.value("--from");
    request.fields = std::move(fields);
    request.all = invocation.arguments.has("--all");
    request.fresh = invocation.arguments.has("--fresh");
    const auto planned = perform<PlanTranslation>(invocation, request);
    Output& output = invocation.output;
    for (const UnreadableText& text : planned.plan.unreadable)
        output.warning(
            fmt::format("{} {} is left out: {}", text.locale, shortLabelOf(text.field), text.explanation));
    const bool leavesOut = !planned.plan.unreadable.empty();
    if (planned.plan.nothing) {
        output.document(planned);
        output.line(nothingToTranslateText);
        output.note(whyNothing(planned.plan));
        return leavesOut ? ExitStatus::failed : ExitStatus::done;
    }
    if (invocation.global.dryRun) return showPlan(invocation, planned);
    confirmCost(invocation, planned.plan);
    const auto result = translate(invocation, {planned.plan, request.workspace, request.folder});
    output.document(result);
    printReport(output, result.report);
    const ExitStatus status = exitStatusOf(result);
    return leavesOut && status == ExitStatus::done ? ExitStatus::partlyDone : status;
}

ExitStatus acceptTexts(Invocation& invocation, std::vector<FieldType> fields) {
    for (const std::string_view option : {"--from", "--all", "--fresh"})
        if (invocation.arguments.has(option))
            throw UsageError(
                fmt::format("{} says how to translate, and --accept translates nothing", option));
    auto request = requestOf<AcceptTexts::Request>(invocation);
    request.locales = listOf(invocation.arguments, "--to");
    request.fields = std::move(fields);
    const auto result = perform<AcceptTexts>(invocation, request);
    Output& output = invocation.output;
    output.document(result);
    const auto& [context, accepted, left] = result.texts;
    const std::string others =
        left == 0 ? "" : fmt::format(" {} still unread.", counted(static_cast<std::size_t>(left), "text"));
    if (accepted.empty()) {
        output.line(fmt::format("Nothing to accept.{}", others));
        return ExitStatus::done;
    }
    Table table{.columns = {{"Locale"}, {"Field"}, {"Was"}}, .rows = {}};
    for (const UnreadText& text : accepted)
        table.rows.push_back({text.locale, shortLabelOf(text.field), std::string(shortTextOf(text.mark))});
    output.table(table);
    output.line();
    output.line(fmt::format("{} {}.{}", request.dryRun ? "Would accept" : "Accepted",
                            counted(accepted.size(), "text"), others));
    return ExitStatus::done;
}

ExitStatus translateTexts(Invocation& invocation) {
    std::vector<FieldType> fields;
    for (const std::string& field : invocation.arguments.values("--field"))
        fields.push_back(*fromRawValue<FieldType>(field));
    return invocation.arguments.has("--accept") ? acceptTexts(invocation, std::move(fields))
                                                : translateFields(invocation, std::move(fields));
}

ExitStatus generateKeywords(Invocation& invocation) {
    return translateFields(invocation, {FieldType::keywords});
}

std::vector<ArgumentSpec> translationArguments() {
    using Count = ArgumentSpec::Count;
    using Need = ArgumentSpec::Need;
    const std::vector<std::string_view> locales(appStoreLocales().begin(), appStoreLocales().end());
    return {{"--to", "LOCALE", "Only into this locale", {}, Need::optional, Count::repeated, locales},
            {"--from",
             "LOCALE",
             "The source locale instead of the app's",
             {},
             Need::optional,
             Count::once,
             locales},
            {"--all", "", "Also texts that are there already; what they replace is backed up"},
            freshArgument(),
            folderArgument()};
}

} // namespace

ArgumentSpec freshArgument() {
    return {"--fresh", "", "Ask the model again, also where an answer of it is kept"};
}

const Command& generateKeywordsCommand() {
    static const Command command{
        .name = "keywords generate",
        .summary = "Generate fresh keywords for each locale's market",
        .arguments = translationArguments(),
        .heeds = {"--app", "--workspace", "--context", "--dry-run", "--yes"},
        .run = generateKeywords,
        .details = "Keywords are not translated: each locale gets terms that people there search for, "
                   "without the words of its name and subtitle. "
                   "By default those locales are filled that have none, or whose generated ones are older "
                   "than the source's."};
    return command;
}

std::vector<Command> translateCommands() {
    std::vector<ArgumentSpec> all = translationArguments();
    all.push_back(fieldOption(Fields::ofStoreTexts));
    all.push_back({"--accept", "", "Translate nothing; say that the generated texts were read"});
    return {{.name = "translate",
             .summary = "Translate texts into the app's other locales",
             .arguments = std::move(all),
             .heeds = {"--app", "--workspace", "--context", "--dry-run", "--yes"},
             .run = translateTexts,
             .details =
                 "By default those texts are translated that are empty, "
                 "or that were translated from an older source and not edited since. "
                 "Every text is kept within its limit and written to its file as soon as it is there, "
                 "marked as unread. Editing it or --accept, also with --to and --field, clears the mark; "
                 "a push leaves unread texts out unless it is told otherwise. "
                 "An answer that lost an address or a placeholder, is a refusal or was cut off is asked for "
                 "again and then fails; a lost term, number or rendering of the glossary is a remark. "
                 "Keywords are generated instead of being translated. A dry run tells what would be asked "
                 "and what it costs, with --verbose the prompts too. "
                 "On a terminal a run that is estimated to cost more than $0.50 is confirmed first, "
                 "unless --yes is given. The service is reached through the relay of an endpoints file or "
                 "of the build."}};
}

} // namespace quorvel
