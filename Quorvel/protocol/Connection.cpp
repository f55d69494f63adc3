#include "Quorvel/protocol/Connection.h"

#include "Platform/json/JSON.h"
#include "Platform/task/Task.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <atomic>

namespace quorvel {

namespace {

constexpr std::string_view subscriptionKey = "io.modelcontextprotocol/subscriptionId";

std::size_t sizeOf(const JSONValue& value) {
    std::size_t size = sizeof(JSONValue);
    if (const auto* const text = value.text()) size += text->size();
    if (const auto* const items = value.items())
        for (const JSONValue& item : *items)
            size += sizeOf(item);
    if (const auto* const members = value.members())
        for (const auto& [key, member] : *members)
            size += key.size() + sizeof(std::string) + sizeOf(member);
    return size;
}

std::string shown(const RequestID& id) {
    return encodeJSON(jsonOf(id));
}

} // namespace

// The answers of a batch, which are sent together.
struct Connection::Batch {
    std::mutex mutex;
    std::size_t open = 1; // messages that are not answered yet, and the reading of the batch itself
    std::vector<std::string> answers;
};

struct Connection::Question {
    bool isAnswered = false;
    JSONValue result;
};

class Connection::Request final : public RequestScope {
  public:
    Request(Connection& connection, IncomingMessage message, std::shared_ptr<Batch> batch)
        : message_(std::move(message)), batch_(std::move(batch)), connection_(connection) {}

    /// What the request says of itself. Throws `ProtocolError`.
    void read() {
        terms_ = termsOf(message_, connection_.session_);
        token_ = progressTokenOf(message_);
    }

    [[nodiscard]] const ClientTerms& terms() const override { return terms_; }

    void tell(const std::string& text) override {
        if (!token_ || connection_.sink_.isCrowded()) return;
        const std::lock_guard lock(progressMutex_);
        if (text == lastText_) return;
        lastText_ = text;
        JSONValue params = JSONValue::object({{"progressToken", *token_}, {"progress", ++progressCount_}});
        if (namesCompletions(terms_.revision)) params.set("message", text);
        if (isDone_) return;
        connection_.sink_.send(notificationMessage("notifications/progress", std::move(params)));
    }

    [[nodiscard]] JSONValue ask(std::string_view method, JSONValue params) override {
        return connection_.ask(*this, method, std::move(params));
    }

    /// No progress is begun from now on. Does not wait for a client that does not read.
    void stopProgress() { isDone_ = true; }

    /// No progress is told from now on.
    void endProgress() {
        stopProgress();
        const std::lock_guard lock(progressMutex_); // until one that is being sent has gone
    }

    IncomingMessage message_;
    std::shared_ptr<Batch> batch_;
    std::stop_source stop_;
    std::size_t size_ = 0;        // while it waits
    bool isCancelled_ = false;    // guarded by the connection
    bool isSubscription_ = false; // the same

