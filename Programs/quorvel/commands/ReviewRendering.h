// How the commands show customer reviews and the replies to them.
#pragma once

#include "Programs/quorvel/Output.h"
#include "Quorvel/actions/ReviewActions.h"
#include "Quorvel/actions/ReviewReplyActions.h"

namespace quorvel {

enum class ReviewForm { excerpt, whole };

/// A review of foreign words: stars, day, territory, author, title, body, themes and id.
void printReview(Output& output, const SeenReview& seen, ReviewForm form);
/// The developer's response to a review, and whether Apple has checked it.
void printResponse(Output& output, const CustomerReviewResponseAttributes& response);
/// A reply that is typed, with its length.
void printReply(Output& output, std::string_view text, std::int64_t length);
void printStatistics(Output& output, const CountReviews::Result& result);

} // namespace quorvel
