// One client of the assistants' server: what it sends, what is done for it at the moment, what it is told.
#pragma once

#include "Platform/log/Log.h"
#include "Platform/task/StopToken.h"
#include "Quorvel/protocol/Messages.h"
#include "Quorvel/protocol/Outbox.h"
#include "Quorvel/protocol/RequestTerms.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// A request while it is answered.
class RequestScope {
  public:
    virtual ~RequestScope() = default;
    [[nodiscard]] virtual const ClientTerms& terms() const = 0;
    /// Tells the client how the work goes, where it wants to know; from any thread.
    virtual void tell(const std::string& text) = 0;
    /// Asks the client's user, over a connection with a handshake; returns the client's result, null for an
    /// error of it, for no answer in time, and while too many questions are open. Blocks; throws
    /// `CancellationError`.
    [[nodiscard]] virtual JSONValue ask(std::string_view method, JSONValue params) = 0;
};

/// What answers the requests of a connection; called from several threads at once.
class RequestHandler {
  public:
    virtual ~RequestHandler() = default;
    /// Whether the answer may take longer than reading a few files.
    [[nodiscard]] virtual bool takesLong(const IncomingMessage& request) const = 0;
    /// The result. Throws `ProtocolError`; `CancellationError` once nobody waits for the answer.
    [[nodiscard]] virtual JSONValue answer(const IncomingMessage& request, RequestScope& scope) = 0;
    /// The result of a handshake that agreed on these terms.
    [[nodiscard]] virtual JSONValue welcome(const ClientTerms& terms) = 0;
    /// What a long request is answered while as many wait as may. Throws `ProtocolError`.
    [[nodiscard]] virtual JSONValue busy(const IncomingMessage& request, const ClientTerms& terms) = 0;
};

/// Reads messages and answers them. Short requests are answered on the thread that hands them in, long ones
/// on a few of its own. All memory is bounded: of what waits, runs and is sent.
class Connection {
  public:
    struct Options {
        std::size_t workers = 6;   // long requests that run at once
        std::size_t waiting = 256; // long requests that wait for a worker
        std::size_t waitingBytes = 16u << 20;
        std::size_t subscriptions = 32; // that are open
        std::size_t batch = 100;        // messages of one batch
        std::chrono::milliseconds patience =
            std::chrono::seconds(1); // with workers before a request is refused
        std::size_t questions = 4;   // that are open; fewer than workers, so that other work goes on
        std::chrono::milliseconds answerTime = std::chrono::minutes(10); // for a question
    };
    /// `handler` and `sink` outlive the connection.
    Connection(RequestHandler& handler, MessageSink& sink, Options options);
    Connection(RequestHandler& handler, MessageSink& sink) : Connection(handler, sink, Options()) {}
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// One line; from one thread at a time. Blocks while the client does not read its answers, and for a
    /// while when as many requests wait as may.
    void receive(std::string_view line);
    /// A line that was too long to be kept.
    void refuseLongLine(std::size_t limit);
    /// Waits until every request but the open subscriptions is answered.
    void drain();
    /// Begins nothing that is long any more; what runs goes on. From any thread.
    void closeIntake();
    /// What ends the open subscriptions towards the client; they are closed. From any thread.
    [[nodiscard]] std::vector<std::string> endSubscriptions();
    /// Cancels all that runs and waits for its end. Nothing is sent after that. From any thread.
    void end();

  private:
    class Request;
    struct Batch;
    struct Question;
    using SharedRequest = std::shared_ptr<Request>;
    friend class Request;

    void handle(JSONValue document, const std::shared_ptr<Batch>& batch);
    void handleBatch(JSONValue::Array documents);
    void refuse(std::string answer, const std::shared_ptr<Batch>& batch);
    void accept(IncomingMessage message, const std::shared_ptr<Batch>& batch);
    void shakeHands(const SharedRequest& request);
    void subscribe(const SharedRequest& request);
    void cancel(const IncomingMessage& notification);
    void take(const IncomingMessage& response);
    void enqueue(const SharedRequest& request);
    void work();
    void perform(const SharedRequest& request);
    void finish(const SharedRequest& request, std::string answer);
    void drop(const SharedRequest& request);
    void close(const std::shared_ptr<Batch>& batch, std::optional<std::string> answer);
    [[nodiscard]] JSONValue ask(Request& request, std::string_view method, JSONValue params);

    RequestHandler& handler_;
    MessageSink& sink_;
    const Options options_;
    Logger logger_{"Connection"};
    std::optional<ClientTerms> session_; // of the handshake; of the receiving thread

    std::mutex mutex_; // guards all below
    std::condition_variable_any changed_;
    std::map<RequestID, SharedRequest> active_;
    std::deque<SharedRequest> queue_;
    std::size_t queuedBytes_ = 0;
    std::size_t openSubscriptions_ = 0;
    std::size_t sending_ = 0; // answers on their way to the sink
    std::map<RequestID, std::shared_ptr<Question>> questions_;
    std::int64_t questionCount_ = 0;
    bool isStuck_ = false; // the last request found no room in time
    bool isIntakeClosed_ = false;
    bool hasEnded_ = false;
    std::vector<std::jthread> workers_;
};

} // namespace quorvel
