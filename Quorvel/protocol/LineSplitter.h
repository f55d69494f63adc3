// Lines out of a stream of bytes.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace quorvel {

/// Its memory is bounded, whatever comes.
class LineSplitter {
  public:
    /// Told each line without its line feed; nothing for one that was longer than `most` bytes.
    using LineHandler = std::function<void(std::optional<std::string>)>;
    LineSplitter(std::size_t most, LineHandler onLine) : most_(most), onLine_(std::move(onLine)) {}

    void append(std::string_view bytes);
    /// The end: what came after the last line feed is a line.
    void finish();

  private:
    void keep(std::string_view bytes);
    void deliver();

    const std::size_t most_;
    const LineHandler onLine_;
    std::string line_;
    bool isTooLong_ = false;
};

} // namespace quorvel
