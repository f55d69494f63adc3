// The words of the requests that translate texts and generate keywords.
#pragma once

#include "Core/ai/translation/Translation.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Lengths are in user-perceived characters.
struct PromptBuilder {
    struct Prompt {
        std::string system;
        std::string user;
        QUORVEL_RECORD(Prompt, system, user)
        bool operator==(const Prompt&) const = default;
    };

    struct TranslationRequest {
        TranslationItem item;
        std::string sourceText;
        std::size_t limit = 0;
        BrandContext brand;
        std::optional<std::string> preferredScript;
    };

    struct KeywordsRequest {
        std::string locale;
        std::size_t limit = 0;
        std::optional<std::string> appName; // in the locale, when known
        std::optional<std::string> appSubtitle;
        BrandContext brand;
        std::vector<std::string> indexedTerms; // that the App Store knows the app by already
        std::string referenceKeywords;         // of the source locale
        std::optional<std::string> preferredScript;
    };

    [[nodiscard]] static Prompt translation(const TranslationRequest& request);
    [[nodiscard]] static Prompt keywords(const KeywordsRequest& request);

    /// What is added to the user part after an answer of `length` characters that was over the limit.
    [[nodiscard]] static std::string retryNote(FieldType field, std::string_view sourceText,
                                               std::size_t length, std::size_t limit);

    /// What prompts call the field, such as "promotional text".
    [[nodiscard]] static std::string_view label(FieldType field);
};

} // namespace quorvel
