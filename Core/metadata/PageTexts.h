// The fields of the page in the resources of App Store Connect.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/metadata/FieldTexts.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvel {

/// What a resource holds of its fields, as values (`canonicalValue`); a field that it holds nothing of is
/// empty, and so are all of one that does not exist.
[[nodiscard]] FieldTexts versionTexts(const AppStoreVersionAttributes& attributes);
[[nodiscard]] FieldTexts categoryTexts(const AppInfoCategories& categories);
[[nodiscard]] FieldTexts ageRatingTexts(const std::optional<ASCResource<JSONValue>>& declaration);
[[nodiscard]] FieldTexts
reviewTexts(const std::optional<ASCResource<AppStoreReviewDetailAttributes>>& detail);

/// A field of one resource of the page and its value; of the age rating the answers to send, as an object.
using PageValues = std::vector<std::pair<FieldType, std::string>>;

/// Sends the values in one request to the resource of `home` with this id. Throws `ASCError`,
/// `CancellationError`.
void updatePageResource(const ASCClientProtocol& client, FieldHome home, std::string_view id,
                        const PageValues& values);
/// Makes the version's review detail with the values and returns its id. Throws like `updatePageResource`.
[[nodiscard]] std::string createReviewDetail(const ASCClientProtocol& client, std::string_view versionID,
                                             const PageValues& values);

/// The first of the fields that App Store Connect takes together with this one only; most stand alone.
[[nodiscard]] FieldType leaderOf(FieldType field);
/// Values that App Store Connect takes together only: the release type with its date, a category with its
/// subcategories; all others stand alone. In the order of the first of each.
[[nodiscard]] std::vector<PageValues> groupsThatBelongTogether(const PageValues& values);

} // namespace quorvel
