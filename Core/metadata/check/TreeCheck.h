// Checks all texts of a context's folder.
#pragma once

#include "Core/metadata/TextComparison.h"
#include "Core/metadata/check/CheckFinding.h"

#include <cstddef>
#include <vector>

namespace quorvel {

struct CheckedTree {
    std::vector<CheckFinding> findings; // with whole paths
    std::size_t texts = 0;              // files that were read, without pulled copies
};

/// What App Store Connect, or a push before it, would refuse of a context's folder, and what is hardly
/// meant. Disabled locales are left out; `expected` are the locales that the app has by its records. Each
/// file is read once. What App Store Connect holds in the very words of a file counts as a warning, as it was
/// taken. Throws what `compareTexts` throws.
[[nodiscard]] CheckedTree checkTree(const MetadataStore& store, const TextRules& rules,
                                    Release release = Release::update, const LocaleSet& expected = {});

/// Puts findings into the order in which they are told: errors first, then by rule, file and place.
void sortFindings(std::vector<CheckFinding>& findings);

} // namespace quorvel
