// A client of the assistants' server within the same process.
#pragma once

#include "Platform/json/JSONValue.h"
#include "Quorvel/protocol/Connection.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel::test {

/// Keeps every message that was sent to it.
class CollectingSink final : public MessageSink {
  public:
    void send(std::string message) override;
    /// The first message that `matches`, which is waited for; fails the test when none comes.
    [[nodiscard]] JSONValue await(const std::function<bool(const JSONValue&)>& matches);
    [[nodiscard]] JSONValue awaitAnswer(const JSONValue& id);
    [[nodiscard]] std::vector<JSONValue> messages() const;
    /// Called with each message, on the thread that sends it.
    std::function<void(const JSONValue&)> onMessage = [](const JSONValue&) {};

  private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<JSONValue> messages_;
};

/// Speaks one revision: with a handshake, or with terms in each request. Checks every tool's result against
/// that tool's own schema, and at its end the form of all that the server sent.
class AssistantClient {
  public:
    AssistantClient(RequestHandler& handler, Revision revision, bool asksByForm = false,
                    Connection::Options options = {});
    ~AssistantClient();
    AssistantClient(const AssistantClient&) = delete;
    AssistantClient& operator=(const AssistantClient&) = delete;

    /// Sends a request and waits for its answer, which may be an error.
    JSONValue request(std::string_view method, JSONValue params = JSONValue::object());
    /// Sends a request and returns its id.
    JSONValue begin(std::string_view method, JSONValue params = JSONValue::object());
    /// The result of a tool.
    JSONValue call(std::string_view tool, JSONValue arguments = JSONValue::object());
    /// The structure of a tool's result, which must be none of a failure.
    JSONValue ask(std::string_view tool, JSONValue arguments = JSONValue::object());
    /// Prepares a plan and performs it; returns the text of what was done.
    std::string perform(std::string_view preparing, JSONValue arguments);

    CollectingSink sink;
    Connection connection;

  private:
    [[nodiscard]] JSONValue withTerms(JSONValue params) const;

    Revision revision_;
    bool asksByForm_;
    std::int64_t lastID_ = 0;
    JSONValue tools_; // as they were listed
};

/// The first text of a tool's result.
[[nodiscard]] std::string textOf(const JSONValue& result);

/// What is wrong with a message of a server, by what the protocol says of its kind; empty when nothing is.
[[nodiscard]] std::string problemOfMessage(const JSONValue& message);

/// What is wrong with `value` by a schema of the words that ours use; empty when nothing is.
[[nodiscard]] std::string problemOf(const JSONValue& value, const JSONValue& schema);

} // namespace quorvel::test
