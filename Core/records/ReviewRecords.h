// Typed access to the customer reviews that were seen.
#pragma once

#include "Core/records/ModelContainer.h"
#include "Core/records/Models.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace quorvel {

/// Everything throws `StoreError`; safe to use from several threads.
class ReviewRecords {
  public:
    explicit ReviewRecords(std::shared_ptr<const ModelContainer> container);

    [[nodiscard]] std::vector<CachedReview> all(std::string_view appID) const; // the newest first
    [[nodiscard]] std::optional<CachedReview> find(std::string_view id) const;
    /// Stores those that were not seen before; how many.
    std::int64_t addNew(std::span<const CachedReview> reviews) const;
    /// Adds reviews, or updates those of the same `id`; all or none.
    void store(std::span<const CachedReview> reviews) const;
    /// Stores `review` as long as what is kept under its id is still `expected`; whether it was.
    [[nodiscard]] bool replace(const CachedReview& expected, const CachedReview& review) const;
    /// Whether there was one.
    bool remove(std::string_view id) const;

  private:
    std::shared_ptr<const ModelContainer> container_;
};

} // namespace quorvel
