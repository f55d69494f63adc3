// Writes a generated text over an edited one without losing that.
#pragma once

#include "Core/metadata/MetadataStore.h"

#include <filesystem>
#include <optional>
#include <string_view>

namespace quorvel {

/// Writes the text. A different text of the field is backed up under .brevant/kept first, and the path of the
/// backup returned. Throws `FileError`, `MetadataError`.
std::optional<std::filesystem::path> replaceText(const MetadataStore& store, std::string_view locale,
                                                 FieldType field, std::string_view text, Date moment);

} // namespace quorvel
