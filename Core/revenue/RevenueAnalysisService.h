// A comment on sales figures by the AI service.
#pragma once

#include "Core/ai/AnswerCost.h"
#include "Core/ai/ClaudeClientProtocol.h"
#include "Core/revenue/WorkspaceRevenueSummary.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// What the service is told: sums, and nothing of a single sale, an account or a product's identifiers.
struct RevenueFigures {
    /// A day, or several in a row where the window is long.
    struct Period {
        std::string firstDay;
        std::int64_t days = 0;
        double proceeds = 0;
        std::int64_t downloads = 0;
        std::int64_t daysWithoutReport = 0; // not published yet, or failed
        QUORVEL_RECORD(Period, firstDay, days, proceeds, downloads, daysWithoutReport)
        bool operator==(const Period&) const = default;
    };
    struct App {
        std::string name;
        double proceeds = 0;
        std::int64_t downloads = 0;
        QUORVEL_RECORD(App, name, proceeds, downloads)
        bool operator==(const App&) const = default;
    };
    std::string firstDay;
    std::string lastDay;
    std::string currency; // of all sums but those as reported
    double proceeds = 0;
    double proceedsOfDaysBefore = 0; // as many days
    std::int64_t downloads = 0;      // for the first time
    std::int64_t downloadsOfDaysBefore = 0;
    std::int64_t daysBeforeWithoutReport = 0;
    std::vector<Period> periods; // oldest first
    std::vector<App> apps;       // the greatest proceeds first
    std::vector<WorkspaceRevenueSummary::Reported> proceedsAsReported;
    std::vector<std::string> currenciesLeftOut; // for want of a rate
    QUORVEL_RECORD(RevenueFigures, firstDay, lastDay, currency, proceeds, proceedsOfDaysBefore, downloads,
                   downloadsOfDaysBefore, daysBeforeWithoutReport, periods, apps, proceedsAsReported,
                   currenciesLeftOut)
    bool operator==(const RevenueFigures&) const = default;

    /// The same with no more than a comment needs: sums in whole hundredths, at most 31 periods, and the
    /// greatest 20 apps and currencies, the other apps as one; names without control characters, cut to 60
    /// user-perceived characters.
    [[nodiscard]] RevenueFigures reduced() const;
};

struct RevenueComment {
    std::string headline;
    std::vector<std::string> observations; // one to six
    std::vector<std::string> suggestions;  // at most four
    QUORVEL_RECORD(RevenueComment, headline, observations, suggestions)
    bool operator==(const RevenueComment&) const = default;
};

struct RevenueAnalysisPrompt {
    std::string system;
    std::string user;
    QUORVEL_RECORD(RevenueAnalysisPrompt, system, user)
    bool operator==(const RevenueAnalysisPrompt&) const = default;
};

/// The English name of the language of a tag such as "de" or "pt-BR"; nothing for what names none.
[[nodiscard]] std::optional<std::string> languageName(std::string_view tag);

/// Asks for one comment. A value.
class RevenueAnalysisService {
  public:
    static constexpr std::string_view feature = "revenue analysis"; // in the ledger

    struct Result {
        RevenueComment comment;
        AnswerCost cost;
    };

    RevenueAnalysisService(std::shared_ptr<const ClaudeClientProtocol> client, std::string model)
        : client_(std::move(client)), model_(std::move(model)) {}

    /// `language` in English, as `languageName` gives it.
    [[nodiscard]] static RevenueAnalysisPrompt prompt(const RevenueFigures& figures,
                                                      std::string_view language);
    /// US dollars of one answer.
    [[nodiscard]] static double estimatedCostUSD(std::string_view model, const RevenueAnalysisPrompt& prompt);

    /// An answer that cannot be used is asked for once more. Throws `ClaudeError`.
    [[nodiscard]] Result analyse(const RevenueAnalysisPrompt& prompt,
                                 KeptAnswers keptAnswers = KeptAnswers::taken) const;

  private:
    std::shared_ptr<const ClaudeClientProtocol> client_;
    std::string model_;
};

} // namespace quorvel
