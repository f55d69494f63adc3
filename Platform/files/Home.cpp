#include "Platform/files/Home.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace quorvel {

Home Home::ofUser() {
    const char* fromEnvironment = std::getenv("HOME");
    if (fromEnvironment && *fromEnvironment == '/') return {fromEnvironment};
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && found->pw_dir)
        return {found->pw_dir};
    return {std::filesystem::current_path()};
}

} // namespace quorvel
