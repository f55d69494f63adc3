#include "Tests/support/FaultyProxy.h"

#include "Tests/support/LoopbackSocket.h"

#include <netinet/tcp.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <vector>

namespace quorvel::test {

namespace {

int newSocket() {
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    if (socket < 0) throw std::runtime_error("no socket");
    return socket;
}

void withoutDelay(int socket) {
    const int yes = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
}

constexpr std::string_view lengthHeader = "\r\ncontent-length:";

// Where the value of Content-Length begins and ends in the header of a message.
std::optional<std::pair<std::size_t, std::size_t>> lengthIn(std::string header) {
    std::ranges::transform(header, header.begin(), [](unsigned char each) { return std::tolower(each); });
    const auto at = header.find(lengthHeader);
    if (at == std::string::npos) return std::nullopt;
    const auto begin = at + lengthHeader.size();
    return std::pair(begin, header.find("\r\n", begin));
}

// A whole request or answer; empty when the other side goes away before.
std::string readMessage(int socket) {
    std::string message;
    std::size_t wanted = std::string::npos;
    std::vector<char> buffer(64 << 10);
    while (message.size() < wanted) {
        const ssize_t count = ::recv(socket, buffer.data(), buffer.size(), 0);
        if (count <= 0) return {};
        message.append(buffer.data(), static_cast<std::size_t>(count));
        const auto end = message.find("\r\n\r\n");
        if (wanted != std::string::npos || end == std::string::npos) continue;
        const auto length = lengthIn(message.substr(0, end + 2));
        wanted = end + 4 + (length ? std::stoull(message.substr(length->first, length->second)) : 0);
    }
    return message;
}

std::string replaced(std::string text, std::string_view from, std::string_view to) {
    for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

} // namespace

FaultyProxy::FaultyProxy(std::string serviceURL, double probability, std::uint64_t seed)
    : service_(std::move(serviceURL)),
      probability_(probability),
      random_(seed),
      listener_(listenOnLoopback()) {
    if (::pipe(wake_) != 0) throw std::runtime_error("no pipe");
    url_ = "http://127.0.0.1:" + std::to_string(portOf(listener_));
    thread_ = std::thread([this] { serve(); });
}

FaultyProxy::~FaultyProxy() {
    ::close(wake_[1]);
    thread_.join();
    ::close(wake_[0]);
    ::close(listener_);
    if (upstream_ >= 0) ::close(upstream_);
}

void FaultyProxy::serve() {
    std::vector<pollfd> sockets = {{wake_[0], POLLIN, 0}, {listener_, POLLIN, 0}};
    while (::poll(sockets.data(), sockets.size(), -1) > 0 && sockets[0].revents == 0) {
        for (std::size_t index = 2; index < sockets.size(); ++index)
            if (sockets[index].revents != 0 && !exchange(sockets[index].fd)) {
                ::close(sockets[index].fd);
                sockets[index].fd = -1;
            }
        std::erase_if(sockets, [](const pollfd& each) { return each.fd < 0; });
        if (sockets[1].revents == 0) continue;
        const int client = ::accept(listener_, nullptr, nullptr);
        if (client < 0) continue;
        withoutDelay(client);
        sockets.push_back({client, POLLIN, 0});
    }
    for (std::size_t index = 2; index < sockets.size(); ++index)
        ::close(sockets[index].fd);
}

FaultyProxy::Fault FaultyProxy::draw() {
    if (std::uniform_real_distribution<double>()(random_) >= probability_) return Fault::none;
    constexpr std::array faults = {Fault::delay,    Fault::resetBefore,   Fault::resetAfter,
                                   Fault::truncate, Fault::garbageBefore, Fault::garbageAfter};
    ++faults_;
    return faults[std::uniform_int_distribution<std::size_t>(0, faults.size() - 1)(random_)];
}

bool FaultyProxy::exchange(int client) {
    const std::string request = readMessage(client);
    if (request.empty()) return false;
    const Fault fault = draw();
    if (fault == Fault::delay) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    const bool isDone = fault != Fault::resetBefore && fault != Fault::garbageBefore;
    const std::string answer = isDone ? ask(request) : std::string();
    if (isDone && answer.empty()) return false;
    if (fault == Fault::none || fault == Fault::delay) return sendAll(client, answer);
    spoil(client, fault, answer);
    return false;
}

// The service may have closed a connection that was idle.
std::string FaultyProxy::ask(const std::string& request) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (upstream_ < 0) {
            upstream_ = newSocket();
            withoutDelay(upstream_);
            const sockaddr_in address = loopbackAddress(std::stoi(service_.substr(service_.rfind(':') + 1)));
            if (::connect(upstream_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
                return {};
        }
        std::string answer = sendAll(upstream_, request) ? readMessage(upstream_) : std::string();
        if (!answer.empty()) {
            const std::size_t body = answer.find("\r\n\r\n") + 4;
            std::string changed = replaced(answer.substr(body), service_, url_);
            if (const auto length = lengthIn(answer.substr(0, body - 2)))
                answer = answer.substr(0, length->first) + " " + std::to_string(changed.size()) +
                         answer.substr(length->second, body - length->second);
            return answer + changed;
        }
        ::close(upstream_);
        upstream_ = -1;
    }
    return {};
}

void FaultyProxy::spoil(int client, Fault fault, const std::string& answer) {
    if (fault == Fault::truncate)
        sendAll(client,
                answer.substr(0, std::uniform_int_distribution<std::size_t>(0, answer.size() - 1)(random_)));
    else if (fault == Fault::garbageBefore || fault == Fault::garbageAfter)
        sendAll(client, "220 mail.example.com ESMTP ready\r\n");
    else
        endWithReset(client);
}

} // namespace quorvel::test
