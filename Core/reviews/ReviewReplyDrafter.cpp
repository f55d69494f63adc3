#include "Core/reviews/ReviewReplyDrafter.h"

#include "Core/ai/ClaudeError.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <array>
#include <utility>
#include <vector>

namespace quorvel {

namespace {

constexpr std::int64_t maxReplyTokens = 700;
constexpr double replyTemperature = 0.4;
constexpr std::string_view fence = "```";

constexpr std::string_view replySystemPrompt =
    R"(You write replies from an indie app developer to App Store customer reviews. The reply is public, under the review, signed by the developer.

Rules:
- Reply in the SAME LANGUAGE the review is written in.
- 2–5 sentences. Plain, warm, human. First person singular or plural   to match a small developer — never corporate ("we value your feedback").
- Start with the substance. No stock openers in any language ("I'm so   glad to hear", "Thank you for your feedback", "We appreciate",   "Sorry for the inconvenience").
- Be specific to what the reviewer actually wrote. Name the feature or   problem they mentioned.
- Negative review: acknowledge the problem without excuses, say what   to try or that it is being looked at, and offer the support contact   only if the developer note provides one.
- Positive review: thank them for the specific thing they liked.   One sentence may mention what is coming only if the developer note says so.
- NEVER promise dates, NEVER ask them to change or update the rating,   NEVER mention competitors, NEVER invent features, prices or fixes   that the developer note does not state.
- No emojis unless the review uses them. No hashtags. No sign-off   placeholder like "[Your name]".

Output ONLY the reply text. No quotes around it, no preamble, no explanation.)";

constexpr std::array<std::pair<std::string_view, std::string_view>, 4> quotePairs = {
    {{"\"", "\""}, {"“", "”"}, {"«", "»"}, {"„", "“"}}};

std::string givenOr(const std::string& text, std::string_view otherwise) {
    return text.empty() ? std::string(otherwise) : text;
}

std::string withoutFences(std::string_view text) {
    std::string plain(text);
    for (std::size_t at = plain.find(fence); at != plain.npos; at = plain.find(fence, at))
        plain.erase(at, fence.size());
    return std::string(trim(plain));
}

std::string withoutQuotes(std::string text) {
    for (const auto& [open, close] : quotePairs)
        if (text.size() >= open.size() + close.size() && text.starts_with(open) && text.ends_with(close))
            return std::string(
                trim(std::string_view(text).substr(open.size(), text.size() - open.size() - close.size())));
    return text;
}

} // namespace

ReviewReplyDrafter::Prompt ReviewReplyDrafter::prompt(const Input& input) {
    std::vector<std::string> lines{"App: " + input.appName,
                                   fmt::format("Rating: {}/5", input.rating),
                                   "Territory: " + givenOr(input.territory, "unknown"),
                                   "Reviewer: " + givenOr(input.reviewerNickname, "anonymous"),
                                   "Review title: " + givenOr(input.title, "(none)"),
                                   "Review body: " + givenOr(input.body, "(none)")};
    if (const auto voice = trim(input.brandVoice); !voice.empty())
        lines.push_back("Brand voice to match: " + std::string(voice));
    const std::string note(trim(input.developerNote));
    lines.push_back("Developer note (the only facts you may state beyond the review): " +
                    givenOr(note, "(none — do not claim any fix or plan)"));
    lines.emplace_back("Write the reply.");
    return {std::string(replySystemPrompt), fmt::format("{}", fmt::join(lines, "\n"))};
}

std::string ReviewReplyDrafter::cleaned(std::string_view answer) {
    std::string text(trim(answer));
    if (text.starts_with(fence)) text = withoutFences(text);
    text = withoutQuotes(std::move(text));
    return std::string(graphemePrefix(text, longestReply));
}

std::string ReviewReplyDrafter::draft(const Input& input, KeptAnswers keptAnswers) const {
    ClaudeAsker asker(*parts_.claude);
    return draft(input, keptAnswers, asker);
}

std::string ReviewReplyDrafter::draft(const Input& input, KeptAnswers keptAnswers, ClaudeAsker& asker) const {
    Prompt made = prompt(input);
    ClaudeRequest request{.model = parts_.model,
                          .maxTokens = maxReplyTokens,
                          .system = std::move(made.system),
                          .messages = {{"user", std::move(made.user)}},
                          .temperature = replyTemperature,
                          .responseFormat = {},
                          .keptAnswers = keptAnswers,
                          .feature = "review replies"};
    // One answer is paid for at most; a kept one of no use is asked for again.
    const auto read = [&](const ClaudeResponse& response) {
        if (response.stopReason == "length")
            throw ClaudeError(ClaudeError::Decoding{
                fmt::format("the text broke off at the limit of {} output tokens", maxReplyTokens)});
        std::string text = cleaned(response.text());
        if (isBlank(text)) throw ClaudeError(ClaudeError::EmptyResponse{});
        return text;
    };
    const ClaudeResponse response = asker.send(request);
    try {
        return read(response);
    } catch (const ClaudeError&) {
        if (!response.fromCache) throw;
    }
    request.keptAnswers = KeptAnswers::renewed;
    return read(asker.send(request));
}

} // namespace quorvel
