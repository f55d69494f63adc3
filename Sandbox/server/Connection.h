// One client connection, as the HTTP library reads and writes it.
#pragma once

#include "Sandbox/server/HTTPServer.h"

#include <httplib.h>

#include <array>
#include <atomic>

namespace quorvel::sandbox {

/// A buffered stream over a connected socket, which it does not own. The ending that a handler asks for is
/// applied to the answer that is written next.
class Connection : public httplib::Stream {
  public:
    Connection(socket_t socket, const std::atomic<bool>& stopping) : socket_(socket), stopping_(stopping) {}

    /// Waits for the first byte of the next request; false when the client left or was idle for too long.
    [[nodiscard]] bool waitForRequest();
    void endNextAnswer(Ending ending) { ending_ = ending; }
    /// Whether no further request can be read from this connection.
    [[nodiscard]] bool isBroken() const { return broken_; }
    /// Closes the socket; with a reset when that was asked for.
    void close();

    [[nodiscard]] bool is_readable() const override { return true; }
    [[nodiscard]] bool is_writable() const override { return !broken_; }
    ssize_t read(char* bytes, size_t size) override;
    ssize_t write(const char* bytes, size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    [[nodiscard]] socket_t socket() const override { return socket_; }

  private:
    [[nodiscard]] bool waitReadable(int milliseconds) const;
    bool writeAll(const char* bytes, size_t size);
    bool writeSlowly(const char* bytes, size_t size);

    socket_t socket_;
    const std::atomic<bool>& stopping_;
    std::array<char, 16384> buffer_{};
    size_t begin_ = 0;
    size_t end_ = 0;
    Ending ending_ = Ending::whole;
    bool headWritten_ = false;
    bool broken_ = false;
};

} // namespace quorvel::sandbox
