#include "Core/ai/translation/TranslationChoice.h"
#include "Core/ai/translation/TranslationPipeline.h"
#include "Core/metadata/Locales.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/AppTarget.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/OperationProgress.h"
#include "Programs/quorvel/commands/AIServices.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/MetadataRecords.h"
#include "Programs/quorvel/commands/TranslationReport.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>

namespace quorvel {

namespace {

struct Job {
    std::vector<TranslationItem> items;
    std::string whyNone; // what to do when there are no items
    TranslationPipeline::Settings settings;
};

void requireLocale(const std::string& code) {
    if (isAppStoreLocale(code)) return;
    const auto nearest = nearestAppStoreLocale(code);
    throw UsageError(fmt::format("{} is no App Store locale", quotedWord(code)),
                     nearest ? fmt::format("Did you mean {}?", *nearest) : "");
}

std::vector<std::string> targetLocales(const Invocation& invocation, AppTarget& target,
                                       const MetadataStore& store, const std::string& sourceLocale) {
    std::vector<std::string> locales;
    for (const std::string& locale : invocation.arguments.values("--to")) {
        requireLocale(locale);
        if (std::ranges::find(locales, locale) == locales.end()) locales.push_back(locale);
    }
    const bool areNamed = !locales.empty();
    if (!areNamed) {
        const LocaleSet disabled = target.disabledLocales();
        for (const std::string& locale : store.localesOnDisk())
            if (isAppStoreLocale(locale) && !disabled.contains(locale)) locales.push_back(locale);
    }
    std::erase(locales, sourceLocale);
    if (locales.empty() && areNamed)
        throw UsageError(fmt::format("{} is the source locale", sourceLocale),
                         "--to takes the others; --from chooses another source.");
    if (locales.empty()) throw CommandError(ExitStatus::notFound, std::string(noTargetLocalesText));
    return locales;
}

std::string whyNothing(const MetadataStore& store, TranslationWish wish) {
    wish.which = TranslationWish::Which::all;
    const bool isUpToDate = !chooseItems(store.readAll(), {}, wish).empty();
    return isUpToDate ? "Every text is there and up to date; --all makes them anew, and --all --fresh in "
                        "other words."
                      : fmt::format("The fields are empty in {}, or 'quorvel rules' turns them off.",
                                    wish.sourceLocale);
}

Job jobOf(Invocation& invocation, AppTarget& target, const MetadataStore& store,
          std::vector<FieldType> fields) {
    const ManagedApp& app = target.app();
    Job job{.items = {}, .settings = translationSettings(invocation, app)};
    TranslationWish wish{.sourceLocale = invocation.arguments.value("--from").value_or(
                             app.sourceLocale.empty() ? "en-US" : app.sourceLocale),
                         .fields = std::move(fields),
                         .rules = job.settings.rules};
    requireLocale(wish.sourceLocale);
    wish.targetLocales = targetLocales(invocation, target, store, wish.sourceLocale);
    if (invocation.arguments.has("--all")) wish.which = TranslationWish::Which::all;
    job.settings.replaced = wish.which;
    job.items = chooseItems(store.readAll(), TranslationOrigins::load(store.folder()), wish);
    if (job.items.empty()) job.whyNone = whyNothing(store, std::move(wish));
    return job;
}

ExitStatus showPrompts(const Invocation& invocation,
                       const std::vector<TranslationPipeline::Preview>& previews) {
    Output& output = invocation.output;
    output.document(previews);
    std::size_t requests = 0;
    double cost = 0;
    for (const TranslationPipeline::Preview& preview : previews) {
        output.styledLine(
            output.styled(Style::bold, fmt::format("{} {}", escapeControls(preview.item.targetLocale),
                                                   shortLabelOf(preview.item.field))));
        if (preview.skippedBecause) output.line(*preview.skippedBecause);
        if (preview.fromCache) output.line("Answered from the cache; nothing would be sent.");
        if (preview.prompt) {
            output.raw(invocation.output.isJSON()
                           ? ""
                           : preview.prompt->system + "\n\n" + preview.prompt->user + "\n\n");
            ++requests;
        }
        cost += preview.estimatedCostUSD;
    }
    output.note(fmt::format("Dry run: {} would be sent at an estimated cost of {}, nothing was.",
                            counted(requests, "request"), priceText(cost)));
    return ExitStatus::done;
}

ExitStatus statusOf(const std::vector<TranslationOutcome>& outcomes) {
    const auto failed =
        std::ranges::count_if(outcomes, [](const auto& outcome) { return outcome.error.has_value(); });
    if (failed == 0) return ExitStatus::done;
    if (static_cast<std::size_t>(failed) < outcomes.size()) return ExitStatus::partlyDone;
    try {
        std::rethrow_exception(outcomes.front().failure);
    } catch (const std::exception& error) {
        return reportOf(error).status;
    }
}

// New locales of the tree are recorded, so that pulls and pushes know of them.
void recordLocales(Invocation& invocation, AppTarget& target, const Job& job) {
    std::vector<std::string> codes;
    const auto present = target.localStore().localesOnDisk();
    for (const TranslationItem& item : job.items)
        if (std::ranges::find(present, item.targetLocale) != present.end())
            codes.push_back(item.targetLocale);
    invocation.composition.apps().addMissingLocales(target.app().id, codes);
}

std::vector<TranslationOutcome> runTranslation(Invocation& invocation, AppTarget& target,
                                               const TranslationPipeline& pipeline, const Job& job) {
    std::vector<TranslationOutcome> outcomes;
    std::atomic<std::size_t> done = 0;
    try {
        OperationProgress line(invocation.output);
        target.controller()->perform(MetadataOperation::translate, [&] {
            outcomes = pipeline.translate(
                job.items, job.settings, [&](const TranslationPipeline::Progress& progress) {
                    ++done;
                    line.step(fmt::format("Translated {} of {}", progress.done, progress.total));
                });
        });
    } catch (const CancellationError&) {
        invocation.output.note(fmt::format("{} of {} ended before the interruption; what was written stays.",
                                           done.load(), job.items.size()));
        recordLocales(invocation, target, job);
        throw;
    }
    recordLocales(invocation, target, job);
    return outcomes;
}

ExitStatus translateFields(Invocation& invocation, std::vector<FieldType> fields) {
    AppTarget target(invocation, AppTarget::Reach::records);
    const MetadataStore store = target.localStore();
    const Job job = jobOf(invocation, target, store, std::move(fields));
    Output& output = invocation.output;
    TranslationDocument document{.model = std::string(PenwiseConfig::defaultModel)};
    if (job.items.empty()) {
        output.document(document);
        output.line(nothingToTranslateText);
        output.note(job.whyNone);
        return ExitStatus::done;
    }
    TranslationPipeline::Parts parts{
        .cache = TranslationCache(invocation.composition.container(), keptAnswersOf(invocation)),
        .folder = store.folder(),
        .model = document.model,
        .clock = invocation.composition.clock()};
    const auto previews = TranslationPipeline(parts).preview(job.items, job.settings);
    if (invocation.global.dryRun) return showPrompts(invocation, previews);
    parts.claude = aiStack(invocation).client;
    double estimate = 0;
    for (const auto& preview : previews)
        estimate += preview.estimatedCostUSD;
    confirmCost(invocation, estimate);
    const auto outcomes = runTranslation(invocation, target, TranslationPipeline(parts), job);
    for (const TranslationOutcome& outcome : outcomes) {
        document.fields.push_back(recordOf(outcome, job.settings));
        document.costUSD += outcome.costUSD;
    }
    output.document(document);
    printOutcomes(output, document);
    return statusOf(outcomes);
}

ExitStatus translate(Invocation& invocation) {
    std::vector<FieldType> fields;
    for (const std::string& field : invocation.arguments.values("--field"))
        fields.push_back(*fromRawValue<FieldType>(field));
    return translateFields(invocation, std::move(fields));
}

ExitStatus generateKeywords(Invocation& invocation) {
    return translateFields(invocation, {FieldType::keywords});
}

std::vector<ArgumentSpec> arguments() {
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
            {"--all", "", "Also texts that are there already; what they replace is put aside"},
            freshArgument(),
            folderArgument()};
}

} // namespace

