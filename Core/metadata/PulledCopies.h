// The copies of App Store Connect's texts that a push makes where no pull did.
#pragma once

#include "Core/metadata/TextComparison.h"
#include "Platform/time/Date.h"

#include <string_view>

namespace quorvel {

/// Whether the tree has copies of this version, so that a change tells what an edit changed.
[[nodiscard]] bool hasCopiesOf(const MetadataStore& store, std::string_view versionID);

/// Replaces the pulled copies by `remote`, what App Store Connect holds, as far as `compared` has a local
/// text or file: a field without one would look like a text that somebody removed, and so would a field of
/// the page whose file is blank. The caller holds the lock of the app's folder. Throws what the store throws.
void writePulledCopies(const MetadataStore& store, const ReadTexts& remote, const TextComparison& compared,
                       std::string_view versionID, Date moment);

} // namespace quorvel
