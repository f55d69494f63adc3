// Writes a generated text over an edited one without losing that.
#pragma once

#include "Core/metadata/MetadataStore.h"

#include <filesystem>
#include <optional>
#include <string_view>

namespace quorvel {

/// Writes the text; a text of the field that differs is put aside under .brevant/kept before, and its new
/// path returned. Throws `FileError`, `MetadataError`.
std::optional<std::filesystem::path> replaceText(const MetadataStore& store, std::string_view locale,
                                                 FieldType field, std::string_view text, Date moment);

} // namespace quorvel
