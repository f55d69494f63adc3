// What waits to be written to a client.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// Where a connection sends its messages; called from several threads.
class MessageSink {
  public:
    virtual ~MessageSink() = default;
    /// Takes one message without a line end; may block, and drops it once nobody is there to read.
    virtual void send(std::string message) = 0;
    /// Whether messages that nobody needs should be left out.
    [[nodiscard]] virtual bool isCrowded() const { return false; }
};

/// Messages between those who send and the thread that writes. Its memory is bounded: who sends waits while
/// the client does not read.
class Outbox final : public MessageSink {
  public:
    explicit Outbox(std::size_t most) : most_(most) {} // bytes

    void send(std::string message) override;
    [[nodiscard]] bool isCrowded() const override;
    /// The next message; nothing once it is closed and empty. Blocks.
    [[nodiscard]] std::optional<std::string> take();
    /// Nothing is taken in any more but these last messages, which wait for no room; what waits can still be
    /// taken.
    void close(std::vector<std::string> last = {});

  private:
    const std::size_t most_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::string> messages_;
    std::size_t bytes_ = 0;
    bool isClosed_ = false;
};

} // namespace quorvel
