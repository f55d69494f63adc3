#include "Core/ai/translation/TranslationRun.h"

#include "Core/ai/translation/KeywordList.h"
#include "Core/ai/translation/OverLimitTexts.h"
#include "Core/ai/translation/ReplyText.h"
#include "Core/ai/translation/TextReplacement.h"
#include "Core/ai/translation/TextTrimming.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

void skip(TranslationOutcome& outcome, std::string reason) {
    outcome.skipped = true;
    outcome.translation.clear();
    outcome.isOverLimit = false;
    outcome.warning = std::move(reason);
}

std::string editedTextOf(const PreparedItem& prepared) {
    return fmt::format("{} of {} was edited meanwhile — skipped, so that the edit stays.",
                       shortLabelOf(prepared.item.field), prepared.item.targetLocale);
}

// Called while `error` is being handled.
void fail(TranslationOutcome& outcome, const std::exception& error) {
    outcome.error = error.what();
    outcome.failure = std::current_exception();
}

CutText cutOf(const PreparedItem& prepared, std::size_t before, const std::string& after,
              CutText::From from) {
    return {.field = prepared.item.field,
            .limit = prepared.limit,
            .before = before,
            .after = graphemeCount(after),
            .from = from};
}

} // namespace

TranslationRun::TranslationRun(const TranslationPipeline::Parts& parts,
                               const TranslationPipeline::Settings& settings)
    : parts_(parts),
      store_(parts.folder),
      preparation_(parts.model, store_, settings),
      moment_(parts.clock()),
      replaced_(settings.replaced),
      keptAnswers_(settings.keptAnswers),
      claude_(parts.claude),
      origins_(TranslationOrigins::load(parts.folder)) {}

void TranslationRun::adoptTexts(const std::string& sourceLocale) {
    const std::lock_guard lock(mutex_);
    origins_.adoptFrom(store_, sourceLocale);
}

TranslationOutcome TranslationRun::translate(const TranslationItem& item) {
    TranslationOutcome outcome{.item = item};
    ClaudeAsker asker(claude_);
    try {
        checkCancellation();
        work(preparation_.prepare(item), asker, outcome);
    } catch (const ClaudeError& error) {
        fail(outcome, error);
    } catch (const MetadataError& error) {
        fail(outcome, error);
    } catch (const FileError& error) {
        fail(outcome, error);
    }
    if (outcome.error) outcome.translation.clear();
    outcome.inputTokens = asker.cost().inputTokens;
    outcome.outputTokens = asker.cost().outputTokens;
    outcome.costUSD = asker.cost().costUSD;
    return outcome;
}

void TranslationRun::work(const PreparedItem& prepared, ClaudeAsker& asker, TranslationOutcome& outcome) {
    if (prepared.skippedBecause) return skip(outcome, *prepared.skippedBecause);
    if (wasEditedByUser(prepared)) return skip(outcome, editedTextOf(prepared));
    if (!useCached(prepared, outcome)) {
        const Draft draft = askWithRetries(prepared, asker);
        fit(prepared, draft, outcome);
        keep(prepared, draft, asker.cost());
    }
    // Checked again: an editor may have saved while the model answered.
    if (wasEditedByUser(prepared)) return skip(outcome, editedTextOf(prepared));
    write(prepared, outcome);
}

bool TranslationRun::wasEditedByUser(const PreparedItem& prepared) {
    if (replaced_ == TranslationWish::Which::all && !prepared.isSafe) return false;
    const auto& [source, target, field] = prepared.item;
    const std::string text = store_.read(target, field).value_or("");
    if (prepared.isSafe) return !isBlank(text);
    const std::lock_guard lock(mutex_);
    return !isStale(text, source, prepared.sourceText, origins_.find(target, field));
}

bool TranslationRun::useCached(const PreparedItem& prepared, TranslationOutcome& outcome) {
    if (keptAnswers_ == KeptAnswers::renewed) return false;
    const auto kept = parts_.cache.lookup(prepared.key);
    if (!kept || isBlank(kept->translation)) return false;
    auto usable = usablePartOf(kept->translation, prepared);
    const std::size_t length = graphemeCount(kept->translation);
    const std::string_view field = rawValue(prepared.item.field);
    if (!usable) {
        parts_.logger.info(fmt::format("Cached {} for {} is over-limit and not salvageable; re-translating.",
                                       field, prepared.item.targetLocale));
        return false;
    }
    outcome.translation = std::move(*usable);
    outcome.fromCache = true;
    if (length <= prepared.limit) return true;
    const CutText cut = cutOf(prepared, length, outcome.translation, CutText::From::cache);
    parts_.logger.info(fmt::format("Salvaged over-limit cached {} for {}: {} → {} chars.", field,
                                   prepared.item.targetLocale, cut.before, cut.after));
    outcome.isOverLimit = true;
    outcome.warning = warningFor(cut);
    return true;
}

