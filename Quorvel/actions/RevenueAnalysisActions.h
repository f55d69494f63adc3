// A comment on what was sold, by the AI service.
#pragma once

#include "Core/revenue/RevenueAnalysisService.h"
#include "Quorvel/actions/Target.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// What would be sent, and what that costs.
struct RevenueAnalysisPlan {
    RevenueFigures figures; // all that is sent, and nothing else
    std::string language;   // in English
    std::string model;
    RevenueAnalysisPrompt prompt;
    double estimatedCostUSD = 0; // of one answer
    bool costIsAtMost = false;   // the model's price is not known, and the highest was taken
    std::vector<std::string> remarks;
    QUORVEL_RECORD(RevenueAnalysisPlan, figures, language, model, prompt, estimatedCostUSD, costIsAtMost,
                   remarks)
};

struct PlanRevenueAnalysis {
    static constexpr ActionInfo info{
        "plan_revenue_analysis",
        "Show the sums that the AI service would comment on, the prompt and the cost"};
    struct Request {
        std::int64_t days = 30;
        std::optional<std::string> currency;
        std::vector<std::string> apps;
        std::optional<std::string> workspace;
        std::optional<std::string> vendorNumber;
        std::optional<std::string> language;
        bool dryRun = false;
        QUORVEL_RECORD(Request, days, currency, apps, workspace, vendorNumber, language, dryRun)
        static constexpr JSONMember members[] = {
            {"days", "How many whole days, up to yesterday in Los Angeles."},
            {"currency", "The currency of the sums, such as EUR; kept as the user's choice."},
            {"apps", "Only these apps; all of the workspace when empty."},
            workspaceMember,
            {"vendorNumber", "The vendor number instead of the stored one."},
            {"language", "The language of the comment, such as de or pt-BR; English when left out."},
            dryRunMember};
    };
    struct Result {
        RevenueAnalysisPlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    /// Throws as `ShowRevenue` does, and `ApplicationError` for an unknown language and for days in which
    /// nothing was sold; but for a dry run also when no AI service is configured.
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct AnalyseRevenue {
    static constexpr ActionInfo info{"analyse_revenue", "Comment on what was sold, with the AI service"};
    struct Request {
        RevenueAnalysisPlan plan;
        bool fresh = false;
        QUORVEL_RECORD(Request, plan, fresh)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_revenue_analysis made it.", JSONMember::required},
            {"fresh", "Ask the model again, also where an answer of it is kept."}};
    };
    struct Result {
        RevenueComment comment;
        RevenueFigures figures; // that it is about
        std::string language;
        double costUSD = 0;
        bool costIsAtMost = false;
        std::vector<std::string> remarks;
        QUORVEL_RECORD(Result, comment, figures, language, costUSD, costIsAtMost, remarks)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
