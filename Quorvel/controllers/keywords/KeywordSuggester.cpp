#include "Quorvel/controllers/keywords/KeywordSuggester.h"

#include "Core/aso/ASOError.h"
#include "Core/aso/AppStoreGenre.h"
#include "Core/aso/KeywordTerms.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Quorvel/controllers/keywords/StoreTrouble.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <set>
#include <span>
#include <utility>

namespace quorvel {

namespace {

constexpr std::string_view appleTrademarks[] = {"apple", "iphone", "ipad", "ipod", "itunes", "imessage"};
constexpr std::string_view emptyWords[] = {"app", "apps", "best", "free", "new", "top"};

struct Candidate {
    KeywordFacts facts;
    std::vector<std::string> sources;
};

class Collector {
  public:
    void add(std::string_view term, const std::string& source, bool isHint) {
        std::string key = termKey(term);
        if (key.empty() || graphemeCount(key) > longestTerm) return;
        const auto [place, isNew] = places_.emplace(key, candidates_.size());
        if (isNew) candidates_.push_back({.facts = {.term = std::move(key)}, .sources = {}});
        Candidate& candidate = candidates_[place->second];
        candidate.facts.isHint |= isHint;
        if (std::ranges::find(candidate.sources, source) == candidate.sources.end())
            candidate.sources.push_back(source);
    }
    [[nodiscard]] std::vector<Candidate> take() { return std::move(candidates_); }

  private:
    std::vector<Candidate> candidates_;
    std::map<std::string, std::size_t> places_;
};

// Names that belong to one maker. A word that others describe their apps with is nobody's.
std::vector<std::string> brandsOf(const KeywordSuggester::Wish& wish,
                                  const std::vector<std::string>& chartNames) {
    std::map<std::string, std::set<std::string>> describedBy; // term → apps
    std::set<std::string> named;
    const auto survey = [&](const std::string& name, const std::string& subtitle) {
        for (const std::string& term : describingTerms(name, subtitle))
            describedBy[term].insert(name);
        if (const std::string brand = brandOf(name); !brand.empty()) named.insert(brand);
    };
    for (const auto& competitor : wish.competitors)
        survey(competitor.name, competitor.subtitle);
    for (const std::string& name : chartNames)
        survey(name, "");
    std::vector<std::string> brands;
    for (const std::string& brand : named)
        if (!describedBy.contains(termKey(brand))) brands.push_back(brand);
    // A whole name of several words is a mark, too, though none of its words is.
    for (const auto& competitor : wish.competitors)
        if (brandOf(competitor.name).empty()) brands.push_back(competitor.name);
    return brands;
}

bool holdsAny(std::string_view term, std::span<const std::string_view> list) {
    return std::ranges::any_of(list, [&](std::string_view word) { return textHoldsTerm(term, word); });
}

std::optional<LeftOutKeyword> reasonToLeaveOut(const std::string& term, const KeywordSuggester::Wish& wish,
                                               const std::vector<std::string>& brands) {
    using Reason = LeftOutKeyword::Reason;
    const auto isTracked = [&](const std::string& other) { return termKey(other) == term; };
    if (std::ranges::any_of(wish.tracked, isTracked))
        return LeftOutKeyword{term, Reason::tracked, "tracked already"};
    if (textHoldsTerm(wish.appName, term)) return LeftOutKeyword{term, Reason::inName, "in the name already"};
    for (const std::string& brand : brands)
        if (textHoldsTerm(term, brand))
            return LeftOutKeyword{
                term, Reason::brand,
                fmt::format("\"{}\" is another maker's name, which App Review refuses in keywords", brand)};
    if (holdsAny(term, appleTrademarks))
        return LeftOutKeyword{term, Reason::appleTrademark, "a trademark of Apple's"};
    const auto parts = words(term);
    const bool saysNothing = std::ranges::all_of(parts, [](std::string_view word) {
        return std::ranges::find(emptyWords, word) != std::end(emptyWords);
    });
    if (saysNothing) return LeftOutKeyword{term, Reason::saysNothing, "says nothing of an app"};
    return std::nullopt;
}

std::string failureText(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& error) {
        return error.what();
    }
}

class Suggesting {
  public:
    Suggesting(const KeywordSuggester::Parts& parts, const KeywordSuggester::Wish& wish,
               const KeywordSuggester::Progress& progress)
        : parts_(parts),
          wish_(wish),
          progress_(progress),
          seeds_(std::min(wish.seeds.size(), KeywordSuggester::mostSeeds)) {}

    KeywordSuggestions run() {
        readHints();
        for (const auto& competitor : wish_.competitors)
            for (const std::string& term : describingTerms(competitor.name, competitor.subtitle))
                collector_.add(term, competitor.name, false);
        readChart();
        auto candidates = chosen(collector_.take());
        total_ = done_ + candidates.size();
        for (Candidate& candidate : candidates)
            score(std::move(candidate));
        if (notAsked_ > 0)
            result_.problems.push_back(
                fmt::format("{} not asked for after several failures in a row",
                            notAsked_ == 1 ? "1 more was" : fmt::format("{} more were", notAsked_)));
        if (answered_ == 0 && lastFailure_) std::rethrow_exception(lastFailure_);
        std::ranges::stable_sort(result_.suggestions, std::greater(),
                                 [](const KeywordSuggestion& one) { return one.score.total; });
        return std::move(result_);
    }

