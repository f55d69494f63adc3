// The writing operations, one table per source. A rule is a row of such a table and the function that the row
// names. The function checks everything that it may refuse before it changes anything, and throws `Refusal`.
#pragma once

#include "Sandbox/rules/Operation.h"

namespace quorvel::sandbox {

[[nodiscard]] std::span<const WriteOperation> versionOperations();
[[nodiscard]] std::span<const WriteOperation> localizationOperations();
[[nodiscard]] std::span<const WriteOperation> pageOperations();
[[nodiscard]] std::span<const WriteOperation> screenshotOperations();
[[nodiscard]] std::span<const WriteOperation> previewOperations();
[[nodiscard]] std::span<const WriteOperation> submissionOperations();
[[nodiscard]] std::span<const WriteOperation> buildOperations();
[[nodiscard]] std::span<const WriteOperation> testerOperations();
[[nodiscard]] std::span<const WriteOperation> customerOperations();

/// Makes the beta detail of a build what its state, its groups and its beta review say.
void deriveBetaDetail(World& world, Resource& build);
/// Makes the age rating declaration that an app's information has from the start: with the answers of the one
/// before it.
void deriveAgeRating(World& world, Resource& appInfo);
/// Takes a submission that was canceled out of review.
void finishCancellation(World& world, Resource& submission);

} // namespace quorvel::sandbox
