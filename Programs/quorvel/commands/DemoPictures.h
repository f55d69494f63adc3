// The pictures that the demo draws.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quorvel {

/// Draws pictures of true size for two locales under an app's metadata folder; their paths in it. Throws
/// `FileError`.
std::vector<std::string> drawDemoPictures(const std::filesystem::path& appFolder);

} // namespace quorvel
