// Reading what developer tools print.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// The lines of a tool's output without the white space around them.
[[nodiscard]] std::vector<std::string_view> linesOf(std::string_view output);

/// Collects the lines that name a cause from a tool's output while it arrives, each once, in order, cut to
/// `maxLineBytes`; at most `limit`.
class CauseList {
  public:
    static constexpr std::size_t maxLineBytes = 1000;

    explicit CauseList(std::size_t limit = 20) : limit_(limit) {}
    void add(std::string_view line);
    [[nodiscard]] const std::vector<std::string>& causes() const { return causes_; }

  private:
    std::size_t limit_;
    std::vector<std::string> causes_;
};

/// The lines of a tool's output that name a cause (errors, signing, provisioning), each once, in order; at
/// most `limit`.
[[nodiscard]] std::vector<std::string> causesIn(std::string_view output, std::size_t limit = 20);

/// The last `count` lines of `text`, joined with line feeds.
[[nodiscard]] std::string lastLines(std::string_view text, std::size_t count);

} // namespace quorvel
