#include "Sandbox/server/HTTPServer.h"

#include "Sandbox/server/Connection.h"

#include <fmt/format.h>
#include <httplib.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

#include <sys/socket.h>
#include <unistd.h>

namespace quorvel::sandbox {
namespace {

thread_local Connection* currentConnection = nullptr;

/// One thread per open connection, made when no idle one is left.
class ConnectionThreads : public httplib::TaskQueue {
  public:
    void enqueue(std::function<void()> task) override {
        const std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
        if (tasks_.size() > idle_) threads_.emplace_back([this] { work(); });
        changed_.notify_one();
    }

    void shutdown() override {
        {
            const std::lock_guard lock(mutex_);
            ending_ = true;
        }
        changed_.notify_all();
        for (std::thread& thread : threads_)
            thread.join();
    }

  private:
    void work() {
        std::unique_lock lock(mutex_);
        while (true) {
            ++idle_;
            changed_.wait(lock, [this] { return ending_ || !tasks_.empty(); });
            --idle_;
            if (tasks_.empty()) return;
            const auto task = std::move(tasks_.front());
            tasks_.pop_front();
            lock.unlock();
            task();
            lock.lock();
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> tasks_;
    std::vector<std::thread> threads_;
    size_t idle_ = 0;
    bool ending_ = false;
};

class Server : public httplib::Server {
  public:
    /// The library listens with a backlog of five, too short for a burst of connections.
    void widenBacklog() { ::listen(svr_sock_, 256); }

    void cutConnections() {
        stopping_ = true;
        if (is_running())
            stop();
        else
            ::close(svr_sock_.exchange(INVALID_SOCKET));
        const std::lock_guard lock(mutex_);
        for (const socket_t socket : open_)
            ::shutdown(socket, SHUT_RDWR);
    }

  private:
    bool process_and_close_socket(socket_t socket) override {
        Connection connection(socket, stopping_);
        if (remember(socket)) serve(connection);
        {
            const std::lock_guard lock(mutex_);
            open_.erase(socket);
            connection.close();
        }
        return true;
    }

    bool remember(socket_t socket) {
        const std::lock_guard lock(mutex_);
        if (stopping_) return false;
        open_.insert(socket);
        return true;
    }

    void serve(Connection& connection) {
        currentConnection = &connection;
        const auto plainBodies = [](httplib::Request& request) {
            request.headers.erase("Accept-Encoding");
            request.ranges.clear();
        };
        while (connection.waitForRequest()) {
            bool closed = false;
            if (!process_request(connection, false, closed, plainBodies)) break;
            if (closed || connection.isBroken()) break;
        }
        currentConnection = nullptr;
    }

    std::atomic<bool> stopping_ = false;
    std::mutex mutex_;
    std::set<socket_t> open_;
};

Request requestFrom(const httplib::Request& from) {
    Request request;
    request.method = from.method;
    request.target = from.target;
    const std::string_view target = from.target;
    const size_t mark = std::min(target.find('?'), target.size());
    request.path = percentDecode(target.substr(0, mark), PlusSign::literal);
    std::string_view query = target.substr(std::min(mark + 1, target.size()));
    while (!query.empty()) {
        const size_t end = std::min(query.find('&'), query.size());
        const std::string_view part = query.substr(0, end);
        const size_t equals = std::min(part.find('='), part.size());
        if (!part.empty())
            request.query.emplace_back(
                percentDecode(part.substr(0, equals), PlusSign::blank),
                percentDecode(part.substr(std::min(equals + 1, part.size())), PlusSign::blank));
        query.remove_prefix(std::min(end + 1, query.size()));
    }
    request.header = [&from](std::string_view name) -> std::optional<std::string> {
        const auto found = from.headers.find(std::string(name));
        return found == from.headers.end() ? std::nullopt : std::optional(found->second);
    };
    return request;
}

void answer(const Response& from, httplib::Response& to) {
    if (from.ending != Ending::whole && currentConnection) currentConnection->endNextAnswer(from.ending);
    to.status = from.status == 0 ? 500 : from.status;
    for (const auto& [name, value] : from.headers)
        to.set_header(name, value);
    if (!from.body.empty()) to.set_content(from.body, from.contentType);
}

} // namespace

struct HTTPServer::Implementation {
    Handler handler;
    Server server;
    std::uint16_t port = 0;
    std::thread thread;

