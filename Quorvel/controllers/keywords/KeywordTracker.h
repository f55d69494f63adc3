// Follows the ranks of an app's search terms and the pages of its competitors.
#pragma once

#include "Core/aso/AppStoreHTMLScraper.h"
#include "Core/aso/ITunesSearchClient.h"
#include "Core/aso/RankVelocityDetector.h"
#include "Core/records/TrackingRecords.h"
#include "Platform/time/Date.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvel {

/// Which terms and competitors a refresh takes.
enum class RefreshScope { due, all };

/// What a refresh has to do; what was never captured first, then the oldest.
struct RefreshWork {
    /// A term or a competitor is due again that long after it was captured: a daily refresh may come some
    /// hours earlier than the day before.
    static constexpr std::chrono::hours dueAfter{20};

    std::vector<TrackedKeyword> keywords;
    std::vector<TrackedCompetitor> competitors;
    std::size_t keywordsUpToDate = 0;
    std::size_t competitorsUpToDate = 0;

    /// Requests to the search service, which Apple allows about 20 of a minute.
    [[nodiscard]] std::size_t searchRequests() const { return keywords.size() + competitors.size(); }
};

/// What became of one term.
struct TermRefresh {
    TrackedKeyword keyword;
    std::optional<KeywordSnapshot> snapshot; // nothing where it failed, and where it is no longer tracked
    std::exception_ptr failure;
};

/// What became of one competitor.
struct CompetitorRefresh {
    TrackedCompetitor competitor;
    std::optional<CompetitorSnapshot> snapshot;
    std::exception_ptr failure;
};

struct RefreshOutcome {
    std::vector<TermRefresh> terms;
    std::vector<CompetitorRefresh> competitors;
    std::size_t leftDue = 0;  // not asked for, as the store refused one request after the other
    std::size_t upToDate = 0; // not due
};

/// An alert about one tracked term.
struct KeywordAlert {
    TrackedKeyword keyword;
    RankVelocityDetector::Alert alert;
    std::optional<std::int64_t> rank; // now
};

/// Stateless but for the records. Each snapshot is kept as soon as it is there, so a refresh that is cut off
/// goes on with what is still due. One refresh works on a home at a time, whatever app it is of: they share
/// what the store allows.
class KeywordTracker {
  public:
    struct Parts {
        ITunesSearchClient search;
        AppStoreHTMLScraper pages;
        KeywordRecords keywords;
        CompetitorRecords competitors;
        std::filesystem::path lockFile;
        Clock clock;
    };
    /// What is being asked for, and how much is done of how much.
    using Progress = std::function<void(const std::string& text, std::size_t done, std::size_t total)>;
    /// Called with the outcome while nobody else can refresh.
    using Finish = std::function<void(const RefreshOutcome&)>;

    explicit KeywordTracker(Parts parts) : parts_(std::move(parts)) {}

    /// Throws `StoreError`.
    [[nodiscard]] static RefreshWork work(const KeywordRecords& keywords,
                                          const CompetitorRecords& competitors, std::string_view appID,
                                          Date now, RefreshScope scope);
    /// One failure stops no other; after three requests in a row that the store refused or that found no
    /// answer the rest is left due. Throws `OperationRefused` while another refresh runs, `StoreError`,
    /// `CancellationError`.
    RefreshOutcome refresh(const ManagedApp& app, RefreshScope scope, const Progress& progress = {},
                           const Finish& finish = {}) const;

    /// The alerts about all terms of an app; the window is a week. Throws `StoreError`.
    [[nodiscard]] static std::vector<KeywordAlert> alerts(const KeywordRecords& keywords,
                                                          std::string_view appID, Date now);

  private:
    [[nodiscard]] TermRefresh refreshTerm(const ManagedApp& app, const TrackedKeyword& keyword,
                                          const std::vector<TrackedCompetitor>& competitors) const;
    [[nodiscard]] CompetitorRefresh refreshCompetitor(const TrackedCompetitor& competitor) const;

    const Parts parts_;
};

} // namespace quorvel
