#include "Core/records/ReviewRecords.h"

#include "Core/records/RecordMapping.h"

namespace quorvel {

using namespace records;

ReviewRecords::ReviewRecords(std::shared_ptr<const ModelContainer> container)
    : container_(std::move(container)) {}

std::vector<CachedReview> ReviewRecords::all(std::string_view appID) const {
    return fetch<CachedReview>(*container_, "WHERE app = ?1 ORDER BY createdAt DESC, identity DESC", {appID});
}

std::optional<CachedReview> ReviewRecords::find(std::string_view id) const {
    return fetchOne<CachedReview>(*container_, "WHERE id = ?1", {id});
}

std::int64_t ReviewRecords::addNew(std::span<const CachedReview> reviews) const {
    std::int64_t added = 0;
    container_->write([&](Database& database) {
        for (const CachedReview& review : reviews)
            added += insert(database, review, Existing::keep) ? 1 : 0;
    });
    return added;
}

void ReviewRecords::store(std::span<const CachedReview> reviews) const {
    container_->write([&](Database& database) {
        for (const CachedReview& review : reviews)
            insert(database, review);
    });
}

bool ReviewRecords::replace(const CachedReview& expected, const CachedReview& review) const {
    bool isReplaced = false;
    container_->write([&](Database& database) {
        isReplaced = selectOne<CachedReview>(database, "WHERE id = ?1", {expected.id}) == expected;
        if (isReplaced) insert(database, review);
    });
    return isReplaced;
}

bool ReviewRecords::remove(std::string_view id) const {
    return discard<CachedReview>(*container_, "WHERE id = ?1", {id}) > 0;
}

} // namespace quorvel
