// Different but coordinated keywords for the English storefronts.
#pragma once

#include "Core/ai/ClaudeClientProtocol.h"
#include "Core/ai/PenwiseConfig.h"
#include "Core/ai/translation/PromptBuilder.h"
#include "Core/metadata/MetadataFolder.h"
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

/// The App Store keeps a keywords field per English locale; one request fills all four of them.
class EnglishLocaleExpansion {
  public:
    /// The first is the base.
    static constexpr std::array<std::string_view, 4> locales = {"en-US", "en-GB", "en-AU", "en-CA"};
    static constexpr std::string_view explanation =
        "Fill en-US + en-GB + en-AU + en-CA with non-overlapping keywords for ~4× indexing.";

    struct Input {
        std::string baseKeywords; // of en-US
        std::string appName;
        std::string appSubtitle;
        BrandContext brand;
        std::size_t limit = limitOf(FieldType::keywords); // that the lists are held to
    };

    struct Entry {
        std::string locale;
        std::string keywordsField; // within the limit
        std::optional<std::string> warning;
        bool skipped = false;            // not written: the locale is in safe mode and has a text
        std::optional<std::string> kept; // the backup of the text that it replaced
        bool operator==(const Entry&) const = default;
    };

    struct Result {
        std::vector<Entry> entries; // in the order of the locales; those that the answer left out are missing
        std::string rationale;
        std::int64_t inputTokens = 0;
        std::int64_t outputTokens = 0;
        double costUSD = 0;
    };

    explicit EnglishLocaleExpansion(std::shared_ptr<const ClaudeClientProtocol> claude,
                                    std::string model = std::string(PenwiseConfig::defaultModel))
        : claude_(std::move(claude)), model_(std::move(model)) {}

    [[nodiscard]] static PromptBuilder::Prompt prompt(const Input& input);

    /// Throws `ClaudeError`; an answer without any keywords for the four locales is `ClaudeError::Decoding`.
    [[nodiscard]] Result expand(const Input& input) const;

    /// Writes the entries into the tree and returns them with the result of each; texts that they replace
    /// are backed up. The caller holds the tree's lock. Throws `FileError`, `MetadataError`.
    [[nodiscard]] static std::vector<Entry> write(const MetadataFolder& folder, std::vector<Entry> entries,
                                                  const std::map<std::string, LocaleSettings>& settings,
                                                  Date moment);

  private:
    std::shared_ptr<const ClaudeClientProtocol> claude_;
    std::string model_;
};

} // namespace quorvel
