#include "Core/assistants/ServerProgram.h"

#include <unistd.h>

#include <algorithm>
#include <system_error>

namespace quorvel {

namespace {

constexpr const char* serverName = "quorvel-mcp";
constexpr int mostHops = 40;

} // namespace

ServerProgram findServerProgram(const std::filesystem::path& program) {
    ServerProgram found;
    if (!program.is_absolute()) return found; // nothing in the working folder may pass for the server
    std::error_code error;
    const auto look = [&](const std::filesystem::path& folder) {
        const auto candidate = (folder / serverName).lexically_normal();
        if (std::ranges::find(found.searched, candidate) != found.searched.end()) return false;
        found.searched.push_back(candidate);
        if (!std::filesystem::is_regular_file(candidate, error) || ::access(candidate.c_str(), X_OK) != 0)
            return false;
        found.path = candidate;
        return true;
    };
    std::filesystem::path at = program;
    for (int hops = 0; hops < mostHops; ++hops) {
        if (look(at.parent_path())) return found;
        const auto next = std::filesystem::read_symlink(at, error);
        if (error) break;
        // ".." leads up from where the folder really lies.
        const auto folder = std::filesystem::canonical(at.parent_path(), error);
        if (error) break;
        at = next.is_absolute() ? next : folder / next;
    }
    if (const auto real = std::filesystem::canonical(program, error); !error) look(real.parent_path());
    return found;
}

} // namespace quorvel
