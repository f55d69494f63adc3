// A server on the loopback interface that does to each connection exactly what a test wrote down.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <variant>
#include <vector>

namespace quorvel::test {

/// Reads one whole request, its body as long as its Content-Length says, and records it.
struct Receive {};
/// Reads the header of one request only and records that.
struct ReceiveHeader {};
struct Send {
    std::string bytes;
};
/// Sends `bytes` again and again until the client goes away.
struct SendForever {
    std::string bytes;
};
/// Goes on when the test calls `release`, once for each call.
struct AwaitRelease {};
/// Goes on when the client has closed the connection.
struct AwaitClose {};
/// Ends the connection with a reset instead of an orderly close; nothing may follow.
struct Reset {};

using Action = std::variant<Receive, ReceiveHeader, Send, SendForever, AwaitRelease, AwaitClose, Reset>;
/// What happens on one connection; it is closed behind the last action.
using Connection = std::vector<Action>;

/// An answer with a Content-Length.
[[nodiscard]] std::string answer(std::string_view status, std::string_view body,
                                 std::string_view headers = "");

/// Serves the connections of the script one after the other on one thread and refuses those beyond.
class ScriptedServer {
  public:
    explicit ScriptedServer(std::vector<Connection> script);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    [[nodiscard]] std::string url(std::string_view path = "/") const;
    [[nodiscard]] int port() const { return port_; }

    void release();

    /// Blocks until that many requests have been recorded, or the script has ended.
    void awaitRequests(std::size_t count);

    /// The requests recorded so far, header and body as they came.
    [[nodiscard]] std::vector<std::string> requests() const;
    /// How many connections of the script have begun.
    [[nodiscard]] std::size_t connections() const;

  private:
    void serve();
    void serveConnection(int socket, const Connection& connection);
    bool perform(int socket, const Action& action);
    bool receive(int socket, bool withBody);
    bool awaitRelease();
    void record(std::string request);
    void wakeListener() const;

    const std::vector<Connection> script_;
    int listener_ = -1;
    int port_ = 0;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> requests_;
    std::string unread_; // of the connection being served
    std::size_t connections_ = 0;
    std::size_t releases_ = 0;
    int current_ = -1;
    bool ending_ = false;
    bool ended_ = false;
    std::thread thread_;
};

} // namespace quorvel::test
