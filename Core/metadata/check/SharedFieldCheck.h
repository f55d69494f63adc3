// Holds the fields that all platforms of an app share against each other.
#pragma once

#include "Core/metadata/TextComparison.h"
#include "Core/metadata/check/CheckFinding.h"

#include <vector>

namespace quorvel {

/// The fields of the app itself that the folders of two platforms' next versions would set to different
/// values, as far as the filter asks for them: the push of each would undo the other's. One finding per field
/// and locale, at the file of `store`. What a folder holds as App Store Connect did is no push's, and is no
/// finding. Throws what `compareTexts` throws.
[[nodiscard]] std::vector<CheckFinding> differencesOfSharedFields(const MetadataStore& store,
                                                                  const MetadataStore& other,
                                                                  const TextRules& rules,
                                                                  const PushFilter& filter = {});

} // namespace quorvel
