// What a translation would take, and what came of it.
#pragma once

#include "Core/ai/translation/EnglishLocaleExpansion.h"
#include "Core/ai/translation/TranslationPipeline.h"
#include "Quorvel/controllers/metadata/PushPlan.h"

#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// What is to be translated.
struct TranslationOrder {
    std::optional<std::string> context = {};      // the one to work on when empty
    std::optional<std::string> sourceLocale = {}; // the app's when empty
    std::vector<std::string> targetLocales = {};  // all others when empty
    std::vector<FieldType> fields = {};           // all when empty
    TranslationWish::Which which = TranslationWish::Which::stale;
    KeptAnswers keptAnswers = KeptAnswers::taken;
    DryRun dryRun = DryRun::no; // leaves a tree of the older layout alone
};

enum class NothingToTranslate { upToDate, noSourceText };

template <>
struct RawValues<NothingToTranslate> {
    static constexpr std::pair<NothingToTranslate, std::string_view> values[] = {
        {NothingToTranslate::upToDate, "upToDate"}, {NothingToTranslate::noSourceText, "noSourceText"}};
};

struct TranslationPlan {
    AppReference app;
    std::string context; // "ios/next"
    std::string folder;  // of the context
    std::string model;
    std::string sourceLocale;
    bool all = false;   // also texts that are there already
    bool fresh = false; // the model is asked again, also where an answer of it is kept
    std::vector<TranslationPipeline::Preview> items;
    std::int64_t requests = 0;
    std::int64_t replacements = 0; // texts that are there now; they are backed up
    double estimatedCostUSD = 0;   // of one answer each; retries come on top
    bool costIsAtMost = false;     // the model's price is not known, and the highest was taken
    std::optional<NothingToTranslate> nothing;
    std::vector<UnreadableText> unreadable; // of these locales and fields; left out
    QUORVEL_RECORD(TranslationPlan, app, context, folder, model, sourceLocale, all, fresh, items, requests,
                   replacements, estimatedCostUSD, costIsAtMost, nothing, unreadable)
};

/// One text of a run.
struct TranslatedText {
    std::string locale;
    FieldType field = FieldType::name;
    std::string translation;
    std::int64_t length = 0;
    std::int64_t limit = 0;
    bool review = false; // was generated and not read since
    bool skipped = false;
    bool isOverLimit = false; // the model's text was; what is written was cut
    bool fromCache = false;
    std::int64_t inputTokens = 0;
    std::int64_t outputTokens = 0;
    double costUSD = 0;
    std::optional<std::string> backup; // where the text is that it replaced
    std::vector<std::string> remarks;
    std::optional<std::string> error; // what ended this text; nothing was written then
    QUORVEL_RECORD(TranslatedText, locale, field, translation, length, limit, review, skipped, isOverLimit,
                   fromCache, inputTokens, outputTokens, costUSD, backup, remarks, error)
};

struct TranslationReport {
    AppReference app;
    std::string context;
    std::string model;
    std::vector<TranslatedText> texts;
    double costUSD = 0;
    bool costIsAtMost = false;
    std::exception_ptr failure = nullptr; // of the first text that failed
    QUORVEL_RECORD_EXCEPT(TranslationReport, (failure), app, context, model, texts, costUSD, costIsAtMost)
};

/// Which unread texts somebody read; an empty list stands for all.
struct Acceptance {
    std::optional<std::string> context = {}; // the one to work on when empty
    std::vector<std::string> locales = {};
    std::vector<FieldType> fields = {};
    DryRun dryRun = DryRun::no;
};

struct AcceptedTexts {
    std::string context;
    std::vector<UnreadText> accepted;
    std::int64_t left = 0; // that are unread still
    QUORVEL_RECORD(AcceptedTexts, context, accepted, left)
};

/// Coordinated keywords of the four English locales: which are wanted.
struct EnglishKeywordsOrder {
    std::optional<std::string> context = {}; // the one to work on when empty
    TranslationWish::Which which = TranslationWish::Which::stale;
    KeptAnswers keptAnswers = KeptAnswers::taken;
    std::string model = std::string(PenwiseConfig::defaultModel);
    DryRun dryRun = DryRun::no; // leaves a tree of the older layout alone
};

/// What would be asked for them.
struct EnglishKeywordsPlan {
    AppReference app;
    std::string context;
    std::string model;
    std::vector<std::string> locales; // that would be written
    std::vector<EnglishLocaleExpansion::KeptLocale> kept;
    std::optional<PromptBuilder::Prompt> prompt; // none when no locale would be written
    QUORVEL_RECORD(EnglishKeywordsPlan, app, context, model, locales, kept, prompt)
};

struct EnglishKeywords {
    struct Entry {
        std::string locale;
        std::string keywords;
        std::int64_t length = 0;
        std::int64_t limit = 0;
        bool skipped = false;
        std::optional<std::string> backup;
        std::vector<std::string> remarks;
        QUORVEL_RECORD(Entry, locale, keywords, length, limit, skipped, backup, remarks)
    };
    AppReference app;
    std::string context;
    std::vector<Entry> entries;
    std::vector<EnglishLocaleExpansion::KeptLocale> kept; // that nothing was asked for
    std::vector<std::string> missing;                     // locales that the answer left out
    std::string rationale;
    double costUSD = 0;
    bool costIsAtMost = false;
    QUORVEL_RECORD(EnglishKeywords, app, context, entries, kept, missing, rationale, costUSD, costIsAtMost)
};

} // namespace quorvel
