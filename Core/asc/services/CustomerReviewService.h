// Customer reviews with the developer's responses: page by page, one alone, and responding to one.
#pragma once

#include "Core/asc/ASCClientProtocol.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// A customer review and the developer's response to it, where there is one.
struct CustomerReview {
    ASCResource<CustomerReviewAttributes> review;
    std::optional<CustomerReviewResponseAttributes> response;
    bool operator==(const CustomerReview&) const = default;
};

/// Whether two texts are the same reply but for what App Store Connect may change about white space.
[[nodiscard]] bool isSameReply(std::string_view left, std::string_view right);

/// Everything throws `ASCError` and `CancellationError`.
class CustomerReviewService {
  public:
    struct Page {
        std::vector<CustomerReview> reviews;
        bool isLast = false;
        std::optional<std::int64_t> total; // of the whole list
    };
    enum class Reading { goOn, stop };

    /// The client outlives the service.
    explicit CustomerReviewService(const ASCClientProtocol& client) : client_(client) {}

    /// Hands the pages of an app's reviews to `visit`, the newest reviews first, until there are no more or
    /// it stops.
    void read(std::string_view appID, const std::function<Reading(Page)>& visit) const;
    /// One review; nothing when App Store Connect does not have it (any more).
    [[nodiscard]] std::optional<CustomerReview> find(std::string_view reviewID) const;
    /// Responds to a review, in place of any response that it has. When the answer is lost the review is
    /// looked at: a response that stands is not sent again.
    [[nodiscard]] CustomerReviewResponseAttributes respond(std::string_view reviewID,
                                                           std::string_view text) const;

  private:
    const ASCClientProtocol& client_;
};

} // namespace quorvel
