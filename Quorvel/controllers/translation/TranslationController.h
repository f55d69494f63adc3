// Translates the store texts of one app.
#pragma once

#include "Core/ai/ASOClaudeStack.h"
#include "Quorvel/controllers/metadata/MetadataController.h"
#include "Quorvel/controllers/translation/TranslationPlans.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace quorvel {

/// Every operation blocks and goes through the app's gate. Thread-safe.
class TranslationController {
  public:
    TranslationController(AppAccess access, std::shared_ptr<MetadataController> metadata)
        : access_(std::move(access)), metadata_(std::move(metadata)) {}

    /// What a run would send. Throws `OperationRefused` where nothing was pulled, `MetadataError` for what is
    /// no App Store locale or where no target locale is left.
    [[nodiscard]] TranslationPlan plan(const TranslationOrder& order) const;

    /// Called on any thread, after each text.
    using Observer = std::function<void(std::size_t done, std::size_t total)>;
    /// Translates the items of the plan. Throws what `TranslationPipeline::translate` throws; what was
    /// written stays then, and its locales are recorded.
    TranslationReport translate(const TranslationPlan& plan,
                                std::shared_ptr<const ClaudeClientProtocol> claude,
                                const Observer& observer = {});

    /// Clears the marks of texts that were generated and read since. Throws `MetadataError` for a locale that
    /// the folder lacks, `OperationRefused` where nothing was pulled.
    AcceptedTexts accept(const Acceptance& acceptance);

    /// What would be asked. Throws as `plan`, and `OperationRefused` where the keywords of en-US are empty.
    [[nodiscard]] EnglishKeywordsPlan planEnglishKeywords(const EnglishKeywordsOrder& order) const;
    /// Asks for the keywords and writes them; asks nothing where no locale is to be written. Throws what
    /// `EnglishLocaleExpansion` throws.
    EnglishKeywords expandEnglishKeywords(const EnglishKeywordsOrder& order,
                                          std::shared_ptr<const ClaudeClientProtocol> claude);

  private:
    [[nodiscard]] TranslationPipeline::Settings settings(const ManagedApp& app) const;
    [[nodiscard]] TranslationPipeline::Parts parts(const MetadataFolder& folder,
                                                   const std::string& model) const;
    [[nodiscard]] EnglishLocaleExpansion::Input inputOf(const MetadataStore& store,
                                                        const EnglishKeywordsOrder& order) const;
    void recordLocales(const MetadataStore& store, const std::vector<TranslationItem>& items) const;

    AppAccess access_;
    std::shared_ptr<MetadataController> metadata_;
};

} // namespace quorvel
