// Sockets on the loopback interface, for the servers that tests play.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <stdexcept>
#include <string_view>

namespace quorvel::test {

inline sockaddr_in loopbackAddress(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<in_port_t>(port));
    return address;
}

/// A listening socket on a free port. Throws `std::runtime_error`.
inline int listenOnLoopback() {
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = loopbackAddress(0);
    if (listener < 0 || ::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener, 64) != 0)
        throw std::runtime_error("cannot listen on the loopback interface");
    return listener;
}

inline int portOf(int listener) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

/// Whether all of `bytes` could be sent.
inline bool sendAll(int socket, std::string_view bytes) {
#ifdef MSG_NOSIGNAL
    constexpr int flags = MSG_NOSIGNAL;
#else
    constexpr int flags = 0;
#endif
    while (!bytes.empty()) {
        const ssize_t count = ::send(socket, bytes.data(), bytes.size(), flags);
        if (count <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

/// Lets the socket's end be a reset instead of an orderly close.
inline void endWithReset(int socket) {
    const linger abrupt{.l_onoff = 1, .l_linger = 0};
    ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &abrupt, sizeof abrupt);
}

} // namespace quorvel::test
