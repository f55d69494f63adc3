// Shows how far files have got on their way: a bar for each that runs, and one for all.
#pragma once

#include "Programs/quorvel/Seconds.h"
#include "Programs/quorvel/Surroundings.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace quorvel {

/// Thread-safe. On a terminal the bars are drawn again in place, at most ten times a second; elsewhere each
/// file that ends becomes one line.
class TransferBars {
  public:
    enum class Form { bars, lines, silent };

    TransferBars(const Streams& streams, Form form, std::size_t files, std::uint64_t bytes,
                 Seconds seconds = steadySeconds);
    ~TransferBars(); // clears the bars
    TransferBars(const TransferBars&) = delete;
    TransferBars& operator=(const TransferBars&) = delete;

    /// `sent` of a file's `total` bytes have gone out; may be fewer than before.
    void running(const std::string& file, std::uint64_t sent, std::uint64_t total);
    void finished(const std::string& file, std::uint64_t total);
    void failed(const std::string& file);
    /// What goes on beside the transfers; stands above the bars.
    void stage(const std::string& text);

    /// The bars as they stand, each at most `width` cells wide.
    [[nodiscard]] std::vector<std::string> lines(std::size_t width) const;

  private:
    struct Running {
        std::uint64_t sent = 0;
        std::uint64_t total = 0;
    };
    [[nodiscard]] std::string totalLine() const;
    [[nodiscard]] std::vector<std::string> drawn(std::size_t width) const;
    void end(const std::string& file, std::uint64_t bytes, const std::string& line);
    void redraw(bool now);
    void clear();

    const Streams& streams_;
    const Form form_;
    const std::size_t files_;
    const std::uint64_t bytes_;
    const Seconds seconds_;
    mutable std::mutex mutex_; // guards all below
    double began_;
    double lastDrawn_ = -1;
    std::size_t shown_ = 0; // lines on the terminal
    std::size_t ended_ = 0;
    std::uint64_t endedBytes_ = 0;
    std::map<std::string, Running> running_;
    std::string stage_;
};

/// "12.4 MB", in units of a thousand.
[[nodiscard]] std::string byteCount(std::uint64_t bytes);

} // namespace quorvel
