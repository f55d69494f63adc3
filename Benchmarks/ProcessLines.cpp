// Lines per second of a child's output through ProcessRunner against `cat` to a pipe that is read and thrown
// away, and the peak memory while 1 GB and a line of 100 MB stream by.
#include "Benchmarks/Ratio.h"
#include "Platform/process/ProcessRunner.h"
#include "Tests/support/TemporaryFolder.h"

#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>

using namespace quorvel;

namespace {

constexpr std::size_t fileBytes = 256 << 20;
constexpr int rounds = 9;

std::size_t writeLines(const std::filesystem::path& path) {
    std::ofstream file(path);
    std::size_t lines = 0;
    std::size_t written = 0;
    while (written < fileBytes) {
        // Lengths as a build prints them, 20 to 180 bytes.
        const std::string line = fmt::format("CompileSwift normal arm64 {}/Sources/File{}.swift{}\n", lines,
                                             lines % 977, std::string(lines * 37 % 120, 'x'));
        file << line;
        written += line.size();
        ++lines;
    }
    return lines;
}

std::size_t throughRunner(const std::filesystem::path& path) {
    std::size_t lines = 0;
    const auto result = ProcessRunner::run({.executable = "/bin/cat", .arguments = {path}},
                                           [&](std::string_view, ProcessRunner::Stream) { ++lines; });
    return result.succeeded() ? lines : 0;
}

void throughPipe(const std::filesystem::path& path) {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) std::abort();
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(ends[1], STDOUT_FILENO);
        ::close(ends[0]);
        ::close(ends[1]);
        ::execl("/bin/cat", "cat", path.c_str(), nullptr);
        ::_exit(127);
    }
    ::close(ends[1]);
    static std::array<char, 64 << 10> buffer{};
    while (::read(ends[0], buffer.data(), buffer.size()) > 0) {
    }
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
}

std::uint64_t peakKilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmHWM:")) return std::stoull(line.substr(6));
    return 0;
}

void reportMemory(const char* what, const std::string& script) {
    const std::uint64_t before = peakKilobytes();
    std::size_t bytes = 0;
    const double seconds = benchmarks::secondsOf([&] {
        static_cast<void>(ProcessRunner::run(
            {.executable = "/bin/sh", .arguments = {"-c", script}},
            [&](std::string_view line, ProcessRunner::Stream) { bytes += line.size() + 1; }));
    });
    fmt::print("{}: {} MB in {:.2f} s, peak {} kB, {} kB more than before\n", what, bytes / 1'000'000,
               seconds, peakKilobytes(), peakKilobytes() - before);
}

} // namespace

int main() {
    const test::TemporaryFolder folder;
    const auto path = folder / "lines";
    const std::size_t lines = writeLines(path);
    std::vector<double> ours;
    std::vector<double> bare;
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        bare.push_back(benchmarks::secondsOf([&] { throughPipe(path); }));
        ours.push_back(benchmarks::secondsOf([&] {
            if (throughRunner(path) != lines) std::abort();
        }));
        ratios.push_back(bare.back() / ours.back());
    }
    const auto rate = [&](const std::vector<double>& times) {
        return static_cast<double>(lines) / benchmarks::median(times) / 1e6;
    };
    fmt::print("lines {}  ours {:.2f} M/s  cat to a pipe {:.2f} M/s  of its rate {:.2f} (aim 0.70)\n", lines,
               rate(ours), rate(bare), benchmarks::median(ratios));
    reportMemory("1 GB of lines",
                 "yes 'CompileSwift normal arm64 /a/Sources/File.swift' | head -c 1000000000");
    reportMemory("one line of 100 MB", "head -c 100000000 /dev/zero");
}
