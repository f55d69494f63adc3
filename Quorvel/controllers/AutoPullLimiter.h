// Keeps the pulls that the program starts by itself few.
#pragma once

#include <cstddef>
#include <memory>

namespace quorvel {

/// At most `limit` hold a slot at once; the others wait in the order in which they came. A slot that is given
/// back goes to the first that waits. Thread-safe; waiting obeys the current task.
class AutoPullLimiter {
  public:
    static constexpr std::size_t defaultLimit = 2;

    /// Holds a slot while it lives.
    class [[nodiscard]] Slot {
      public:
        Slot(Slot&&) noexcept = default;
        Slot& operator=(Slot&&) noexcept;
        ~Slot();

      private:
        friend class AutoPullLimiter;
        struct State;
        explicit Slot(std::shared_ptr<State> state);
        std::shared_ptr<State> state_;
    };

    explicit AutoPullLimiter(std::size_t limit = defaultLimit);

    /// Waits for a slot. Throws `CancellationError`, and leaves the queue then.
    Slot acquire();

    [[nodiscard]] std::size_t limit() const;
    [[nodiscard]] std::size_t running() const;
    [[nodiscard]] std::size_t waiters() const;

  private:
    std::shared_ptr<Slot::State> state_;
};

} // namespace quorvel