const Command& generateKeywordsCommand() {
    static const Command command{
        .name = "keywords generate",
        .summary = "Generate fresh keywords for each locale's market",
        .arguments = arguments(),
        .heeds = {"--app", "--workspace", "--context", "--dry-run", "--yes"},
        .run = generateKeywords,
        .details = "Keywords are not translated: each locale gets terms that people there search for, "
                   "without the words of its name and subtitle. By default those locales are filled that "
                   "have none, or whose generated ones are older than the source's."};
    return command;
}

std::vector<Command> translateCommands() {
    std::vector<std::string_view> fields;
    for (const FieldType field : allFieldTypes)
        fields.push_back(rawValue(field));
    std::vector<ArgumentSpec> all = arguments();
    all.push_back({"--field", "FIELD", "Only this field", fields, ArgumentSpec::Need::optional,
                   ArgumentSpec::Count::repeated});
    return {{.name = "translate",
             .summary = "Translate texts into the app's other locales",
             .arguments = std::move(all),
             .heeds = {"--app", "--workspace", "--context", "--dry-run", "--yes"},
             .run = translate,
             .details =
                 "By default those texts are translated that are empty, or that were translated from an "
                 "older source and not edited since. Every text is kept within its limit and written to "
                 "its file as soon as it is there, marked for review; a push sends it later. Keywords are "
                 "generated instead of being translated. A dry run prints the prompts. On a terminal a "
                 "run that is estimated to cost more than $0.50 is confirmed first, unless --yes is "
                 "given. The service is reached through the relay of an endpoints file or of the build."}};
}

} // namespace quorvel