TranslationRun::Draft TranslationRun::ask(const PreparedItem& prepared, const PromptBuilder::Prompt& prompt,
                                          ClaudeAsker& asker) const {
    const ClaudeRequest request{.model = parts_.model,
                                .maxTokens = parts_.maxOutputTokens,
                                .system = prompt.system,
                                .messages = {{"user", prompt.user}},
                                .keptAnswers = keptAnswers_};
    return asker.ask(request, [&](const ClaudeResponse& response) {
        Draft draft{.text = translationIn(response.text(), prepared.item.field, prepared.sourceText)};
        if (draft.text.empty()) throw ClaudeError(ClaudeError::EmptyResponse{});
        if (prepared.item.field == FieldType::keywords) {
            draft.text = tidyKeywords(draft.text, prepared.indexedTerms);
            if (draft.text.empty())
                throw ClaudeError(
                    ClaudeError::Decoding{"the keywords are nothing but words of the name and the subtitle"});
        }
        draft.length = graphemeCount(draft.text);
        return draft;
    });
}

TranslationRun::Draft TranslationRun::askWithRetries(const PreparedItem& prepared, ClaudeAsker& asker) const {
    PromptBuilder::Prompt prompt = preparation_.promptFor(prepared);
    Draft draft = ask(prepared, prompt, asker);
    const auto& [source, target, field] = prepared.item;
    for (int retry = 1; retry <= TranslationPipeline::maxRetries && draft.length > prepared.limit; ++retry) {
        parts_.logger.info(fmt::format("Field {} for {} was {}/{} chars; retry {} of {}.", rawValue(field),
                                       target, draft.length, prepared.limit, retry,
                                       TranslationPipeline::maxRetries));
        // The earlier notes stay: otherwise two answers of one length would make the same request twice, and
        // the response cache would answer it.
        prompt.user += PromptBuilder::retryNote(field, prepared.sourceText, draft.length, prepared.limit);
        draft = ask(prepared, prompt, asker);
    }
    return draft;
}

void TranslationRun::fit(const PreparedItem& prepared, const Draft& draft,
                         TranslationOutcome& outcome) const {
    outcome.translation = draft.text;
    outcome.isOverLimit = draft.length > prepared.limit;
    if (!outcome.isOverLimit) return;
    const auto whole = wholePartsWithin(draft.text, prepared);
    outcome.translation = whole ? *whole : trimToBoundary(draft.text, prepared.limit);
    CutText cut = cutOf(prepared, draft.length, outcome.translation, CutText::From::retries);
    if (!whole && !wholeWordsWithin(draft.text, prepared.limit)) cut.at = CutText::At::insideWord;
    parts_.logger.warning(fmt::format("Hard-trimmed {} for {}: {} → {} chars at word boundary.",
                                      rawValue(prepared.item.field), prepared.item.targetLocale, cut.before,
                                      cut.after));
    outcome.warning = warningFor(cut);
}

void TranslationRun::keep(const PreparedItem& prepared, const Draft& draft, const AnswerCost& cost) const {
    parts_.cache.store({.hashKey = prepared.key,
                        .sourceText = prepared.sourceText,
                        .targetLocale = prepared.item.targetLocale,
                        .fieldType = std::string(rawValue(prepared.item.field)),
                        .model = parts_.model,
                        .translation = draft.text,
                        .tokensIn = cost.inputTokens,
                        .tokensOut = cost.outputTokens,
                        .createdAt = parts_.clock(),
                        .overLimit = draft.length > prepared.limit});
}

void TranslationRun::write(const PreparedItem& prepared, TranslationOutcome& outcome) {
    const TranslationItem& item = prepared.item;
    if (const auto kept = replaceText(store_, item.targetLocale, item.field, outcome.translation, moment_))
        outcome.kept = kept->native();
    const std::lock_guard lock(mutex_);
    origins_.note(item.targetLocale, item.field, prepared.sourceText, outcome.translation, item.sourceLocale);
    origins_.save(parts_.folder);
}

} // namespace quorvel
