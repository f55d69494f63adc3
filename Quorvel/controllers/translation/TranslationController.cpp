#include "Quorvel/controllers/translation/TranslationController.h"

#include "Core/ai/ClaudePricing.h"
#include "Core/metadata/FallbackTexts.h"
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

std::vector<std::string> targetsOf(const TranslationOrder& order, const LocaleTexts& texts,
                                   const LocaleSet& disabled, const std::string& source) {
    std::vector<std::string> locales;
    for (const std::string& locale : order.targetLocales)
        if (std::ranges::find(locales, locale) == locales.end()) locales.push_back(locale);
    if (order.targetLocales.empty())
        for (const auto& [locale, fields] : texts)
            if (isAppStoreLocale(locale) && !disabled.contains(locale)) locales.push_back(locale);
    std::erase(locales, source);
    if (locales.empty() && !order.targetLocales.empty())
        throw OperationRefused(Refusal::sourceIsTarget, fmt::format("{} is the source locale", source));
    if (locales.empty()) throw OperationRefused(Refusal::noTargetLocales);
    return locales;
}

// What the tree tells of who translated what from which text.
TranslationOrigins knownOrigins(const MetadataStore& store, const std::string& sourceLocale) {
    TranslationOrigins origins = TranslationOrigins::load(store.folder());
    origins.adoptFrom(store, sourceLocale);
    return origins;
}

TranslatedText translatedTextOf(const TranslationOutcome& outcome,
                                const TranslationPipeline::Settings& settings) {
    TranslatedText text{
        .locale = outcome.item.targetLocale,
        .field = outcome.item.field,
        .translation = outcome.translation,
        .length = static_cast<std::int64_t>(graphemeCount(outcome.translation)),
        .limit = static_cast<std::int64_t>(TranslationPipeline::limitFor(outcome.item.field, settings)),
        .review = outcome.review.has_value(),
        .skipped = outcome.skipped,
        .isOverLimit = outcome.isOverLimit,
        .fromCache = outcome.fromCache,
        .inputTokens = outcome.inputTokens,
        .outputTokens = outcome.outputTokens,
        .costUSD = outcome.costUSD,
        .backup = outcome.kept,
        .error = outcome.error};
    if (outcome.warning) text.remarks.push_back(*outcome.warning);
    text.remarks.insert(text.remarks.end(), outcome.remarks.begin(), outcome.remarks.end());
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
                                                        const std::string& model) const {
    return {.cache = TranslationCache(access_.container()),
            .folder = folder,
            .model = model,
            .clock = access_.clock()};
}

