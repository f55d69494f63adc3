#include "Programs/quorvel/FindProgram.h"

#include "Programs/quorvel/Errors.h"

#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <system_error>

namespace quorvel {

namespace {

bool isProgram(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored) && ::access(path.c_str(), X_OK) == 0;
}

} // namespace

std::filesystem::path findProgram(const std::string& name, const Surroundings& surroundings) {
    if (name.find('/') != std::string::npos) {
        const auto path = (surroundings.workingFolder / name).lexically_normal();
        return isProgram(path) ? path : std::filesystem::path();
    }
    std::string_view folders;
    const std::string all = surroundings.variable("PATH").value_or("/usr/bin:/bin");
    for (folders = all; !folders.empty();) {
        const std::size_t end = std::min(folders.find(':'), folders.size());
        const auto path = surroundings.workingFolder / folders.substr(0, end) / name;
        if (!name.empty() && isProgram(path)) return path.lexically_normal();
        folders.remove_prefix(std::min(end + 1, folders.size()));
    }
    return {};
}

std::filesystem::path runningProgram(const Surroundings& surroundings) {
    auto path = findProgram(surroundings.program.native(), surroundings);
    if (path.empty())
        throw CommandError(ExitStatus::failed, "it cannot be told where this program lies",
                           "Call it by its full path.");
    return path;
}

} // namespace quorvel
