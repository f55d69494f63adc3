// One call of the translation pipeline.
#pragma once

#include "Core/ai/ClaudeAsker.h"
#include "Core/ai/FailFastClaudeClient.h"
#include "Core/ai/translation/GeneratedTexts.h"
#include "Core/ai/translation/TranslationOrigins.h"
#include "Core/ai/translation/TranslationPreparation.h"

#include <mutex>
#include <string>

namespace quorvel {

/// Translates items one by one; safe to use from several threads. The caller holds the tree's lock.
class TranslationRun {
  public:
    TranslationRun(const TranslationPipeline::Parts& parts, const TranslationPipeline::Settings& settings);

    /// Learns which of the texts that are there are translations of the source locale's. Throws `FileError`.
    void adoptTexts(const std::string& sourceLocale);
    /// Throws `CancellationError` only; other errors are in the outcome.
    [[nodiscard]] TranslationOutcome translate(const TranslationItem& item);

  private:
    struct Draft {
        std::string text;
        std::size_t length = 0;
        std::vector<TextFinding> findings;
    };

    void work(const PreparedItem& prepared, ClaudeAsker& asker, TranslationOutcome& outcome);
    [[nodiscard]] bool useCached(const PreparedItem& prepared, TranslationOutcome& outcome);
    [[nodiscard]] Draft ask(const PreparedItem& prepared, const PromptBuilder::Prompt& prompt, int retry,
                            ClaudeAsker& asker) const;
    [[nodiscard]] Draft askWithRetries(const PreparedItem& prepared, ClaudeAsker& asker) const;
    [[nodiscard]] std::string notesAfter(const PreparedItem& prepared, const Draft& draft, int retry) const;
    void fit(const PreparedItem& prepared, const Draft& draft, TranslationOutcome& outcome) const;
    void keep(const PreparedItem& prepared, const Draft& draft, const AnswerCost& cost) const;
    void write(const PreparedItem& prepared, TranslationOutcome& outcome);
    // Whether the present text must stay.
    [[nodiscard]] bool wasEditedByUser(const PreparedItem& prepared);

    const TranslationPipeline::Parts& parts_;
    const MetadataStore store_;
    const TranslationPreparation preparation_;
    GeneratedTexts generated_;
    const TranslationWish::Which replaced_;
    const KeptAnswers keptAnswers_;
    const FailFastClaudeClient claude_;
    std::mutex mutex_; // guards `origins_`
    TranslationOrigins origins_;
};

} // namespace quorvel
