#include "Core/reviews/SeenReview.h"

#include "Platform/text/Text.h"

#include <algorithm>

namespace quorvel {

namespace {

template <typename Values, typename Value>
bool isAllowed(const Values& allowed, const Value& value) {
    return allowed.empty() || std::ranges::find(allowed, value) != allowed.end();
}

} // namespace

bool ReviewFilter::matches(const SeenReview& seen) const {
    const CachedReview& review = seen.review;
    if (unanswered && seen.response) return false;
    if (since && review.createdAt < *since) return false;
    if (!isAllowed(stars, review.rating) || !isAllowed(territories, review.territory) ||
        !isAllowed(sentiments, review.sentiment))
        return false;
    if (!theme) return true;
    const std::string wanted = caseFolded(*theme);
    return std::ranges::any_of(review.themes, [&](const std::string& each) {
        return caseFolded(each).find(wanted) != std::string::npos;
    });
}

} // namespace quorvel
