#include "Programs/quorvel/commands/DemoFolder.h"

#include "Platform/files/Files.h"

#include <stdlib.h>

#include <cerrno>
#include <string>

namespace quorvel {

DemoFolder::DemoFolder(std::string_view prefix) {
    std::string pattern =
        (std::filesystem::temp_directory_path() / (std::string(prefix) + "XXXXXX")).string();
    if (!mkdtemp(pattern.data())) throw FileError(pattern, "the temporary folder cannot be made", errno);
    path_ = pattern;
}

DemoFolder::~DemoFolder() {
    std::error_code ignored;
    if (!kept_) std::filesystem::remove_all(path_, ignored);
}

} // namespace quorvel
