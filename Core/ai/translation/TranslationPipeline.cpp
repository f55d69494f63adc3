#include "Core/ai/translation/TranslationPipeline.h"

#include "Core/ai/ClaudePricing.h"
#include "Core/ai/translation/LocaleNotes.h"
#include "Core/ai/translation/TranslationRun.h"
#include "Platform/task/Task.h"

#include <array>
#include <atomic>
#include <set>

namespace quorvel {

namespace {

// Keywords leave out the words of texts that are translated before them, and an item that is asked for twice
// finds its first answer in the cache.
enum Phase : std::size_t { texts, keywords, repetitions, phaseCount };

std::array<std::vector<std::size_t>, phaseCount> phasesOf(const std::vector<TranslationItem>& items) {
    std::array<std::vector<std::size_t>, phaseCount> phases;
    std::set<TranslationItem> seen;
    for (std::size_t index = 0; index < items.size(); ++index) {
        const bool isNew = seen.insert(items[index]).second;
        const Phase phase = !isNew                                      ? repetitions
                            : items[index].field == FieldType::keywords ? keywords
                                                                        : texts;
        phases[phase].push_back(index);
    }
    return phases;
}

double estimatedCost(std::string_view model, const PreparedItem& prepared,
                     const PromptBuilder::Prompt& prompt) {
    return ClaudePricing::estimatedCostUSD(
        model, static_cast<double>(prompt.system.size() + prompt.user.size()),
        static_cast<double>(prepared.sourceText.size()) * lengthFactorOf(prepared.item.targetLocale));
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
    std::vector<Outcome> outcomes(items.size());
    std::atomic<std::size_t> done = 0;
    for (const std::vector<std::size_t>& phase : phasesOf(items))
        parallelForEach(phase, parts_.width, [&](std::size_t index) {
            outcomes[index] = run.translate(items[index]);
            const std::size_t count = ++done;
            if (progress) progress({count, items.size(), outcomes[index]});
        });
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
        if (!preview.skippedBecause) {
            const auto kept = parts_.cache.lookup(prepared.key);
            preview.fromCache = kept && usablePartOf(kept->translation, prepared).has_value();
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
