#include "Sandbox/server/Connection.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quorvel::sandbox {
namespace {

constexpr int idleMilliseconds = 30'000;
constexpr int bodyMilliseconds = 20'000;
constexpr auto slowPause = std::chrono::milliseconds(2);
#ifdef MSG_NOSIGNAL
constexpr int sendFlags = MSG_NOSIGNAL;
#else
constexpr int sendFlags = 0;
#endif
constexpr size_t slowBytes = 64; // of an answer that go out one by one; the rest follows at once

} // namespace

bool Connection::waitReadable(int milliseconds) const {
    pollfd entry{socket_, POLLIN, 0};
    return ::poll(&entry, 1, milliseconds) > 0 && !stopping_;
}

bool Connection::waitForRequest() {
    headWritten_ = false;
    return begin_ < end_ || waitReadable(idleMilliseconds);
}

ssize_t Connection::read(char* bytes, size_t size) {
    if (begin_ == end_) {
        if (!waitReadable(bodyMilliseconds)) {
            broken_ = true;
            return -1;
        }
        const ssize_t count = ::recv(socket_, buffer_.data(), buffer_.size(), 0);
        if (count <= 0) {
            broken_ = true;
            return count;
        }
        begin_ = 0;
        end_ = static_cast<size_t>(count);
    }
    const size_t taken = std::min(size, end_ - begin_);
    std::memcpy(bytes, buffer_.data() + begin_, taken);
    begin_ += taken;
    return static_cast<ssize_t>(taken);
}

ssize_t Connection::write(const char* bytes, size_t size) {
    if (ending_ == Ending::reset) broken_ = true;
    if (broken_) return -1;
    bool sent = true;
    if (ending_ == Ending::truncated && headWritten_) {
        sent = writeAll(bytes, size / 2);
        broken_ = true;
    } else if (ending_ == Ending::slow && headWritten_) {
        sent = writeSlowly(bytes, size);
    } else {
        sent = writeAll(bytes, size);
        headWritten_ = true;
    }
    if (!sent) broken_ = true;
    return sent ? static_cast<ssize_t>(size) : -1;
}

bool Connection::writeSlowly(const char* bytes, size_t size) {
    const size_t slow = std::min(size, slowBytes);
    for (size_t i = 0; i < slow && !stopping_; ++i) {
        if (!writeAll(bytes + i, 1)) return false;
        std::this_thread::sleep_for(slowPause);
    }
    return writeAll(bytes + slow, size - slow);
}

bool Connection::writeAll(const char* bytes, size_t size) {
    while (size > 0) {
        const ssize_t count = ::send(socket_, bytes, size, sendFlags);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        bytes += count;
        size -= static_cast<size_t>(count);
    }
    return true;
}

void Connection::close() {
    if (ending_ == Ending::reset) {
        const linger abort{1, 0};
        ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
    } else {
        ::shutdown(socket_, SHUT_RDWR);
    }
    ::close(socket_);
}

void Connection::get_remote_ip_and_port(std::string& ip, int& port) const {
    ip = "127.0.0.1";
    port = 0;
}

void Connection::get_local_ip_and_port(std::string& ip, int& port) const {
    ip = "127.0.0.1";
    port = 0;
}

} // namespace quorvel::sandbox
