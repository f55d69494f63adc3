// Checks all texts of a context's folder.
#pragma once

#include "Core/metadata/TextComparison.h"
#include "Core/metadata/check/CheckFinding.h"
#include "Platform/time/Date.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace quorvel {

struct CheckedTree {
    std::vector<CheckFinding> findings; // with whole paths
    std::size_t texts = 0;              // files that were asked for, without pulled copies
};

/// What App Store Connect, or a push before it, would refuse of a context's folder, and what is hardly
/// meant, as far as the filter asks for it. Disabled locales are left out; `expected` are the locales that
/// the app has by its records. Each file is read once, and a text that stands for several locales is one
/// finding. What App Store Connect holds in the very words of a file counts as a warning, as it was
/// taken. `now` tells the dates that are past. Throws what `compareTexts` throws.
[[nodiscard]] CheckedTree checkTree(const MetadataStore& store, const TextRules& rules,
                                    const PushFilter& filter = {}, const LocaleSet& expected = {},
                                    std::optional<Date> now = {});

/// Puts findings into the order in which they are told: errors first, then by rule, file and place.
void sortFindings(std::vector<CheckFinding>& findings);

} // namespace quorvel
