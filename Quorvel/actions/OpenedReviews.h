// The reviews of the app that a request is about.
#pragma once

#include "Quorvel/actions/Target.h"
#include "Quorvel/controllers/reviews/ReviewsController.h"

#include <memory>
#include <string>

namespace quorvel {

inline constexpr JSONMember reviewMember{
    "review", "The review: its id, or a part of it that no other review's id holds.", JSONMember::required};

/// The reviews of a recorded app. Throws `ApplicationError`.
[[nodiscard]] std::unique_ptr<ReviewsController> openReviews(Application& application,
                                                             const AppChoice& choice);
[[nodiscard]] std::unique_ptr<ReviewsController> reviewsOf(Application& application, const ManagedApp& app);

/// The kept review that is named. Throws `ApplicationError`.
[[nodiscard]] SeenReview requireReview(const ReviewsController& reviews, const std::string& wanted);

} // namespace quorvel
