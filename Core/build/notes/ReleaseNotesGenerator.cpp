#include "Core/build/notes/ReleaseNotesGenerator.h"

#include "Core/ai/ClaudeAsker.h"
#include "Core/ai/JSONAnswer.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

constexpr std::int64_t maxDraftTokens = 8192; // the limit in scripts with a token or two per character
constexpr std::size_t maxSubjectLength = 300; // of what somebody took for a subject

constexpr std::string_view draftSystemPrompt =
    R"(You write App Store release notes (the "What's New" field) and
Promotional Text for indie apps. You have two strict rules:

1. ONLY use information present in the provided commits. Do not
   invent features, performance numbers, or fixes that aren't in
   the commit list. If commits are sparse, write a short draft —
   don't pad with generic marketing copy.

2. Stay within the character budgets given. App Store enforces
   these and we cannot accept output over the limit. Count every
   character including spaces and punctuation.

Tone: warm, direct, customer-facing. No version numbers, no
internal jargon, no "we ", no "our team ". Skip
chore/build/refactor commits — they don't matter to users.

Output format: ONE valid JSON object with exactly two keys
"whatsNew" and "promotionalText". No prose before or after the
JSON, no markdown code fences. Both values must be plain strings,
not arrays. Newlines inside whatsNew are fine and encouraged for
readability.)";

constexpr std::string_view lastLine = "\nReturn the JSON object now.";
constexpr std::string_view parseInstruction = "\nJSON parse failed; please return only valid JSON next time";

std::string_view labelOf(CommitKind kind) {
    switch (kind) {
    case CommitKind::feature:
        return "Feature";
    case CommitKind::fix:
        return "Fix";
    case CommitKind::performance:
        return "Performance";
    case CommitKind::ux:
        return "UX";
    case CommitKind::docs:
        return "Docs";
    case CommitKind::refactor:
        return "Refactor";
    case CommitKind::chore:
        return "Chore";
    case CommitKind::merge:
        return "Merge";
    case CommitKind::other:
        break;
    }
    return "Other";
}

// The kinds stand in the order of their importance.
std::vector<std::string> commitLines(const std::vector<ClassifiedCommit>& commits) {
    std::vector<std::string> lines;
    for (const auto& [kind, name] : RawValues<CommitKind>::values)
        for (const ClassifiedCommit& each : commits)
            if (each.include && each.kind == kind)
                lines.push_back(fmt::format("- [{}] {}", labelOf(kind),
                                            graphemePrefix(each.commit.subject, maxSubjectLength)));
    return lines;
}

// What comes before the last line, which a retry puts its words in front of.
std::optional<std::string> draftUserMessage(const ReleaseNotesContext& context,
                                            const ReleaseNotesLimits& limits) {
    const auto commits = commitLines(context.commits);
    if (commits.empty()) return std::nullopt;
    const auto isGiven = [](const std::optional<std::string>& text) { return text && !isBlank(*text); };
    std::vector<std::string> lines{"App: " + context.appName};
    if (!isBlank(context.brandVoice)) lines.push_back("Brand voice: " + context.brandVoice);
    if (!context.protectedTerms.empty())
        lines.push_back(fmt::format("Protected terms (do not paraphrase or translate): {}",
                                    fmt::join(context.protectedTerms, ", ")));
    if (isGiven(context.previousWhatsNew))
        lines.push_back("Previous version's What's New (for tone reference, do not repeat content):\n" +
                        *context.previousWhatsNew);
    if (isGiven(context.previousPromotionalText))
        lines.push_back("Previous version's Promotional Text:\n" + *context.previousPromotionalText);
    lines.emplace_back("\nCommits in this release (sorted by importance):");
    lines.insert(lines.end(), commits.begin(), commits.end());
    lines.push_back(
        fmt::format("\nLimits:\n- whatsNew: up to {} characters\n- promotionalText: up to {} characters",
                    limits.whatsNew, limits.promotionalText));
    return fmt::format("{}\n", fmt::join(lines, "\n"));
}

// Control characters other than line breaks and tabs are nothing that App Store Connect takes.
std::string plainDraft(std::string_view text) {
    std::string plain(trim(text));
    std::erase_if(plain, [](unsigned char byte) {
        return (byte < 0x20 && byte != '\n' && byte != '\t') || byte == 0x7F;
    });
    return plain;
}

