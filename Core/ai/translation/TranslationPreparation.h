// Gathers what one item of a translation needs.
#pragma once

#include "Core/ai/translation/TranslationChecks.h"
#include "Core/ai/translation/TranslationPipeline.h"
#include "Core/metadata/MetadataStore.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

struct PreparedItem {
    TranslationItem item;
    std::string sourceText;
    std::size_t limit = 0;
    std::string key;     // in the translation cache
    bool isSafe = false; // the locale is in safe mode
    // Of keywords: those of the locale's name and subtitle, or the terms that were given.
    std::vector<std::string> indexedTerms;
    std::optional<std::string> skippedBecause;
};

/// As much of a text as is within the item's limit: all of it, or its first whole words or keywords; nothing
/// when not even one fits.
[[nodiscard]] std::optional<std::string> wholePartsWithin(const std::string& text,
                                                          const PreparedItem& prepared);

/// Reads the tree only. Safe to use from several threads.
class TranslationPreparation {
  public:
    TranslationPreparation(const std::string& model, const MetadataStore& store,
                           const TranslationPipeline::Settings& settings)
        : model_(model), store_(store), settings_(settings) {}

    /// Throws `MetadataError`, `FileError`.
    [[nodiscard]] PreparedItem prepare(const TranslationItem& item) const;
    [[nodiscard]] PromptBuilder::Prompt promptFor(const PreparedItem& prepared) const;

    /// What is wrong with a text for the item.
    [[nodiscard]] std::vector<TextFinding>
    findingsIn(const PreparedItem& prepared, std::string_view text,
               const std::optional<std::string>& stopReason = {}) const;
    /// What can be used of an answer that was kept; nothing when too little of it is within the limit, or
    /// when it is a failure.
    [[nodiscard]] std::optional<std::string> usablePartOf(const std::string& kept,
                                                          const PreparedItem& prepared) const;

  private:
    // What keywords depend on besides the source's.
    struct KeywordContext {
        std::optional<std::string> name;
        std::optional<std::string> subtitle;
        std::vector<std::string> indexedTerms;
        [[nodiscard]] std::vector<std::string> parts() const;
    };
    [[nodiscard]] KeywordContext keywordContext(const std::string& locale) const;
    [[nodiscard]] LocaleSettings settingsOf(const std::string& locale) const;
    [[nodiscard]] std::optional<std::string> reasonToSkip(const PreparedItem& prepared) const;
    [[nodiscard]] PromptBuilder::Prompt keywordsPrompt(const PreparedItem& prepared) const;

    const std::string& model_;
    const MetadataStore& store_;
    const TranslationPipeline::Settings& settings_;
};

} // namespace quorvel
