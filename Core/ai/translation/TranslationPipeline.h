// Fills the texts of an app's locales from its source locale.
#pragma once

#include "Core/ai/ClaudeClientProtocol.h"
#include "Core/ai/PenwiseConfig.h"
#include "Core/ai/translation/PromptBuilder.h"
#include "Core/ai/translation/TranslationCache.h"
#include "Core/ai/translation/TranslationChoice.h"
#include "Core/metadata/FieldRule.h"
#include "Core/metadata/MetadataFolder.h"
#include "Platform/log/Log.h"
#include "Platform/time/Date.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// One request per field and locale, several at once; keywords are generated for their market instead of
/// being translated, after the locale's name and subtitle, whose words they leave out.
class TranslationPipeline {
  public:
    using Item = TranslationItem;
    using BrandContext = quorvel::BrandContext;
    using Outcome = TranslationOutcome;

    static constexpr int maxRetries = 2; // after an answer over the limit
    static constexpr std::int64_t defaultMaxOutputTokens = 8192;
    static constexpr std::size_t defaultWidth = 4; // requests at once

    struct Parts {
        std::shared_ptr<const ClaudeClientProtocol> claude;
        TranslationCache cache;
        MetadataFolder folder; // of the context being translated
        std::string model = std::string(PenwiseConfig::defaultModel);
        std::int64_t maxOutputTokens = defaultMaxOutputTokens; // per request
        std::size_t width = defaultWidth;
        Clock clock = systemClock();
        Logger logger = Logger("TranslationPipeline");
    };

    /// What the app's records and the user say about translating.
    struct Settings {
        BrandContext brand;
        std::vector<FieldRule> rules;
        std::map<std::string, LocaleSettings> locales;
        // Locale → terms that keywords leave out; the words of its name and subtitle where none are given.
        std::map<std::string, std::vector<std::string>> indexedTerms;
        // With `stale`, a text that was edited since the items were chosen stays.
        TranslationWish::Which replaced = TranslationWish::Which::all;
        KeptAnswers keptAnswers = KeptAnswers::taken;
    };

    struct Progress {
        std::size_t done = 0;
        std::size_t total = 0;
        const Outcome& outcome; // of the item that ended just now
    };

    /// What an item would take.
    struct Preview {
        Item item;
        std::optional<PromptBuilder::Prompt> prompt; // none when nothing would be sent
        std::optional<std::string> skippedBecause;
        bool fromCache = false;
        double estimatedCostUSD = 0; // of one answer; retries come on top
        QUORVEL_RECORD(Preview, item, prompt, skippedBecause, fromCache, estimatedCostUSD)
    };

    /// The limit that texts of the field are held to: the app's own where that is below the App Store's.
    [[nodiscard]] static std::size_t limitFor(FieldType field, const Settings& settings) {
        return std::min(limitOf(field), limitOf(field, settings.rules));
    }

    explicit TranslationPipeline(Parts parts) : parts_(std::move(parts)) {}

    /// Translates the items and returns their outcomes in the same order. The caller holds the tree's lock.
    /// Each accepted text is written before `progress` is called for it, and the text that it replaces is
    /// backed up first. An item that fails does not end the others, but after an error of the kind `noAccess`
    /// no more requests are sent. `progress` is called on any thread, also at the same time. Throws
    /// `MetadataError` when there is no folder, `FileError` when its private files cannot be used, and
    /// `CancellationError`; what was written stays.
    [[nodiscard]] std::vector<Outcome>
    translate(const std::vector<Item>& items, const Settings& settings,
              const std::function<void(const Progress&)>& progress = {}) const;

    /// What `translate` would send, item by item. Sends and writes nothing.
    [[nodiscard]] std::vector<Preview> preview(const std::vector<Item>& items,
                                               const Settings& settings) const;

  private:
    Parts parts_;
};

} // namespace quorvel
