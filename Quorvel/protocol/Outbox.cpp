#include "Quorvel/protocol/Outbox.h"

#include <utility>

namespace quorvel {

void Outbox::send(std::string message) {
    std::unique_lock lock(mutex_);
    // One that is larger than all the room goes alone.
    changed_.wait(lock, [&] { return isClosed_ || messages_.empty() || bytes_ + message.size() <= most_; });
    if (isClosed_) return;
    bytes_ += message.size();
    messages_.push_back(std::move(message));
    changed_.notify_all();
}

bool Outbox::isCrowded() const {
    const std::lock_guard lock(mutex_);
    return isClosed_ || bytes_ > most_ / 4;
}

std::optional<std::string> Outbox::take() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return isClosed_ || !messages_.empty(); });
    if (messages_.empty()) return std::nullopt;
    std::string message = std::move(messages_.front());
    messages_.pop_front();
    bytes_ -= message.size();
    changed_.notify_all();
    return message;
}

void Outbox::close(std::vector<std::string> last) {
    const std::lock_guard lock(mutex_);
    if (!isClosed_)
        for (std::string& message : last) {
            bytes_ += message.size();
            messages_.push_back(std::move(message));
        }
    isClosed_ = true;
    changed_.notify_all();
}

} // namespace quorvel
