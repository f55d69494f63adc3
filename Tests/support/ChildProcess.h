// Work in a process of its own, forked from the test.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <filesystem>
#include <string>

namespace quorvel::test {

/// Starts `work` in a child that ends with status 0, or with 1 when it throws.
template <typename Work>
pid_t startChild(Work&& work) {
    const pid_t child = ::fork();
    if (child != 0) return child;
    try {
        work();
    } catch (...) {
        ::_exit(1);
    }
    ::_exit(0);
}

/// The status of a child once it has ended, as `waitpid` tells it.
inline int awaitChild(pid_t child) {
    int status = -1;
    ::waitpid(child, &status, 0);
    return status;
}

/// The text that `work` returns or throws, run without an administrator's rights.
template <typename Work>
std::string runUnprivileged(const std::filesystem::path& folder, Work&& work) {
    const auto outcome = [&]() -> std::string {
        try {
            return work();
        } catch (const std::exception& error) {
            return error.what();
        }
    };
    if (::geteuid() != 0) return outcome();
    constexpr uid_t nobody = 65534;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (::lchown(entry.path().c_str(), nobody, nobody) != 0) return "cannot hand over the files";
    if (::chown(folder.c_str(), nobody, nobody) != 0) return "cannot hand over the folder";
    int ends[2];
    if (::pipe(ends) != 0) return "no pipe";
    const pid_t child = startChild([&] {
        if (::setgid(nobody) != 0 || ::setuid(nobody) != 0) ::_exit(2);
        const std::string text = outcome();
        if (::write(ends[1], text.data(), text.size()) < 0) ::_exit(3);
    });
    ::close(ends[1]);
    std::string text;
    char buffer[4096];
    for (ssize_t count = 0; (count = ::read(ends[0], buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(count));
    ::close(ends[0]);
    awaitChild(child);
    return text;
}

} // namespace quorvel::test