TranslationPlan TranslationController::plan(const TranslationOrder& order) const {
    std::ranges::for_each(order.targetLocales, requireTranslatable);
    const ManagedApp app = access_.record();
    const std::string sourceLocale = order.sourceLocale.value_or(sourceLocaleOf(app));
    requireTranslatable(sourceLocale);
    const auto [context, folder] = metadata_->editable(order.context, order.dryRun);
    const MetadataStore store(folder);
    ReadTexts read = store.readAllUsable();
    // The text of all locales is one to start from, and none that a locale has of its own.
    const FallbackTexts fallbacks(folder);
    if (const auto source = read.texts.find(sourceLocale); source != read.texts.end())
        for (const FieldType field : localeFields)
            if (const auto& text = fallbacks.standingFor(source->second[field], field))
                source->second[field] = text;
    const LocaleTexts& texts = read.texts;
    auto settings = this->settings(app);
    settings.keptAnswers = order.keptAnswers;
    TranslationWish wish{
        .sourceLocale = sourceLocale, .fields = order.fields, .rules = settings.rules, .which = order.which};
    wish.targetLocales = targetsOf(order, texts, access_.disabledLocales(app), wish.sourceLocale);

    TranslationPlan plan{.app = referenceOf(app),
                         .context = context.text(),
                         .folder = folder.rootURL.string(),
                         .model = std::string(PenwiseConfig::defaultModel),
                         .sourceLocale = wish.sourceLocale,
                         .all = order.which == TranslationWish::Which::all,
                         .fresh = order.keptAnswers == KeptAnswers::renewed};
    plan.unreadable = unreadableFor(read, wish);
    const auto items = chooseItems(read, knownOrigins(store, wish.sourceLocale), wish);
    if (items.empty()) {
        wish.which = TranslationWish::Which::all;
        plan.nothing = chooseItems(read, {}, wish).empty() ? NothingToTranslate::noSourceText
                                                           : NothingToTranslate::upToDate;
        return plan;
    }
    plan.costIsAtMost = !ClaudePricing::isKnown(plan.model);
    plan.items = TranslationPipeline(parts(store.folder(), plan.model)).preview(items, settings);
    for (const auto& preview : plan.items) {
        const auto& [source, target, field] = preview.item;
        const auto present = texts.find(target);
        const bool isThere = present != texts.end() && !isBlank(present->second[field].value_or(""));
        plan.replacements += isThere && !preview.skippedBecause ? 1 : 0;
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
    report.costIsAtMost = !ClaudePricing::isKnown(plan.model);
    auto settings = this->settings(access_.record());
    settings.keptAnswers = plan.fresh ? KeptAnswers::renewed : KeptAnswers::taken;
    settings.replaced = plan.all ? TranslationWish::Which::all : TranslationWish::Which::stale;
    std::vector<TranslationItem> items;
    for (const auto& preview : plan.items)
        items.push_back(preview.item);
    std::vector<TranslationOutcome> outcomes;
    metadata_->change(OperationKind::translate, plan.context,
                      [&](OperationGate::Operation& operation, const MetadataStore& store) {
                          auto made = parts(store.folder(), plan.model);
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

AcceptedTexts TranslationController::accept(const Acceptance& acceptance) {
    const auto compared = metadata_->compare(acceptance.context, {}, acceptance.dryRun);
    const auto& known = compared.texts.grid.locales;
    for (const std::string& locale : acceptance.locales)
        if (!std::ranges::binary_search(known, locale))
            throw MetadataError::unknownLocale(locale, compared.folder.rootURL, known);
    AcceptedTexts result{.context = compared.context.text()};
    const PushFilter filter{.locales = acceptance.locales, .fields = acceptance.fields};
    const auto accept = [&](const MetadataStore& store) {
        ReviewMarks marks = ReviewMarks::load(store.folder());
        for (UnreadText& text : marks.unreadIn(store.readAllUsable().texts)) {
            if (!filter.takes(text.key())) {
                ++result.left;
                continue;
            }
            marks.clear(text.key());
            result.accepted.push_back(std::move(text));
        }
        if (acceptance.dryRun == DryRun::no && !result.accepted.empty()) marks.save(store.folder());
    };
    if (acceptance.dryRun == DryRun::yes)
        accept(MetadataStore(compared.folder));
    else
        metadata_->change(OperationKind::translate, result.context,
                          [&](OperationGate::Operation&, const MetadataStore& store) { accept(store); });
    return result;
}

EnglishLocaleExpansion::Input TranslationController::inputOf(const MetadataStore& store,
                                                             const EnglishKeywordsOrder& order) const {
    const ManagedApp app = access_.record();
    const auto settings = this->settings(app);
    const std::string base(EnglishLocaleExpansion::locales.front());
    const auto textOf = [&](std::string_view locale, FieldType field) {
        return std::string(trim(store.read(locale, field).value_or("")));
    };
    EnglishLocaleExpansion::Input input{
        .baseKeywords = textOf(base, FieldType::keywords),
        .appName = textOf(base, FieldType::name),
        .appSubtitle = textOf(base, FieldType::subtitle),
        .brand = BrandContext::of(app),
        .limit = TranslationPipeline::limitFor(FieldType::keywords, settings),
        .choice = EnglishLocaleExpansion::choose(store, settings.locales, order.which),
        .keptAnswers = order.keptAnswers};
    if (isBlank(input.baseKeywords))
        throw OperationRefused(Refusal::noBaseKeywords, fmt::format("The keywords of {} are empty", base));
    for (const std::string& locale : input.choice.filled)
        if (const auto name = textOf(locale, FieldType::name); !name.empty())
            input.indexedTexts[locale] = {name, textOf(locale, FieldType::subtitle)};
    return input;
}

EnglishKeywordsPlan TranslationController::planEnglishKeywords(const EnglishKeywordsOrder& order) const {
    const auto [context, folder] = metadata_->editable(order.context, order.dryRun);
    EnglishLocaleExpansion::Input input = inputOf(MetadataStore(folder), order);
    EnglishKeywordsPlan plan{.app = referenceOf(access_.record()),
                             .context = context.text(),
                             .model = order.model,
                             .locales = input.choice.filled,
                             .kept = input.choice.kept,
                             .prompt = std::nullopt};
    if (!plan.locales.empty()) plan.prompt = EnglishLocaleExpansion::prompt(input);
    return plan;
}

EnglishKeywords
TranslationController::expandEnglishKeywords(const EnglishKeywordsOrder& order,
                                             std::shared_ptr<const ClaudeClientProtocol> claude) {
    const ManagedApp app = access_.record();
    const std::string context = metadata_->editable(order.context).context.text();
    EnglishKeywords result{.app = referenceOf(app), .context = context};
    // The lock: no half of a pull. Nobody waits for it while the model thinks.
    EnglishLocaleExpansion::Input input;
    metadata_->change(
        OperationKind::translate, context,
        [&](OperationGate::Operation&, const MetadataStore& store) { input = inputOf(store, order); });
    result.kept = input.choice.kept;
    if (input.choice.filled.empty()) return result;
    const auto answer = EnglishLocaleExpansion(std::move(claude), order.model).expand(input);
    result.rationale = answer.rationale;
    result.costUSD = answer.cost.costUSD;
    result.costIsAtMost = !ClaudePricing::isKnown(order.model);
    metadata_->change(
        OperationKind::translate, context, [&](OperationGate::Operation&, const MetadataStore& store) {
            const auto written = EnglishLocaleExpansion::write(store, answer.entries, settings(app).locales,
                                                               order.which, access_.clock()());
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
            for (const std::string& locale : input.choice.filled)
                if (std::ranges::find(codes, locale) == codes.end()) result.missing.push_back(locale);
        });
    return result;
}

} // namespace quorvel
