// An open file descriptor that is closed at the end; for the sources of this folder.
#pragma once

#include <cerrno>
#include <unistd.h>

#include <utility>

namespace quorvel {

class FileDescriptor {
  public:
    explicit FileDescriptor(int number = -1) : number_(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~FileDescriptor() {
        if (number_ >= 0) ::close(number_);
    }
    [[nodiscard]] int number() const { return number_; }
    [[nodiscard]] bool isOpen() const { return number_ >= 0; }

  private:
    int number_;
};

/// Calls `operation` again as long as a signal interrupts it.
template <typename Operation>
auto uninterrupted(Operation operation) {
    for (;;)
        if (const auto result = operation(); result != -1 || errno != EINTR) return result;
}

} // namespace quorvel
