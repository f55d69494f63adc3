// Replacing files of other programs; see Files.h for those of our own.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// Where `path` leads when its symbolic links are followed, also to a target that does not exist; `path`
/// itself when it is no link. Throws `FileError` for links that lead back to themselves.
[[nodiscard]] std::filesystem::path followLinks(const std::filesystem::path& path);

/// Like `replaceFile`, through a temporary file that is named as the target and `suffix`, or with "~1" and so
/// on after that while another process writes the same. Mode, owner and group stay. A file that is made new
/// is for this user only. Throws `FileError`, also where owner or group cannot stay.
[[nodiscard]] bool replaceFileThrough(std::string_view suffix, const std::filesystem::path& path,
                                      const std::optional<std::string>& expected, std::string_view bytes);

} // namespace quorvel
