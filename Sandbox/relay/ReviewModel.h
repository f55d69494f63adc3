// What the sandbox's model makes of customer reviews.
#pragma once

#include <string>
#include <string_view>

namespace quorvel::sandbox {

/// Whether a prompt asks for the sentiment of a review, or for a reply to one.
[[nodiscard]] bool asksForSentiment(std::string_view system);
[[nodiscard]] bool asksForReply(std::string_view system);

/// A JSON document with the sentiment and the themes of the review in `user`.
[[nodiscard]] std::string sentimentOf(std::string_view user);
/// A reply in the review's language, with the developer's note where there is one.
[[nodiscard]] std::string replyTo(std::string_view user);
/// The body of the review in a prompt of either kind.
[[nodiscard]] std::string_view reviewBodyIn(std::string_view user);

} // namespace quorvel::sandbox
