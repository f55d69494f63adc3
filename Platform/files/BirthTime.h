// When a file was made.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace quorvel {

/// The time at which the file or folder was made, in nanoseconds since 1970. Together with its number it
/// tells it from a later one that was given the same number. Nothing where the file system does not keep it,
/// or where there is no such file.
[[nodiscard]] std::optional<std::int64_t> birthTime(const std::filesystem::path& path);

} // namespace quorvel
