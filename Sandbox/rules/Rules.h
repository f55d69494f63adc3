// The writing operations, one table per source. A rule is a row of such a table and the function that the row
// names. The function checks everything that it may refuse before it changes anything, and throws `Refusal`.
#pragma once

#include "Sandbox/rules/Operation.h"

namespace quorvel::sandbox {

[[nodiscard]] std::span<const WriteOperation> versionOperations();
[[nodiscard]] std::span<const WriteOperation> localizationOperations();
[[nodiscard]] std::span<const WriteOperation> screenshotOperations();
[[nodiscard]] std::span<const WriteOperation> submissionOperations();
[[nodiscard]] std::span<const WriteOperation> buildOperations();
[[nodiscard]] std::span<const WriteOperation> customerOperations();

} // namespace quorvel::sandbox
