// One call of the translation pipeline.
#pragma once

#include "Core/ai/ClaudeError.h"
#include "Core/ai/translation/TranslationOrigins.h"
#include "Core/ai/translation/TranslationPreparation.h"

#include <mutex>
#include <optional>
#include <string>

namespace quorvel {

/// Ends items one by one; safe to use from several threads. The caller holds the tree's turn.
class TranslationRun {
  public:
    TranslationRun(const TranslationPipeline::Parts& parts, const TranslationPipeline::Settings& settings);

    /// Throws `CancellationError` only; what else goes wrong stands in the outcome.
    [[nodiscard]] TranslationOutcome end(const TranslationItem& item);

  private:
    struct Draft {
        std::string text;
        std::size_t length = 0;
    };

    void work(const PreparedItem& prepared, TranslationOutcome& outcome);
    [[nodiscard]] bool useCached(const PreparedItem& prepared, TranslationOutcome& outcome);
    [[nodiscard]] Draft ask(const PreparedItem& prepared, const PromptBuilder::Prompt& prompt,
                            TranslationOutcome& outcome);
    [[nodiscard]] Draft askWithRetries(const PreparedItem& prepared, TranslationOutcome& outcome);
    void fit(const PreparedItem& prepared, const Draft& draft, TranslationOutcome& outcome) const;
    void keep(const PreparedItem& prepared, const Draft& draft, const TranslationOutcome& outcome) const;
    void write(const PreparedItem& prepared, TranslationOutcome& outcome);
    // Whether the text that is there must stay.
    [[nodiscard]] bool wasEditedByUser(const PreparedItem& prepared);
    void throwIfFatal();

    const TranslationPipeline::Parts& parts_;
    const MetadataStore store_;
    const TranslationPreparation preparation_;
    const Date moment_;
    const TranslationWish::Which replaced_;
    std::mutex mutex_; // guards the two below
    TranslationOrigins origins_;
    std::optional<ClaudeError> fatalError_; // what every further request would end with
};

} // namespace quorvel
