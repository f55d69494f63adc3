// Gathers what one item of a translation needs.
#pragma once

#include "Core/ai/translation/TranslationPipeline.h"
#include "Core/metadata/MetadataStore.h"

#include <cstddef>
#include <optional>
#include <string>

namespace quorvel {

struct PreparedItem {
    TranslationItem item;
    std::string sourceText;
    std::size_t limit = 0;
    std::string key; // in the translation cache
    std::optional<std::string> skippedBecause;
};

/// Reads the tree only. Safe to use from several threads.
class TranslationPreparation {
  public:
    TranslationPreparation(const std::string& model, const MetadataStore& store,
                           const TranslationPipeline::Settings& settings)
        : model_(model), store_(store), settings_(settings) {}

    /// Throws `MetadataError`, `FileError`.
    [[nodiscard]] PreparedItem prepare(const TranslationItem& item) const;
    [[nodiscard]] PromptBuilder::Prompt promptFor(const PreparedItem& prepared) const;

  private:
    [[nodiscard]] LocaleSettings settingsOf(const std::string& locale) const;
    [[nodiscard]] std::optional<std::string> reasonToSkip(const PreparedItem& prepared) const;
    [[nodiscard]] PromptBuilder::Prompt keywordsPrompt(const PreparedItem& prepared) const;

    const std::string& model_;
    const MetadataStore& store_;
    const TranslationPipeline::Settings& settings_;
};

} // namespace quorvel