  private:
    Connection& connection_;
    ClientTerms terms_;
    std::optional<JSONValue> token_;
    std::atomic<bool> isDone_ = false;
    std::mutex progressMutex_; // guards all below
    std::int64_t progressCount_ = 0;
    std::string lastText_;
};

Connection::Connection(RequestHandler& handler, MessageSink& sink, Options options)
    : handler_(handler), sink_(sink), options_(options) {}

Connection::~Connection() {
    end();
}

void Connection::receive(std::string_view line) {
    if (line.find_first_not_of(" \t\r") == std::string_view::npos) return;
    JSONValue document;
    try {
        document = decodeJSON<JSONValue>(line);
    } catch (const JSONError&) { // what it says may hold parts of the message
        sink_.send(errorMessage({}, rpc::parseError, "The line is not JSON in UTF-8."));
        return;
    }
    if (auto* const items = document.items())
        handleBatch(std::move(*items));
    else
        handle(std::move(document), nullptr);
}

void Connection::refuseLongLine(std::size_t limit) {
    sink_.send(errorMessage({}, rpc::invalidRequest,
                            fmt::format("The message is longer than {} bytes and was not read.", limit)));
}

void Connection::handleBatch(JSONValue::Array documents) {
    if (!session_ || !hasBatches(session_->revision)) {
        sink_.send(
            errorMessage({}, rpc::invalidRequest,
                         fmt::format("Batches are part of revision {} alone: send one message per line.",
                                     rawValue(Revision::r20250326))));
        return;
    }
    if (documents.empty() || documents.size() > options_.batch) {
        sink_.send(errorMessage({}, rpc::invalidRequest,
                                fmt::format("A batch holds 1 to {} messages.", options_.batch)));
        return;
    }
    const auto batch = std::make_shared<Batch>();
    for (JSONValue& document : documents)
        handle(std::move(document), batch);
    close(batch, std::nullopt);
}

void Connection::refuse(std::string answer, const std::shared_ptr<Batch>& batch) {
    if (!batch) return sink_.send(std::move(answer));
    const std::lock_guard lock(batch->mutex);
    batch->answers.push_back(std::move(answer));
}

void Connection::handle(JSONValue document, const std::shared_ptr<Batch>& batch) {
    auto read = readMessage(std::move(document));
    if (const auto* const malformed = std::get_if<MalformedMessage>(&read)) {
        if (malformed->isAnswered)
            refuse(errorMessage(malformed->id, malformed->code, malformed->text), batch);
        return;
    }
    auto& message = std::get<IncomingMessage>(read);
    switch (message.kind) {
    case IncomingMessage::Kind::response:
        return take(message);
    case IncomingMessage::Kind::notification:
        if (message.method == "notifications/cancelled") cancel(message);
        return; // of the others nothing follows
    case IncomingMessage::Kind::request:
        return accept(std::move(message), batch);
    }
}

void Connection::accept(IncomingMessage message, const std::shared_ptr<Batch>& batch) {
    const auto request = std::make_shared<Request>(*this, std::move(message), batch);
    const RequestID id = request->message_.id;
    bool isNew = false;
    {
        const std::lock_guard lock(mutex_);
        if (hasEnded_) return;
        isNew = active_.emplace(id, request).second;
    }
    if (!isNew)
        // An answer with this identifier would be taken for the answer to the first one.
        return refuse(
            errorMessage({}, rpc::invalidRequest,
                         fmt::format("The id {} belongs to a request that is not answered yet.", shown(id))),
            batch);
    if (batch) {
        const std::lock_guard lock(batch->mutex);
        ++batch->open;
    }
    try {
        request->read();
        const bool modern = isModern(request->terms().revision);
        if (modern && batch) // one that stays open would keep back the answers of all
            throw ProtocolError(rpc::invalidRequest,
                                fmt::format("Revision {} has no batches: send one message per line.",
                                            rawValue(request->terms().revision)));
        if (request->message_.method == "initialize" && !modern) return shakeHands(request);
        if (request->message_.method == "subscriptions/listen" && modern) return subscribe(request);
        if (handler_.takesLong(request->message_)) return enqueue(request);
    } catch (const ProtocolError& error) {
        return finish(request, errorMessage(id, error.code(), error.what(), error.data()));
    }
    perform(request);
}

void Connection::shakeHands(const SharedRequest& request) {
    const IncomingMessage& message = request->message_;
    if (request->batch_)
        throw ProtocolError(rpc::invalidRequest, "\"initialize\" must not be part of a batch.");
    const JSONValue* const version = message.param("protocolVersion");
    if (!version || !version->text())
        throw ProtocolError(rpc::invalidParams, "\"protocolVersion\" is missing or no text.");
    const auto wanted = fromRawValue<Revision>(*version->text());
    session_ = ClientTerms{wanted && !isModern(*wanted) ? *wanted : newestWithHandshake,
                           asksByForm(message.param("capabilities"))};
    if (!hasStructuredContent(session_->revision)) session_->asksByForm = false;
    finish(request, resultMessage(message.id, handler_.welcome(*session_)));
}

// Nothing of what can be listened to ever changes without the client's doing, so that the stream stays
// silent.
void Connection::subscribe(const SharedRequest& request) {
    const IncomingMessage& message = request->message_;
    const JSONValue* const filter = message.param("notifications");
    if (!filter || !filter->members())
        throw ProtocolError(rpc::invalidParams, "\"notifications\" is missing or no object.");
    {
        const std::lock_guard lock(mutex_);
        if (openSubscriptions_ >= options_.subscriptions)
            throw ProtocolError(rpc::invalidRequest,
                                fmt::format("{} subscriptions are open: cancel one.", openSubscriptions_));
        ++openSubscriptions_;
        request->isSubscription_ = true;
    }
    sink_.send(notificationMessage(
        "notifications/subscriptions/acknowledged",
        JSONValue::object({{"_meta", JSONValue::object({{std::string(subscriptionKey), jsonOf(message.id)}})},
                           {"notifications", JSONValue::object()}})));
}

void Connection::cancel(const IncomingMessage& notification) {
    const JSONValue* const member = notification.param("requestId");
    const auto id = member ? requestIDOf(*member) : std::nullopt;
    if (!id) return;
    SharedRequest request;
    bool hasStarted = true;
    {
        const std::lock_guard lock(mutex_);
        const auto found = active_.find(*id);
        if (found == active_.end()) return; // it is answered already
        request = found->second;
        request->isCancelled_ = true;
        const auto waiting = std::ranges::find(queue_, request);
        if (waiting != queue_.end()) {
            queuedBytes_ -= request->size_;
            queue_.erase(waiting);
            hasStarted = false;
        } else if (request->isSubscription_) {
            --openSubscriptions_;
            hasStarted = false;
        }
        changed_.notify_all();
    }
    request->stopProgress();
    request->stop_.request_stop();
    if (!hasStarted) drop(request);
}

void Connection::take(const IncomingMessage& response) {
    const std::lock_guard lock(mutex_);
    const auto found = questions_.find(response.id);
    if (found == questions_.end()) return;
    found->second->isAnswered = true;
    found->second->result = response.result;
    changed_.notify_all();
}

JSONValue Connection::ask(Request& request, std::string_view method, JSONValue params) {
    const auto question = std::make_shared<Question>();
    std::unique_lock lock(mutex_);
    if (questions_.size() >= options_.questions) return {};
    const RequestID id = fmt::format("quorvel-{}", ++questionCount_);
    questions_.emplace(id, question);
    lock.unlock();
    sink_.send(requestMessage(id, method, std::move(params)));
    lock.lock();
    const std::stop_token stop = request.stop_.get_token();
    (void)changed_.wait_for(lock, stop, options_.answerTime, [&] { return question->isAnswered; });
    questions_.erase(id);
    if (question->isAnswered) return question->result;
    lock.unlock();
    const bool isCancelled = stop.stop_requested();
    sink_.send(notificationMessage("notifications/cancelled",
                                   JSONValue::object({{"requestId", jsonOf(id)},
                                                      {"reason", isCancelled ? "The request was cancelled."
                                                                             : "No answer came in time."}})));
    if (isCancelled) throw CancellationError();
    return {};
}

void Connection::enqueue(const SharedRequest& request) {
    request->size_ = sizeOf(request->message_.params);
    const auto hasRoom = [&] {
        return queue_.size() < options_.waiting &&
               (queue_.empty() || queuedBytes_ + request->size_ <= options_.waitingBytes);
    };
    {
        std::unique_lock lock(mutex_);
        // One that waits behind long ones must not keep a cancellation from being read.
        const auto patience = isStuck_ ? std::chrono::milliseconds(0) : options_.patience;
        const auto isOver = [&] { return hasEnded_ || isIntakeClosed_; };
        if (changed_.wait_for(lock, patience, [&] { return isOver() || hasRoom(); })) {
            isStuck_ = false;
            if (isOver()) return;
            queuedBytes_ += request->size_;
            queue_.push_back(request);
            if (workers_.size() < options_.workers && workers_.size() < active_.size())
                workers_.emplace_back([this] { work(); });
            changed_.notify_all();
            return;
        }
        isStuck_ = true;
    }
    finish(request, resultMessage(request->message_.id, handler_.busy(request->message_, request->terms())));
}

void Connection::work() {
    while (true) {
        SharedRequest request;
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [&] { return hasEnded_ || isIntakeClosed_ || !queue_.empty(); });
            if (hasEnded_ || isIntakeClosed_) return;
            request = std::move(queue_.front());
            queue_.pop_front();
            queuedBytes_ -= request->size_;
            changed_.notify_all();
        }
        perform(request);
    }
}

