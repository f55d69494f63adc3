#include "Tests/support/ScriptedServer.h"

#include "Tests/support/LoopbackSocket.h"

#include <unistd.h>

#include <array>
#include <cctype>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace quorvel::test {

namespace {

std::size_t contentLength(std::string_view header) {
    std::string lower(header);
    for (char& character : lower)
        character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    const auto at = lower.find("\r\ncontent-length:");
    return at == std::string::npos ? 0 : std::strtoull(lower.c_str() + at + 17, nullptr, 10);
}

// Appends what arrives; false when the client has gone.
bool readMore(int socket, std::string& bytes) {
    std::array<char, 65536> buffer;
    const ssize_t count = ::recv(socket, buffer.data(), buffer.size(), 0);
    if (count > 0) bytes.append(buffer.data(), static_cast<std::size_t>(count));
    return count > 0;
}

} // namespace

std::string answer(std::string_view status, std::string_view body, std::string_view headers) {
    std::string text = "HTTP/1.1 ";
    text.append(status).append("\r\n").append(headers);
    text.append("Content-Length: ").append(std::to_string(body.size())).append("\r\n\r\n");
    return text.append(body);
}

ScriptedServer::ScriptedServer(std::vector<Connection> script)
    : script_(std::move(script)),
      listener_(listenOnLoopback()),
      port_(portOf(listener_)),
      thread_([this] { serve(); }) {}

ScriptedServer::~ScriptedServer() {
    {
        const std::scoped_lock lock(mutex_);
        ending_ = true;
        if (current_ >= 0) ::shutdown(current_, SHUT_RDWR);
        if (listener_ >= 0) wakeListener();
        changed_.notify_all();
    }
    thread_.join();
}

// Not every system lets accept return when its socket is shut down.
void ScriptedServer::wakeListener() const {
    const sockaddr_in address = loopbackAddress(port_);
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    static_cast<void>(::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    ::close(socket);
}

std::string ScriptedServer::url(std::string_view path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + std::string(path);
}

void ScriptedServer::release() {
    const std::scoped_lock lock(mutex_);
    ++releases_;
    changed_.notify_all();
}

void ScriptedServer::awaitRequests(std::size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return requests_.size() >= count || ended_; });
}

std::vector<std::string> ScriptedServer::requests() const {
    const std::scoped_lock lock(mutex_);
    return requests_;
}

std::size_t ScriptedServer::connections() const {
    const std::scoped_lock lock(mutex_);
    return connections_;
}

void ScriptedServer::serve() {
    for (const Connection& connection : script_) {
        const int socket = ::accept(listener_, nullptr, nullptr);
        {
            const std::scoped_lock lock(mutex_);
            if (socket < 0 || ending_) {
                if (socket >= 0) ::close(socket);
                break;
            }
            current_ = socket;
            ++connections_;
        }
        serveConnection(socket, connection);
    }
    const std::scoped_lock lock(mutex_);
    ::close(std::exchange(listener_, -1));
    ended_ = true;
    changed_.notify_all();
}

void ScriptedServer::serveConnection(int socket, const Connection& connection) {
    unread_.clear();
    for (const Action& action : connection)
        if (!perform(socket, action)) break;
    const std::scoped_lock lock(mutex_);
    current_ = -1;
    ::close(socket);
}

bool ScriptedServer::perform(int socket, const Action& action) {
    if (std::holds_alternative<Receive>(action)) return receive(socket, true);
    if (std::holds_alternative<ReceiveHeader>(action)) return receive(socket, false);
    if (const auto* send = std::get_if<Send>(&action)) return sendAll(socket, send->bytes);
    if (std::holds_alternative<AwaitRelease>(action)) return awaitRelease();
    if (std::holds_alternative<Reset>(action)) {
        endWithReset(socket);
        return false;
    }
    if (const auto* forever = std::get_if<SendForever>(&action)) {
        while (sendAll(socket, forever->bytes)) {
        }
        return false;
    }
    std::string ignored;
    while (readMore(socket, ignored)) {
    }
    return true;
}

bool ScriptedServer::receive(int socket, bool withBody) {
    auto end = unread_.find("\r\n\r\n");
    while (end == std::string::npos) {
        if (!readMore(socket, unread_)) return false;
        end = unread_.find("\r\n\r\n");
    }
    const std::size_t length = end + 4 + (withBody ? contentLength(unread_.substr(0, end + 2)) : 0);
    while (unread_.size() < length)
        if (!readMore(socket, unread_)) return false;
    record(unread_.substr(0, length));
    unread_.erase(0, length);
    return true;
}

bool ScriptedServer::awaitRelease() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return releases_ > 0 || ending_; });
    if (ending_) return false;
    --releases_;
    return true;
}

void ScriptedServer::record(std::string request) {
    const std::scoped_lock lock(mutex_);
    requests_.push_back(std::move(request));
    changed_.notify_all();
}

} // namespace quorvel::test
