// The text files of a context, as an editor sees them.
#pragma once

#include "Core/metadata/FieldType.h"

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

namespace quorvel {

/// <folder>/<locale>/<field file>.
class DemoTree {
  public:
    /// Locale and field → its text.
    using Texts = std::map<std::pair<std::string, FieldType>, std::string>;

    explicit DemoTree(std::filesystem::path folder) : folder_(std::move(folder)) {}

    [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }
    /// Empty for a missing file. Throws `FileError`, as the others.
    [[nodiscard]] std::string read(std::string_view locale, FieldType field) const;
    void write(std::string_view locale, FieldType field, std::string_view text) const;
    /// All six fields of every locale.
    [[nodiscard]] Texts readAll() const;

  private:
    [[nodiscard]] std::filesystem::path file(std::string_view locale, FieldType field) const;

    std::filesystem::path folder_;
};

} // namespace quorvel
