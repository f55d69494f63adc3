// Different but coordinated keywords for the English storefronts.
#pragma once

#include "Core/ai/AnswerCost.h"
#include "Core/ai/ClaudeClientProtocol.h"
#include "Core/ai/PenwiseConfig.h"
#include "Core/ai/translation/PromptBuilder.h"
#include "Core/ai/translation/TranslationChoice.h"
#include "Core/metadata/MetadataStore.h"
#include "Platform/json/JSON.h"
#include "Platform/time/Date.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Why a locale keeps the keywords that it has.
enum class KeywordsKept { upToDate, disabled, safeMode };

template <>
struct RawValues<KeywordsKept> {
    static constexpr std::pair<KeywordsKept, std::string_view> values[] = {
        {KeywordsKept::upToDate, "upToDate"},
        {KeywordsKept::disabled, "disabled"},
        {KeywordsKept::safeMode, "safeMode"}};
};

/// The App Store keeps a keywords field per English locale; one request fills all four of them.
class EnglishLocaleExpansion {
  public:
    /// The first is the base.
    static constexpr std::array<std::string_view, 4> locales = {"en-US", "en-GB", "en-AU", "en-CA"};
    static constexpr std::string_view explanation =
        "Fill en-US + en-GB + en-AU + en-CA with non-overlapping keywords for ~4× indexing.";

    struct KeptLocale {
        std::string locale;
        KeywordsKept reason = KeywordsKept::upToDate;
        std::string keywords;
        QUORVEL_RECORD(KeptLocale, locale, reason, keywords)
        bool operator==(const KeptLocale&) const = default;
    };

    /// Which of the four locales would be written, in their order.
    struct Choice {
        std::vector<std::string> filled;
        std::vector<KeptLocale> kept;
        bool operator==(const Choice&) const = default;
    };

    struct Input {
        std::string baseKeywords; // of en-US
        std::string appName;
        std::string appSubtitle;
        BrandContext brand;
        std::size_t limit = limitOf(FieldType::keywords); // that the lists are held to
        Choice choice = {.filled = {locales.begin(), locales.end()}, .kept = {}};
        std::map<std::string, std::vector<std::string>> indexedTexts = {}; // locale → its name and subtitle
        KeptAnswers keptAnswers = KeptAnswers::taken;
    };

    struct Entry {
        std::string locale;
        std::string keywordsField; // within the limit
        std::optional<std::string> warning;
        bool skipped = false;            // not written: its keywords were edited while the model answered
        std::optional<std::string> kept; // the backup of the text that it replaced
        bool operator==(const Entry&) const = default;
    };

    struct Result {
        std::vector<Entry> entries; // of the chosen locales in their order; the answer may lack some
        std::string rationale;
        AnswerCost cost;
    };

    explicit EnglishLocaleExpansion(std::shared_ptr<const ClaudeClientProtocol> claude,
                                    std::string model = std::string(PenwiseConfig::defaultModel))
        : claude_(std::move(claude)), model_(std::move(model)) {}

    /// With `stale`, locales that have no keywords, or generated ones that are older than the base's and
    /// were not edited since; with `all`, all four. Disabled locales and what safe mode protects are kept.
    /// Throws `FileError`, `MetadataError`.
    [[nodiscard]] static Choice choose(const MetadataStore& store,
                                       const std::map<std::string, LocaleSettings>& settings,
                                       TranslationWish::Which which);

    [[nodiscard]] static PromptBuilder::Prompt prompt(const Input& input);

    /// Throws `ClaudeError`; an answer without any keywords for the chosen locales is
    /// `ClaudeError::Decoding`.
    [[nodiscard]] Result expand(const Input& input) const;

    /// Writes the entries into the tree, marked as unread, and returns them with the result of each; texts
    /// that they replace are backed up. What `choose` would no longer choose is left alone. The caller holds
    /// the tree's lock. Throws `FileError`, `MetadataError`.
    [[nodiscard]] static std::vector<Entry> write(const MetadataStore& store, std::vector<Entry> entries,
                                                  const std::map<std::string, LocaleSettings>& settings,
                                                  TranslationWish::Which which, Date moment);

  private:
    std::shared_ptr<const ClaudeClientProtocol> claude_;
    std::string model_;
};

} // namespace quorvel
