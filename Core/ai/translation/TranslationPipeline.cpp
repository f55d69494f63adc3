#include "Core/ai/translation/TranslationPipeline.h"

#include "Core/ai/ClaudePricing.h"
#include "Core/ai/translation/LocaleNotes.h"
#include "Core/ai/translation/TranslationRun.h"
#include "Platform/task/Task.h"

#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <utility>

namespace quorvel {

namespace {

// Which items may begin at once. Keywords wait for the name and the subtitle of their own locale, whose words
// they leave out, and an item that is asked for twice for its first answer.
class Schedule {
  public:
    explicit Schedule(const std::vector<TranslationItem>& items) : items_(items) {
        std::set<TranslationItem> seen;
        std::vector<std::size_t> keywords;
        for (std::size_t index = 0; index < items.size(); ++index) {
            if (!seen.insert(items[index]).second)
                repetitions.push_back(index);
            else if (items[index].field == FieldType::keywords)
                keywords.push_back(index);
            else {
                first.push_back(index);
                if (isAwaited(items[index])) ++awaited_[items[index].targetLocale];
            }
        }
        for (const std::size_t index : keywords) {
            const std::string& locale = items[index].targetLocale;
            (awaited_.contains(locale) ? waiting_[locale] : first).push_back(index);
        }
    }

    // The items that may begin now that this one ended. Thread-safe.
    [[nodiscard]] std::vector<std::size_t> readyAfter(std::size_t index) {
        const TranslationItem& item = items_[index];
        const std::lock_guard lock(mutex_);
        if (!isAwaited(item) || --awaited_[item.targetLocale] > 0) return {};
        return std::exchange(waiting_[item.targetLocale], {});
    }

    std::vector<std::size_t> first;
    std::vector<std::size_t> repetitions;

  private:
    static bool isAwaited(const TranslationItem& item) {
        return item.field == FieldType::name || item.field == FieldType::subtitle;
    }

    const std::vector<TranslationItem>& items_;
    std::mutex mutex_;                                        // guards the rest
    std::map<std::string, std::size_t> awaited_;              // locale → texts that its keywords wait for
    std::map<std::string, std::vector<std::size_t>> waiting_; // locale → its keywords
};

double estimatedCost(std::string_view model, const PreparedItem& prepared,
                     const PromptBuilder::Prompt& prompt) {
    return ClaudePricing::estimatedCostUSD(
        model, static_cast<double>(prompt.system.size() + prompt.user.size()),
        static_cast<double>(prepared.sourceText.size()) * lengthFactorOf(prepared.item.targetLocale));
}

std::set<std::string> sourceLocalesOf(const std::vector<TranslationItem>& items) {
    std::set<std::string> locales;
    for (const TranslationItem& item : items)
        locales.insert(item.sourceLocale);
    return locales;
}

void requireFolder(const MetadataFolder& folder) {
    std::error_code unreachable;
    if (!std::filesystem::is_directory(folder.rootURL, unreachable))
        throw MetadataError(MetadataError::Kind::unreadable, std::string(folderUnavailableText),
                            {folder.rootURL, {}, {}});
}

} // namespace

std::vector<TranslationOutcome>
TranslationPipeline::translate(const std::vector<Item>& items, const Settings& settings,
                               const std::function<void(const Progress&)>& progress) const {
    requireFolder(parts_.folder);
    TranslationRun run(parts_, settings);
    for (const std::string& source : sourceLocalesOf(items))
        run.adoptTexts(source);
    std::vector<Outcome> outcomes(items.size());
    std::atomic<std::size_t> done = 0;
    const auto translateOne = [&](std::size_t index) {
        outcomes[index] = run.translate(items[index]);
        const std::size_t count = ++done;
        if (progress) progress({count, items.size(), outcomes[index]});
    };
    Schedule schedule(items);
    parallelForEach(schedule.first, parts_.width, [&](std::size_t index) {
        translateOne(index);
        for (const std::size_t next : schedule.readyAfter(index))
            translateOne(next);
    });
    parallelForEach(schedule.repetitions, parts_.width, translateOne);
    return outcomes;
}

std::vector<TranslationPipeline::Preview> TranslationPipeline::preview(const std::vector<Item>& items,
                                                                       const Settings& settings) const {
    requireFolder(parts_.folder);
    const MetadataStore store(parts_.folder);
    const TranslationPreparation preparation(parts_.model, store, settings);
    std::vector<Preview> previews;
    for (const Item& item : items) {
        const PreparedItem prepared = preparation.prepare(item);
        Preview preview{.item = item, .skippedBecause = prepared.skippedBecause};
        if (!preview.skippedBecause && settings.keptAnswers == KeptAnswers::taken) {
            const auto kept = parts_.cache.lookup(prepared.key);
            preview.fromCache = kept && preparation.usablePartOf(kept->translation, prepared).has_value();
        }
        if (!preview.skippedBecause && !preview.fromCache) {
            preview.prompt = preparation.promptFor(prepared);
            preview.estimatedCostUSD = estimatedCost(parts_.model, prepared, *preview.prompt);
        }
        previews.push_back(std::move(preview));
    }
    return previews;
}

} // namespace quorvel