void Connection::perform(const SharedRequest& request) {
    const TaskScope task(request->stop_.get_token());
    const RequestID& id = request->message_.id;
    std::string answer;
    try {
        answer = resultMessage(id, handler_.answer(request->message_, *request));
    } catch (const ProtocolError& error) {
        answer = errorMessage(id, error.code(), error.what(), error.data());
    } catch (const CancellationError&) {
        answer = errorMessage(id, rpc::internalError, "Cancelled.");
    } catch (const std::exception& error) {
        logger_.error(fmt::format("{}: {}", request->message_.method, error.what()));
        answer = errorMessage(id, rpc::internalError, "The request failed inside of the server.");
    }
    finish(request, std::move(answer));
}

void Connection::finish(const SharedRequest& request, std::string answer) {
    request->endProgress();
    bool isWanted = false;
    {
        const std::lock_guard lock(mutex_);
        isWanted = !request->isCancelled_ && !hasEnded_;
        active_.erase(request->message_.id);
        ++sending_;
    }
    if (request->batch_)
        close(request->batch_, isWanted ? std::optional(std::move(answer)) : std::nullopt);
    else if (isWanted)
        sink_.send(std::move(answer));
    const std::lock_guard lock(mutex_);
    --sending_;
    changed_.notify_all();
}

