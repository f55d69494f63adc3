// Looks for search terms that an app does not follow yet.
#pragma once

#include "Core/aso/AppleChartsClient.h"
#include "Core/aso/AppleSearchHintsClient.h"
#include "Core/aso/ITunesSearchClient.h"
#include "Core/aso/KeywordScore.h"
#include "Platform/json/JSON.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvel {

/// A term with its estimate.
struct KeywordSuggestion {
    std::string term;
    KeywordScore score;
    KeywordFacts facts;
    std::string explanation;
    std::vector<std::string> sources; // "the store's suggestions", or names of competitors
    QUORVEL_RECORD(KeywordSuggestion, term, score, facts, explanation, sources)
};

/// A term that is not suggested, and why.
struct LeftOutKeyword {
    enum class Reason { tracked, inName, brand, appleTrademark, saysNothing };
    std::string term;
    Reason reason = Reason::tracked;
    std::string remark;
    QUORVEL_RECORD(LeftOutKeyword, term, reason, remark)
};

template <>
struct RawValues<LeftOutKeyword::Reason> {
    using Reason = LeftOutKeyword::Reason;
    static constexpr std::pair<Reason, std::string_view> values[] = {
        {Reason::tracked, "tracked"},
        {Reason::inName, "inName"},
        {Reason::brand, "brand"},
        {Reason::appleTrademark, "appleTrademark"},
        {Reason::saysNothing, "saysNothing"}};
};

struct KeywordSuggestions {
    std::vector<KeywordSuggestion> suggestions; // the best score first
    std::vector<LeftOutKeyword> leftOut;
    std::size_t candidates = 0;        // that were found, without those left out
    std::vector<std::string> problems; // what could not be asked, each a sentence
    std::size_t failedSearches = 0;
};

/// Stateless. Reads only; keeps nothing.
class KeywordSuggester {
  public:
    static constexpr std::size_t mostSeeds = 5;

    struct Parts {
        ITunesSearchClient search;
        AppleSearchHintsClient hints;
        AppleChartsClient charts;
    };
    /// Another maker's app, as it was last seen.
    struct Competitor {
        std::string name, subtitle;
    };
    struct Wish {
        std::string appStoreId;
        std::string appName; // as the storefront shows it
        std::string country;
        std::vector<std::string> seeds; // what the store is asked to complete; the first few count
        std::vector<std::string> tracked;
        std::vector<Competitor> competitors;
        std::size_t limit = 10; // searches, one for each term that is scored
    };
    using Progress = std::function<void(const std::string& text, std::size_t done, std::size_t total)>;

    explicit KeywordSuggester(Parts parts) : parts_(std::move(parts)) {}

    /// Requests to the search service at most.
    [[nodiscard]] static std::size_t searchRequests(std::size_t limit) { return limit + 1; }

    /// A request that fails is told of and stops no other. Throws `CancellationError`, and what the last
    /// request threw where not a single one was answered.
    [[nodiscard]] KeywordSuggestions suggest(const Wish& wish, const Progress& progress = {}) const;

  private:
    const Parts parts_;
};

} // namespace quorvel
