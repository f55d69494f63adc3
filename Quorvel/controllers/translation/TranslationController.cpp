#include "Quorvel/controllers/translation/TranslationController.h"

#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataError.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>

namespace quorvel {

namespace {

void requireTranslatable(const std::string& locale) {
    if (!isAppStoreLocale(locale)) throw MetadataError::invalidLocale(locale);
}

std::vector<std::string> targetsOf(const TranslationOrder& order, const TextComparison& texts,
                                   const LocaleSet& disabled, const std::string& source) {
    std::vector<std::string> locales;
    for (const std::string& locale : order.targetLocales) {
        requireTranslatable(locale);
        if (std::ranges::find(locales, locale) == locales.end()) locales.push_back(locale);
    }
    if (order.targetLocales.empty())
        for (const std::string& locale : texts.grid.locales)
            if (isAppStoreLocale(locale) && !disabled.contains(locale)) locales.push_back(locale);
    std::erase(locales, source);
    if (locales.empty() && !order.targetLocales.empty())
        throw OperationRefused(Refusal::sourceIsTarget, fmt::format("{} is the source locale", source));
    if (locales.empty()) throw OperationRefused(Refusal::noTargetLocales);
    return locales;
}

TranslatedText translatedTextOf(const TranslationOutcome& outcome,
                                const TranslationPipeline::Settings& settings) {
    TranslatedText text{
        .locale = outcome.item.targetLocale,
        .field = outcome.item.field,
        .translation = outcome.translation,
        .length = static_cast<std::int64_t>(graphemeCount(outcome.translation)),
        .limit = static_cast<std::int64_t>(TranslationPipeline::limitFor(outcome.item.field, settings)),
        .review = !outcome.skipped && !outcome.error,
        .skipped = outcome.skipped,
        .isOverLimit = outcome.isOverLimit,
        .fromCache = outcome.fromCache,
        .inputTokens = outcome.inputTokens,
        .outputTokens = outcome.outputTokens,
        .costUSD = outcome.costUSD,
        .backup = outcome.kept,
        .error = outcome.error};
    if (outcome.warning) text.remarks.push_back(*outcome.warning);
    return text;
}

} // namespace

TranslationPipeline::Settings TranslationController::settings(const ManagedApp& app) const {
    const AppRecords records = access_.records();
    TranslationPipeline::Settings settings{.brand = BrandContext::of(app), .rules = records.rules(app.id)};
    for (const ManagedLocale& locale : records.locales(app.id))
        settings.locales[locale.code] = LocaleSettings::of(locale);
    return settings;
}

TranslationPipeline::Parts TranslationController::parts(const MetadataFolder& folder,
                                                        const std::string& model,
                                                        KeptAnswers keptAnswers) const {
    return {.cache = TranslationCache(access_.container(), keptAnswers),
            .folder = folder,
            .model = model,
            .clock = access_.clock()};
}

TranslationPlan TranslationController::plan(const TranslationOrder& order) const {
    const ManagedApp app = access_.record();
    const auto compared = metadata_->compare(order.context, {}, order.dryRun);
    const MetadataStore store(compared.folder);
    const auto settings = this->settings(app);
    TranslationWish wish{
        .sourceLocale = order.sourceLocale.value_or(app.sourceLocale.empty() ? "en-US" : app.sourceLocale),
        .fields = order.fields,
        .rules = settings.rules,
        .which = order.which};
    requireTranslatable(wish.sourceLocale);
    wish.targetLocales = targetsOf(order, compared.texts, access_.disabledLocales(app), wish.sourceLocale);

    TranslationPlan plan{.app = referenceOf(app),
                         .context = compared.context.text(),
                         .folder = compared.folder.rootURL.string(),
                         .model = std::string(PenwiseConfig::defaultModel),
                         .sourceLocale = wish.sourceLocale,
                         .all = order.which == TranslationWish::Which::all,
                         .fresh = order.keptAnswers == KeptAnswers::renewed};
    const ReadTexts texts = store.readAllUsable();
    plan.unreadable = unreadableFor(texts, wish);
    const auto items = chooseItems(texts, TranslationOrigins::load(store.folder()), wish);
    if (items.empty()) {
        wish.which = TranslationWish::Which::all;
        plan.nothing = chooseItems(texts, {}, wish).empty() ? NothingToTranslate::noSourceText
                                                            : NothingToTranslate::upToDate;
        return plan;
    }
    plan.items =
        TranslationPipeline(parts(store.folder(), plan.model, order.keptAnswers)).preview(items, settings);
    for (const auto& preview : plan.items) {
        plan.requests += preview.prompt ? 1 : 0;
        plan.estimatedCostUSD += preview.estimatedCostUSD;
    }
    return plan;
}

// New locales of the tree are recorded, so that pulls and pushes know of them.
void TranslationController::recordLocales(const MetadataStore& store,
                                          const std::vector<TranslationItem>& items) const {
    const auto present = store.localesOnDisk();
    std::vector<std::string> codes;
    for (const TranslationItem& item : items)
        if (std::ranges::binary_search(present, item.targetLocale)) codes.push_back(item.targetLocale);
    access_.records().addMissingLocales(access_.record().id, codes);
}

TranslationReport TranslationController::translate(const TranslationPlan& plan,
                                                   std::shared_ptr<const ClaudeClientProtocol> claude,
                                                   const Observer& observer) {
    TranslationReport report{.app = plan.app, .context = plan.context, .model = plan.model};
    auto settings = this->settings(access_.record());
    settings.replaced = plan.all ? TranslationWish::Which::all : TranslationWish::Which::stale;
    std::vector<TranslationItem> items;
    for (const auto& preview : plan.items)
        items.push_back(preview.item);
    std::vector<TranslationOutcome> outcomes;
    metadata_->change(OperationKind::translate, plan.context,
                      [&](OperationGate::Operation& operation, const MetadataStore& store) {
                          auto made = parts(store.folder(), plan.model,
                                            plan.fresh ? KeptAnswers::renewed : KeptAnswers::taken);
                          made.claude = std::move(claude);
                          operation.status("Translating…");
                          std::atomic<std::size_t> done = 0;
                          try {
                              outcomes = TranslationPipeline(made).translate(
                                  items, settings, [&](const TranslationPipeline::Progress&) {
                                      operation.progress(++done, items.size());
                                      if (observer) observer(done, items.size());
                                  });
                          } catch (const CancellationError&) {
                              recordLocales(store, items);
                              throw;
                          }
                          recordLocales(store, items);
                      });
    for (const TranslationOutcome& outcome : outcomes) {
        report.texts.push_back(translatedTextOf(outcome, settings));
        report.costUSD += outcome.costUSD;
        if (outcome.failure && !report.failure) report.failure = outcome.failure;
    }
    return report;
}

EnglishLocaleExpansion::Input TranslationController::inputOf(const MetadataStore& store) const {
    const ManagedApp app = access_.record();
    const std::string base(EnglishLocaleExpansion::locales.front());
    const auto textOf = [&](FieldType field) {
        return std::string(trim(store.read(base, field).value_or("")));
    };
    EnglishLocaleExpansion::Input input{
        .baseKeywords = textOf(FieldType::keywords),
        .appName = textOf(FieldType::name),
        .appSubtitle = textOf(FieldType::subtitle),
        .brand = BrandContext::of(app),
        .limit = TranslationPipeline::limitFor(FieldType::keywords, settings(app))};
    if (isBlank(input.baseKeywords))
        throw OperationRefused(Refusal::noBaseKeywords, fmt::format("The keywords of {} are empty", base));
    return input;
}

EnglishKeywordsPlan TranslationController::planEnglishKeywords(const std::optional<std::string>& context,
                                                               const std::string& model,
                                                               DryRun dryRun) const {
    const auto compared = metadata_->compare(context, {}, dryRun);
    return {referenceOf(access_.record()), compared.context.text(), model,
            EnglishLocaleExpansion::prompt(inputOf(MetadataStore(compared.folder)))};
}

EnglishKeywords TranslationController::expandEnglishKeywords(const std::optional<std::string>& context,
                                                             const ASOClaudeStack::Components& stack) {
    const ManagedApp app = access_.record();
    const auto compared = metadata_->compare(context);
    EnglishKeywords result{.app = referenceOf(app), .context = compared.context.text()};
    // The lock: no half of a pull. Nobody waits for it while the model thinks.
    EnglishLocaleExpansion::Input input;
    metadata_->change(OperationKind::translate, compared.context.text(),
                      [&](OperationGate::Operation&, const MetadataStore& store) { input = inputOf(store); });
    const auto answer = EnglishLocaleExpansion(stack.client, stack.model).expand(input);
    metadata_->change(
        OperationKind::translate, compared.context.text(),
        [&](OperationGate::Operation&, const MetadataStore& store) {
            const auto written = EnglishLocaleExpansion::write(store.folder(), answer.entries,
                                                               settings(app).locales, access_.clock()());
            result.rationale = answer.rationale;
            result.costUSD = answer.costUSD;
            std::vector<std::string> codes;
            for (const auto& entry : written) {
                codes.push_back(entry.locale);
                result.entries.push_back(
                    {.locale = entry.locale,
                     .keywords = entry.keywordsField,
                     .length = static_cast<std::int64_t>(graphemeCount(entry.keywordsField)),
                     .limit = static_cast<std::int64_t>(input.limit),
                     .skipped = entry.skipped,
                     .backup = entry.kept,
                     .remarks = entry.warning ? std::vector{*entry.warning} : std::vector<std::string>()});
            }
            access_.records().addMissingLocales(app.id, codes);
            for (const std::string_view locale : EnglishLocaleExpansion::locales)
                if (std::ranges::find(codes, locale) == codes.end()) result.missing.emplace_back(locale);
        });
    return result;
}

} // namespace quorvel