// The draft in an answer; nothing for an answer that holds none, or a text of it only.
std::optional<ReleaseNotesDraft> draftIn(std::string_view answer) {
    const auto object = objectIn(answer);
    if (!object) return std::nullopt;
    const auto before = answer.substr(0, static_cast<std::size_t>(object->data() - answer.data()));
    if (trim(before).ends_with('[')) return std::nullopt; // an object in an array
    try {
        auto draft = decodeJSON<ReleaseNotesDraft>(*object);
        draft = {plainDraft(draft.whatsNew), plainDraft(draft.promotionalText)};
        if (draft.whatsNew.empty() || draft.promotionalText.empty()) return std::nullopt;
        return draft;
    } catch (const JSONError&) {
        return std::nullopt;
    }
}

// Empty for a draft within its limits.
std::string overLimitReason(const ReleaseNotesDraft& draft, const ReleaseNotesLimits& limits) {
    std::vector<std::string> reasons;
    const auto check = [&](std::string_view field, std::string_view text, std::size_t limit) {
        if (const std::size_t length = graphemeCount(text); length > limit)
            reasons.push_back(fmt::format("{} was {} chars — keep it under {}", field, length, limit));
    };
    check("whatsNew", draft.whatsNew, limits.whatsNew);
    check("promotionalText", draft.promotionalText, limits.promotionalText);
    return fmt::format("{}", fmt::join(reasons, "; "));
}

bool isUsable(const ClaudeResponse& response, const ReleaseNotesLimits& limits) {
    const auto draft = draftIn(response.text());
    return draft && overLimitReason(*draft, limits).empty();
}

} // namespace

ReleaseNotesError ReleaseNotesError::modelReturnedInvalidJSON(const std::string& raw) {
    return {Kind::modelReturnedInvalidJSON, "Claude returned malformed JSON. Raw output:\n" + raw};
}

ReleaseNotesError ReleaseNotesError::lengthBudgetExhausted(const std::string& field) {
    return {Kind::lengthBudgetExhausted,
            field + " is over the App Store limit even after retries. Edit by hand."};
}

ReleaseNotesError ReleaseNotesError::noUserRelevantCommits() {
    return {Kind::noUserRelevantCommits,
            "No user-relevant commits in the selected range. Add or include commits manually."};
}

std::optional<ReleaseNotesPrompt> ReleaseNotesGenerator::prompt(const ReleaseNotesContext& context,
                                                                const ReleaseNotesLimits& limits) {
    const auto user = draftUserMessage(context, limits);
    if (!user) return std::nullopt;
    return ReleaseNotesPrompt{std::string(draftSystemPrompt), *user + std::string(lastLine)};
}

ReleaseNotesGenerator::Result ReleaseNotesGenerator::generate(const ReleaseNotesContext& context,
                                                              const ReleaseNotesLimits& limits,
                                                              KeptAnswers keptAnswers) const {
    const auto user = draftUserMessage(context, limits);
    if (!user) throw ReleaseNotesError::noUserRelevantCommits();
    ClaudeAsker asker(*parts_.client);
    std::string objection; // to the answer before
    for (std::int64_t attempt = 1;; ++attempt) {
        ClaudeRequest request{.model = parts_.model,
                              .maxTokens = maxDraftTokens,
                              .system = std::string(draftSystemPrompt),
                              .messages = {{"user", *user + objection + std::string(lastLine)}},
                              .responseFormat = "json_object",
                              .keptAnswers = keptAnswers,
                              .feature = "release notes"};
        const bool isLast = attempt >= parts_.maxAttempts;
        ClaudeResponse response = asker.send(request);
        if (isLast && response.fromCache && !isUsable(response, limits)) {
            // Else no later run would ever get another answer.
            request.keptAnswers = KeptAnswers::renewed;
            response = asker.send(request);
        }
        const auto draft = draftIn(response.text());
        const std::string reason = draft ? overLimitReason(*draft, limits) : "";
        if (draft && reason.empty()) return {*draft, attempt, asker.cost()};
        if (isLast && !draft) throw ReleaseNotesError::modelReturnedInvalidJSON(response.text());
        if (isLast) {
            parts_.logger.info(fmt::format(
                "Returning over-limit draft after {} attempts; UI will prompt user to trim.", attempt));
            return {*draft, attempt, asker.cost()};
        }
        if (draft) {
            parts_.logger.info(
                fmt::format("Generation attempt {} over limit: {}. Retrying.", attempt, reason));
            objection =
                fmt::format("\nPrevious attempt was rejected: {}. Be shorter and more focused.\n", reason);
        } else {
            parts_.logger.info(fmt::format("Generation attempt {} parse failed; retrying.", attempt));
            objection = fmt::format("{}\n", parseInstruction);
        }
    }
}

} // namespace quorvel