  private:
    // Whether the request was answered.
    template <typename Work>
    bool ask(const std::string& what, Work&& work) {
        checkCancellation();
        if (trouble_.isHopeless()) {
            ++notAsked_;
            return false;
        }
        if (progress_) progress_(what, done_, total_);
        ++done_;
        const auto failure = storeFailureOf(work);
        trouble_.note(failure);
        if (!failure) {
            ++answered_;
            return true;
        }
        lastFailure_ = failure;
        result_.problems.push_back(fmt::format("{}: {}", what, failureText(failure)));
        return false;
    }

    void readHints() {
        total_ = seeds_ + KeywordSuggester::searchRequests(wish_.limit) + 1;
        for (std::size_t i = 0; i < seeds_; ++i) {
            const std::string& seed = wish_.seeds[i];
            ask(fmt::format("Suggestions for \"{}\"", seed), [&] {
                for (const std::string& term : parts_.hints.hints(seed, wish_.country))
                    collector_.add(term, "the store's suggestions", true);
            });
        }
    }

    // Of the app's own genre where the store tells one.
    void readChart() {
        std::optional<AppStoreGenre> genre;
        ask("The app's category", [&] {
            try {
                const auto app = parts_.search.lookupApp(wish_.appStoreId, wish_.country);
                if (app.primaryGenreName) genre = genreNamed(*app.primaryGenreName);
            } catch (const ASOError& error) {
                if (!error.as<ASOError::AppNotFound>()) throw; // it is not on sale there, or not yet
            }
        });
        ask("The chart of free apps", [&] {
            for (const ChartApp& app :
                 parts_.charts.topApps(ChartKind::topFree, wish_.country, AppleChartsClient::mostApps, genre))
                if (app.id != wish_.appStoreId) chartNames_.push_back(app.name);
        });
    }

    // Those that are worth a search: the most wanted first.
    std::vector<Candidate> chosen(std::vector<Candidate> candidates) {
        const auto brands = brandsOf(wish_, chartNames_);
        std::erase_if(candidates, [&](const Candidate& candidate) {
            auto reason = reasonToLeaveOut(candidate.facts.term, wish_, brands);
            if (reason) result_.leftOut.push_back(std::move(*reason));
            return reason.has_value();
        });
        for (Candidate& candidate : candidates) {
            candidate.facts.chartSize = std::ssize(chartNames_);
            candidate.facts.chartApps = std::ranges::count_if(
                chartNames_, [&](const auto& name) { return textHoldsTerm(name, candidate.facts.term); });
        }
        result_.candidates = candidates.size();
        const auto promise = [](const Candidate& one) {
            KeywordFacts facts = one.facts;
            facts.results = 1;
            return std::pair(scoreOf(facts).total, one.sources.size());
        };
        std::ranges::stable_sort(candidates, std::greater(), promise);
        candidates.resize(std::min(candidates.size(), wish_.limit));
        return candidates;
    }

    void score(Candidate candidate) {
        KeywordFacts& facts = candidate.facts;
        const bool isAnswered = ask(fmt::format("Searching for \"{}\"", facts.term), [&] {
            const auto found = parts_.search.search(facts.term, wish_.country);
            facts.results = std::ssize(found);
            for (std::size_t index = 0; index < found.size(); ++index) {
                const auto rank = static_cast<std::int64_t>(index) + 1;
                if (rank <= KeywordScore::firstResults && textHoldsTerm(found[index].trackName, facts.term))
                    ++facts.firstTitles;
                if (std::to_string(found[index].trackId) == wish_.appStoreId && !facts.ourRank)
                    facts.ourRank = rank;
            }
        });
        if (!isAnswered) {
            ++result_.failedSearches;
            return;
        }
        result_.suggestions.push_back({.term = facts.term,
                                       .score = scoreOf(facts),
                                       .facts = facts,
                                       .explanation = explain(facts),
                                       .sources = std::move(candidate.sources)});
    }

    const KeywordSuggester::Parts& parts_;
    const KeywordSuggester::Wish& wish_;
    const KeywordSuggester::Progress& progress_;
    const std::size_t seeds_;
    Collector collector_;
    std::vector<std::string> chartNames_;
    KeywordSuggestions result_;
    StoreTrouble trouble_;
    std::exception_ptr lastFailure_;
    std::size_t answered_ = 0, notAsked_ = 0, done_ = 0, total_ = 0;
};

} // namespace

KeywordSuggestions KeywordSuggester::suggest(const Wish& wish, const Progress& progress) const {
    return Suggesting(parts_, wish, progress).run();
}

} // namespace quorvel