void Connection::drop(const SharedRequest& request) {
    finish(request, {}); // which sends nothing for what is cancelled
}

void Connection::close(const std::shared_ptr<Batch>& batch, std::optional<std::string> answer) {
    std::string all;
    {
        const std::lock_guard lock(batch->mutex);
        if (answer) batch->answers.push_back(*std::move(answer));
        if (--batch->open > 0 || batch->answers.empty()) return;
        all = fmt::format("[{}]", fmt::join(batch->answers, ","));
    }
    sink_.send(std::move(all));
}

void Connection::drain() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return hasEnded_ || (active_.size() == openSubscriptions_ && sending_ == 0); });
}

void Connection::closeIntake() {
    const std::lock_guard lock(mutex_);
    isIntakeClosed_ = true;
    changed_.notify_all();
}

std::vector<std::string> Connection::endSubscriptions() {
    std::vector<std::string> messages;
    const std::lock_guard lock(mutex_);
    std::erase_if(active_, [&](const auto& one) {
        const auto& [id, request] = one;
        if (!request->isSubscription_) return false;
        messages.push_back(notificationMessage(
            "notifications/cancelled",
            JSONValue::object({{"requestId", jsonOf(id)}, {"reason", "The server ends."}})));
        messages.push_back(resultMessage(
            id,
            JSONValue::object({{"resultType", "complete"},
                               {"_meta", JSONValue::object({{std::string(subscriptionKey), jsonOf(id)}})}})));
        return true;
    });
    openSubscriptions_ = 0;
    changed_.notify_all();
    return messages;
}

void Connection::end() {
    std::vector<SharedRequest> running;
    std::vector<std::jthread> workers;
    {
        const std::lock_guard lock(mutex_);
        hasEnded_ = true;
        queue_.clear();
        for (const auto& [id, request] : active_)
            running.push_back(request);
        workers.swap(workers_);
        changed_.notify_all();
    }
    for (const SharedRequest& request : running)
        request->stop_.request_stop();
    for (std::jthread& worker : workers)
        worker.join();
    const std::lock_guard lock(mutex_);
    active_.clear();
}

} // namespace quorvel
