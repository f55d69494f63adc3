#include "Core/build/ReviewInfoReadiness.h"

#include "Platform/text/Text.h"

namespace quorvel {

ReviewInfoReadiness readinessOf(const std::optional<AppStoreReviewDetailAttributes>& detail) {
    const auto given = detail.value_or(AppStoreReviewDetailAttributes{});
    const auto isEmpty = [](const std::optional<std::string>& text) { return !text || isBlank(*text); };
    ReviewInfoReadiness readiness;
    if (isEmpty(given.contactFirstName)) readiness.missingContactFields.emplace_back("first name");
    if (isEmpty(given.contactLastName)) readiness.missingContactFields.emplace_back("last name");
    if (isEmpty(given.contactPhone)) readiness.missingContactFields.emplace_back("phone");
    if (isEmpty(given.contactEmail)) readiness.missingContactFields.emplace_back("email");
    readiness.demoAccountRequired = given.demoAccountRequired.value_or(false);
    readiness.demoAccountMissing = readiness.demoAccountRequired &&
                                   (isEmpty(given.demoAccountName) || isEmpty(given.demoAccountPassword));
    readiness.hasNotes = !isEmpty(given.notes);
    return readiness;
}

} // namespace quorvel
