#include "Core/records/RecordMapping.h"
#include "Core/records/Records.h"

namespace quorvel {

using namespace records;

TranslationRecords::TranslationRecords(SharedContainer container) : container_(std::move(container)) {}

std::optional<CachedTranslation> TranslationRecords::find(std::string_view hashKey) const {
    return fetchOne<CachedTranslation>(*container_, "WHERE hashKey = ?1", {hashKey});
}

void TranslationRecords::store(const CachedTranslation& translation) const {
    container_->write([&](Database& database) { insert(database, translation); });
}

std::int64_t TranslationRecords::removeAll() const {
    return discard<CachedTranslation>(*container_, "");
}

} // namespace quorvel
