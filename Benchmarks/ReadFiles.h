// The cost of reading files and doing nothing with them, which others are compared with.
#pragma once

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

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

} // namespace quorvel::benchmarks
