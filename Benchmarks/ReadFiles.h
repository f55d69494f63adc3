// The cost of reading files and doing nothing with them, which others are compared with.
#pragma once

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace quorvel::benchmarks {

inline void readOnly(const std::vector<std::string>& files) {
    std::string buffer(1 << 16, '\0');
    for (const std::string& file : files) {
        const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
        while (read(descriptor, buffer.data(), buffer.size()) > 0)
            benchmark::ClobberMemory();
        close(descriptor);
    }
}

/// Finds the files below a folder and reads each into a text of its own, as whoever works with them has to.
inline void findAndRead(const std::filesystem::path& folder) {
    std::vector<std::string> texts;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file()) continue;
        const int descriptor = open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
        struct stat status {};
        fstat(descriptor, &status);
        std::string& text = texts.emplace_back(static_cast<std::size_t>(status.st_size), '\0');
        if (read(descriptor, text.data(), text.size()) != status.st_size)
            throw std::runtime_error("short read");
        close(descriptor);
    }
    benchmark::DoNotOptimize(texts);
}

} // namespace quorvel::benchmarks
