#include "Core/ai/translation/TranslationRun.h"

#include "Core/ai/translation/KeywordList.h"
#include "Core/ai/translation/OverLimitTexts.h"
#include "Core/ai/translation/ReplyText.h"
#include "Core/ai/translation/TextTrimming.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <tuple>

namespace quorvel {

namespace {

void skip(TranslationOutcome& outcome, std::string reason) {
    outcome.skipped = true;
    outcome.translation.clear();
    outcome.isOverLimit = false;
    outcome.warning = std::move(reason);
    outcome.remarks.clear();
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
      generated_(store_, parts.clock()),
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
    for (TextFinding& finding : preparation_.findingsIn(prepared, outcome.translation))
        outcome.remarks.push_back(std::move(finding.problem));
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
    auto usable = preparation_.usablePartOf(kept->translation, prepared);
    const std::size_t length = graphemeCount(kept->translation);
    const std::string_view field = rawValue(prepared.item.field);
    if (!usable) {
        parts_.logger.info(fmt::format(
            "Cached {} for {} is {}; re-translating.", field, prepared.item.targetLocale,
            length > prepared.limit ? "over-limit and not salvageable" : "no translation that can be used"));
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
                                          int retry, ClaudeAsker& asker) const {
    const ClaudeRequest request{.model = parts_.model,
                                .maxTokens = parts_.maxOutputTokens,
                                .system = prompt.system,
                                .messages = {{"user", prompt.user}},
                                .keptAnswers = keptAnswers_,
                                .feature = "translation"};
    return asker.ask(request, [&](const ClaudeResponse& response) {
        const std::string reply = response.text();
        Draft draft{.text = translationIn(reply, prepared.item.field, prepared.sourceText)};
        if (draft.text.empty()) throw ClaudeError(ClaudeError::EmptyResponse{});
        // Tidied keywords hide the sentence that they are made from.
        const bool areKeywords = prepared.item.field == FieldType::keywords;
        draft.findings =
            preparation_.findingsIn(prepared, areKeywords ? reply : draft.text, response.stopReason);
        for (const TextFinding& finding : draft.findings)
            if (finding.meaning == TextFinding::Meaning::failure && retry >= finding.retries)
                throw ClaudeError(ClaudeError::Decoding{finding.problem});
        if (areKeywords) {
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
    const auto quality = [&](const Draft& draft) { // smaller is better
        return std::tuple(hasFailure(draft.findings), draft.length > prepared.limit, draft.findings.size());
    };
    PromptBuilder::Prompt prompt = preparation_.promptFor(prepared);
    Draft best = ask(prepared, prompt, 0, asker);
    Draft latest = best;
    for (int retry = 1; retry <= TranslationPipeline::maxRetries; ++retry) {
        const std::string notes = notesAfter(prepared, latest, retry);
        if (notes.empty()) break;
        // The earlier notes stay: otherwise two answers of one length would make the same request twice, and
        // the response cache would answer it.
        prompt.user += notes;
        try {
            latest = ask(prepared, prompt, retry, asker);
        } catch (const ClaudeError&) {
            const auto [failed, isOverLimit, remarks] = quality(best);
            if (failed || isOverLimit) throw;
            break; // a text with remarks is better than none
        }
        if (quality(latest) <= quality(best)) best = latest;
    }
    return best;
}

// What a further request is told about the text; empty when none is worth its cost.
std::string TranslationRun::notesAfter(const PreparedItem& prepared, const Draft& draft, int retry) const {
    const auto& [source, target, field] = prepared.item;
    for (const TextFinding& finding : draft.findings)
        if (finding.meaning == TextFinding::Meaning::failure && finding.retries == 0) return {};
    std::string notes;
    if (draft.length > prepared.limit) {
        parts_.logger.info(fmt::format("Field {} for {} was {}/{} chars; retry {} of {}.", rawValue(field),
                                       target, draft.length, prepared.limit, retry,
                                       TranslationPipeline::maxRetries));
        notes += PromptBuilder::retryNote(field, prepared.sourceText, draft.length, prepared.limit);
    }
    for (const TextFinding& finding : draft.findings) {
        if (finding.retries < retry) continue;
        parts_.logger.info(fmt::format("Field {} for {} breaks the rule {}; retry {} of {}.", rawValue(field),
                                       target, finding.rule, retry, finding.retries));
        notes += finding.note;
    }
    return notes;
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
    const auto written = generated_.write(item.targetLocale, item.field, outcome.translation,
                                          outcome.isOverLimit ? ReviewMark::cut : ReviewMark::generated);
    if (written.kept) outcome.kept = written.kept->native();
    outcome.review = written.review;
    const std::lock_guard lock(mutex_);
    origins_.note(item.targetLocale, item.field, prepared.sourceText, outcome.translation, item.sourceLocale);
    origins_.save(parts_.folder);
}

} // namespace quorvel
