// Translates store texts and generates keywords with the AI service.
#pragma once

#include "Quorvel/actions/Target.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/controllers/translation/TranslationPlans.h"

namespace quorvel {

inline constexpr JSONMember freshMember{"fresh", "Ask the model again, also where an answer of it is kept."};

struct PlanTranslation {
    static constexpr ActionInfo info{"plan_translation",
                                     "Show which texts would be translated, the prompts and the cost"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        std::vector<std::string> to;
        std::optional<std::string> from;
        std::vector<FieldType> fields;
        bool all = false;
        bool fresh = false;
        bool dryRun = false;
        QUORVEL_RECORD(Request, app, workspace, context, folder, to, from, fields, all, fresh, dryRun)
        static constexpr JSONMember members[] = {
            appMember,
            workspaceMember,
            contextMember,
            folderMember,
            {"to", "Only into these locales."},
            {"from", "The source locale instead of the app's."},
            {"fields",
             "Only these fields; keywords are generated for each market instead of being translated."},
            {"all", "Also texts that are there already; what they replace is backed up."},
            freshMember,
            dryRunMember};
    };
    struct Result {
        TranslationPlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct TranslateTexts {
    static constexpr ActionInfo info{"translate_texts", "Translate texts into the app's other locales",
                                     Effect::localFiles};
    struct Request {
        TranslationPlan plan;
        std::optional<std::string> workspace;
        std::optional<std::string> folder;
        QUORVEL_RECORD(Request, plan, workspace, folder)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_translation made it.", JSONMember::required},
            workspaceMember,
            folderMember};
    };
    struct Result {
        TranslationReport report;
        std::optional<Failure> failure; // of the first text that failed
        QUORVEL_RECORD(Result, report, failure)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct AcceptTexts {
    static constexpr ActionInfo info{"accept_texts", "Accept generated texts that were read",
                                     Effect::localFiles};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        std::vector<std::string> locales;
        std::vector<FieldType> fields;
        bool dryRun = false;
        QUORVEL_RECORD(Request, app, workspace, context, folder, locales, fields, dryRun)
        static constexpr JSONMember members[] = {appMember,
                                                 workspaceMember,
                                                 contextMember,
                                                 folderMember,
                                                 {"locales", "Only those of these locales."},
                                                 {"fields", "Only these fields."},
                                                 dryRunMember};
    };
    struct Result {
        std::optional<AppReference> app; // nothing over a named folder of no recorded app
        AcceptedTexts texts;
        QUORVEL_RECORD(Result, app, texts)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

inline constexpr JSONMember allKeywordsMember{
    "all", "Also locales whose keywords are up to date; what they replace is backed up."};

struct PlanEnglishKeywords {
    static constexpr ActionInfo info{"plan_english_keywords",
                                     "Show the prompt for the keywords of the four English locales"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        bool all = false;
        bool dryRun = false;
        QUORVEL_RECORD(Request, app, workspace, context, folder, all, dryRun)
        static constexpr JSONMember members[] = {appMember,    workspaceMember,   contextMember,
                                                 folderMember, allKeywordsMember, dryRunMember};
    };
    struct Result {
        EnglishKeywordsPlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ExpandEnglishKeywords {
    static constexpr ActionInfo info{
        "expand_english_keywords", "Coordinate the keywords of the four English locales", Effect::localFiles};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        bool all = false;
        bool fresh = false;
        QUORVEL_RECORD(Request, app, workspace, context, folder, all, fresh)
        static constexpr JSONMember members[] = {appMember,    workspaceMember,   contextMember,
                                                 folderMember, allKeywordsMember, freshMember};
    };
    struct Result {
        EnglishKeywords keywords;
        QUORVEL_RECORD(Result, keywords)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ShowCosts {
    static constexpr ActionInfo info{"show_costs", "Show what AI requests cost"};
    struct Request {
        static constexpr std::int64_t mostDays = 36'500;
        std::int64_t days = 30;
        QUORVEL_RECORD(Request, days)
        static constexpr JSONMember members[] = {{"days", "Of the last so many days; 30 when left out."}};
    };
    struct ModelCosts {
        std::string model;
        std::int64_t calls = 0; // paid for
        std::int64_t cachedCalls = 0;
        std::int64_t inputTokens = 0; // of the calls that were paid for, as the next
        std::int64_t outputTokens = 0;
        double costUSD = 0;
        bool costIsAtMost = false; // the model's price is not known, and the highest was taken
        QUORVEL_RECORD(ModelCosts, model, calls, cachedCalls, inputTokens, outputTokens, costUSD,
                       costIsAtMost)
    };
    struct FeatureCosts {
        std::string feature; // such as "translation"; empty for what was recorded without one
        std::int64_t calls = 0;
        std::int64_t cachedCalls = 0;
        double costUSD = 0;
        bool costIsAtMost = false;
        QUORVEL_RECORD(FeatureCosts, feature, calls, cachedCalls, costUSD, costIsAtMost)
    };
    struct Result {
        std::int64_t days = 0;
        double costUSD = 0;
        bool costIsAtMost = false;
        std::vector<ModelCosts> models;
        std::vector<FeatureCosts> features;
        QUORVEL_RECORD(Result, days, costUSD, costIsAtMost, models, features)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