    void route() {
        const httplib::Server::Handler plain = [this](const httplib::Request& from, httplib::Response& to) {
            Request request = requestFrom(from);
            request.body = from.body;
            answer(handler(request), to);
        };
        const httplib::Server::HandlerWithContentReader streamed =
            [this](const httplib::Request& from, httplib::Response& to, const httplib::ContentReader& read) {
                Request request = requestFrom(from);
                bool drained = false;
                request.readBody = [&](const std::function<bool(std::string_view)>& piece) {
                    drained = true;
                    return read([&](const char* bytes, size_t size) { return piece({bytes, size}); });
                };
                const Response response = handler(request);
                if (!drained) (void)request.readBody([](std::string_view) { return true; });
                answer(response, to);
            };
        constexpr const char* everything = "[\\s\\S]*";
        server.Get(everything, plain);
        server.Post(everything, plain);
        server.Patch(everything, plain);
        server.Delete(everything, plain);
        server.Options(everything, plain);
        server.Put(everything, streamed);
    }
};

HTTPServer::HTTPServer(std::uint16_t port, Handler handler)
    : implementation_(std::make_unique<Implementation>()) {
    implementation_->handler = std::move(handler);
    Server& server = implementation_->server;
    server.new_task_queue = [] { return new ConnectionThreads; }; // the library deletes it
    server.set_tcp_nodelay(true);
    server.set_keep_alive_max_count(1'000'000);
    server.set_keep_alive_timeout(30);
    server.set_payload_max_length(size_t{1} << 40);
    server.set_socket_options([](socket_t socket) { // not the library's: a port in use must be refused
        const int on = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
    implementation_->route();
    if (port == 0) {
        const int bound = server.bind_to_any_port("127.0.0.1");
        implementation_->port = static_cast<std::uint16_t>(std::max(bound, 0));
    } else if (server.bind_to_port("127.0.0.1", port)) {
        implementation_->port = port;
    }
    if (implementation_->port == 0)
        throw std::runtime_error(
            fmt::format("The sandbox cannot listen on port {} of 127.0.0.1: it is in use.", port));
    server.widenBacklog();
}

HTTPServer::~HTTPServer() {
    implementation_->server.cutConnections();
    if (implementation_->thread.joinable()) implementation_->thread.join();
}

std::uint16_t HTTPServer::port() const {
    return implementation_->port;
}

void HTTPServer::start() {
    implementation_->thread = std::thread([this] { (void)implementation_->server.listen_after_bind(); });
    while (!implementation_->server.is_running())
        std::this_thread::yield();
}

std::optional<std::string> Request::parameter(std::string_view name) const {
    for (const auto& [key, value] : query)
        if (key == name) return value;
    return std::nullopt;
}

std::string percentDecode(std::string_view text, PlusSign plus) {
    const auto digit = [](char c) {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
    };
    std::string decoded;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool escape = text[i] == '%' && i + 2 < text.size() && digit(text[i + 1]) >= 0;
        if (escape && digit(text[i + 2]) >= 0) {
            decoded += static_cast<char>(digit(text[i + 1]) * 16 + digit(text[i + 2]));
            i += 2;
        } else {
            decoded += text[i] == '+' && plus == PlusSign::blank ? ' ' : text[i];
        }
    }
    return decoded;
}

std::string percentEncode(std::string_view text) {
    std::string encoded;
    for (const char c : text) {
        const bool plain = std::isalnum(static_cast<unsigned char>(c)) ||
                           std::string_view("-._~").find(c) != std::string_view::npos;
        encoded += plain ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
    return encoded;
}

} // namespace quorvel::sandbox
