#include "Platform/json/JSON.h"
#include "Platform/task/Task.h"
#include "Quorvel/protocol/LineSplitter.h"
#include "Tests/support/AssistantClient.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <atomic>
#include <latch>
#include <map>
#include <set>
#include <thread>

namespace quorvel {

namespace {

using test::CollectingSink;
using testing::HasSubstr;

// Answers with the method's name; "hold" waits until it is released or cancelled.
class ScriptedHandler final : public RequestHandler {
  public:
    bool takesLong(const IncomingMessage& request) const override { return request.method != "short"; }
    JSONValue answer(const IncomingMessage& request, RequestScope& scope) override {
        ++begun;
        if (request.method == "hold") {
            scope.tell("holding");
            scope.tell("holding");
            scope.tell("still holding");
            try {
                while (!released) {
                    checkCancellation();
                    std::this_thread::yield();
                }
            } catch (const CancellationError&) {
                scope.tell("cleaning up");
                throw;
            }
        }
        if (request.method == "ask") return scope.ask("elicitation/create", JSONValue::object());
        if (request.method == "throw") throw std::runtime_error("a secret");
        ++finished;
        return JSONValue::object({{"method", request.method}});
    }
    JSONValue welcome(const ClientTerms& terms) override {
        return JSONValue::object({{"protocolVersion", rawValue(terms.revision)}});
    }
    JSONValue busy(const IncomingMessage&, const ClientTerms&) override {
        return JSONValue::object({{"busy", true}});
    }

    std::atomic<bool> released = false;
    std::atomic<int> begun = 0;
    std::atomic<int> finished = 0;
};

constexpr std::string_view terms =
    R"("_meta":{"io.modelcontextprotocol/protocolVersion":"2026-07-28","io.modelcontextprotocol/clientCapabilities":{}})";

std::string modern(std::string_view id, std::string_view method) {
    return fmt::format(R"({{"jsonrpc":"2.0","id":{},"method":"{}","params":{{{}}}}})", id, method, terms);
}

std::string handshake(std::string_view revision, std::string_view capabilities = "{}") {
    return fmt::format(
        R"({{"jsonrpc":"2.0","id":"hello","method":"initialize","params":{{"protocolVersion":"{}","capabilities":{}}}}})",
        revision, capabilities);
}

std::string cancellation(std::string_view id) {
    return fmt::format(
        R"({{"jsonrpc":"2.0","method":"notifications/cancelled","params":{{"requestId":{}}}}})", id);
}

struct ConnectionTest : testing::Test {
    ScriptedHandler handler;
    CollectingSink sink;

    // What one line is answered by a connection of its own, after `before`.
    std::string answerTo(std::string_view line, const std::string& before = {}) {
        CollectingSink own;
        Connection connection(handler, own);
        if (!before.empty()) connection.receive(before);
        const std::size_t start = own.messages().size();
        connection.receive(line);
        connection.drain();
        connection.end();
        std::string all;
        const auto messages = own.messages();
        for (std::size_t index = start; index < messages.size(); ++index)
            all += encodeJSON(messages[index]);
        return all;
    }
};

} // namespace

TEST_F(ConnectionTest, answersEachMalformedMessageWithItsErrorAndLives) {
    const std::map<std::string, std::string> answers = {
        {"{\"jsonrpc\"", R"({"jsonrpc":"2.0","error":{"code":-32700)"},
        {"{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"\xff\"}", R"("code":-32700)"},
        {std::string(5000, '['), R"("code":-32700)"},
        {"17", R"({"jsonrpc":"2.0","error":{"code":-32600)"},
        {R"({"id":1,"method":"short"})", R"("id":1,"error":{"code":-32600)"},
        {R"({"jsonrpc":"1.0","id":"a","method":"short"})", R"("id":"a","error":{"code":-32600)"},
        {R"({"jsonrpc":"2.0","id":null,"method":"short"})", R"({"jsonrpc":"2.0","error":{"code":-32600)"},
        {R"({"jsonrpc":"2.0","id":1.5,"method":"short"})", R"({"jsonrpc":"2.0","error":{"code":-32600)"},
        {R"({"jsonrpc":"2.0","id":1})", R"("id":1,"error":{"code":-32600)"},
        {R"({"jsonrpc":"2.0","id":1,"method":7})", R"("id":1,"error":{"code":-32600)"},
        {R"({"jsonrpc":"2.0","id":1,"method":"short","params":[1]})", R"("id":1,"error":{"code":-32602)"},
        {R"({"jsonrpc":"2.0","id":1,"method":"short"})", R"("id":1,"error":{"code":-32602)"},
        {R"({"jsonrpc":"2.0","id":1,"method":"short","params":{"_meta":{"io.modelcontextprotocol/protocolVersion":"2026-07-28"}}})",
         R"("id":1,"error":{"code":-32602)"},
        {R"({"jsonrpc":"2.0","id":1,"method":"short","params":{"_meta":{"io.modelcontextprotocol/protocolVersion":7}}})",
         R"("id":1,"error":{"code":-32602)"},
        {R"({"jsonrpc":"2.0","id":1,"method":"short","params":{"_meta":{"io.modelcontextprotocol/protocolVersion":"1900-01-01","io.modelcontextprotocol/clientCapabilities":{}}}})",
         R"("code":-32022,"message":"Unsupported protocol version","data":{"supported":["2026-07-28"],"requested":"1900-01-01"})"},
        {modern("1", "throw"), R"("id":1,"error":{"code":-32603,"message":"The request failed inside)"},
        {modern("9007199254740993", "short"), R"("id":9007199254740993,"result")"},
        {"[" + modern("1", "short") + "]", R"({"jsonrpc":"2.0","error":{"code":-32600)"},
        {"  \r", ""},
        {R"({"jsonrpc":"2.0","method":"notifications/unknown"})", ""},
        {R"({"jsonrpc":"2.0","id":"nobody asked","result":{}})", ""},
        {R"({"jsonrpc":"2.0","method":"short","params":[1]})", ""},
        {R"({"jsonrpc":"1.0","method":"notifications/cancelled"})", ""},
        {R"({"jsonrpc":"2.0","id":1.5,"result":{}})", ""},
        {R"({"jsonrpc":"2.0","error":{"code":-32700,"message":"x"}})", ""},
        {R"({"jsonrpc":"2.0","id":1,"method":"short","params":{"_meta":{"io.modelcontextprotocol/protocolVersion":"2026-07-28","io.modelcontextprotocol/clientCapabilities":{},"io.modelcontextprotocol/clientInfo":"me"}}})",
         R"("id":1,"error":{"code":-32602)"},
        {cancellation("77"), ""},
        {R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":{}})", ""}};
    for (const auto& [line, answer] : answers) {
        SCOPED_TRACE(line.substr(0, 200));
        const std::string got = answerTo(line);
        if (answer.empty())
            EXPECT_EQ(got, "");
        else
            EXPECT_THAT(got, HasSubstr(answer));
        EXPECT_THAT(got, testing::Not(HasSubstr("secret")));
    }
}

TEST_F(ConnectionTest, agreesOnARevisionAndTakesBatchesOfOneAlone) {
    for (const char* revision : {"2024-11-05", "2025-03-26", "2025-06-18", "2025-11-25"})
        EXPECT_THAT(answerTo(handshake(revision)),
                    HasSubstr(fmt::format(R"("protocolVersion":"{}")", revision)));
    for (const char* revision : {"2026-07-28", "1.0"})
        EXPECT_THAT(answerTo(handshake(revision)), HasSubstr(R"("protocolVersion":"2025-11-25")"));
    const std::string request = R"({"jsonrpc":"2.0","id":4,"method":"short"})";
    EXPECT_THAT(answerTo(request, handshake("2025-06-18")), HasSubstr(R"("result":{"method":"short"})"));
    EXPECT_THAT(answerTo(modern("5", "short"), handshake("2025-06-18")), HasSubstr(R"("id":5,"result")"))
        << "both kinds on one connection";
    const std::string batch = "[" + request +
                              R"(,{"jsonrpc":"2.0","method":"notifications/initialized"},3,)" +
                              R"({"jsonrpc":"2.0","id":6,"method":"long"}])";
    const auto answers = answerTo(batch, handshake("2025-03-26"));
    EXPECT_THAT(answers, testing::StartsWith("["));
    EXPECT_EQ(decodeJSON<JSONValue>(answers).items()->size(), 3u);
    for (const char* part : {R"("id":4,"result")", R"("id":6,"result")", R"("code":-32600)"})
        EXPECT_THAT(answers, HasSubstr(part));
    EXPECT_THAT(answerTo("[]", handshake("2025-03-26")), HasSubstr("-32600"));
    const std::string listen = modern("8", "subscriptions/listen");
    EXPECT_THAT(answerTo("[" + request + "," + listen + "]", handshake("2025-03-26")),
                AllOf(HasSubstr(R"("id":4,"result")"), HasSubstr(R"("id":8,"error":{"code":-32600)")));
    const auto withMeta = [](std::string_view key) {
        return fmt::format(
            R"({{"jsonrpc":"2.0","id":9,"method":"short","params":{{"_meta":{{"io.modelcontextprotocol/{}":{{}}}}}}}})",
            key);
    };
    EXPECT_THAT(answerTo(withMeta("clientCapabilities"), handshake("2025-11-25")), HasSubstr("-32602"));
    EXPECT_THAT(answerTo(withMeta("related-task"), handshake("2025-11-25")), HasSubstr(R"("result")"));
    EXPECT_THAT(answerTo(batch, handshake("2025-06-18")),
                HasSubstr("Batches are part of revision 2025-03-26"));
}

TEST_F(ConnectionTest, cancelsWhatRunsAndWhatWaitsAndAnswersNeither) {
    Connection connection(handler, sink, {.workers = 1});
    connection.receive(modern("1", "hold"));
    while (handler.begun == 0)
        std::this_thread::yield();
    connection.receive(modern("2", "long"));  // waits behind the first
    connection.receive(modern("1", "short")); // an id that is in use
    connection.receive(cancellation("2"));
    connection.receive(cancellation("1"));
    connection.receive(modern("3", "long"));
    connection.drain();
    const auto messages = sink.messages();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_FALSE(messages[0].find("id")) << "an answer would be taken for the first request's";
    EXPECT_THAT(*messages[0].at("error", "message")->text(), HasSubstr("The id 1 belongs"));
    EXPECT_EQ(*messages[1].find("id"), JSONValue(3));
    EXPECT_EQ(handler.begun, 2) << "what waited was never begun";
}

TEST_F(ConnectionTest, tellsProgressThatGrowsAndEndsBeforeTheAnswer) {
    Connection connection(handler, sink);
    sink.onMessage = [&](const JSONValue& message) {
        if (const auto* const text = message.at("params", "message");
            text && *text->text() == "still holding")
            handler.released = true;
    };
    connection.receive(fmt::format(
        R"({{"jsonrpc":"2.0","id":1,"method":"hold","params":{{"_meta":{{"progressToken":"p",{}}}}})",
        terms.substr(9)));
    connection.drain();
    const auto messages = sink.messages();
    ASSERT_EQ(messages.size(), 3u) << "the same text is told once";
    EXPECT_EQ(
        encodeJSON(messages[0]),
        R"({"jsonrpc":"2.0","method":"notifications/progress","params":{"progressToken":"p","progress":1,"message":"holding"}})");
    EXPECT_EQ(*messages[1].at("params", "progress"), JSONValue(2));
    EXPECT_TRUE(messages[2].find("result"));
}

TEST_F(ConnectionTest, tellsNothingAfterACancellation) {
    Connection connection(handler, sink);
    connection.receive(fmt::format(
        R"({{"jsonrpc":"2.0","id":1,"method":"hold","params":{{"_meta":{{"progressToken":"p",{}}}}})",
        terms.substr(9)));
    (void)sink.await([](const JSONValue& message) {
        const auto* const text = message.at("params", "message");
        return text && *text->text() == "still holding";
    });
    connection.receive(cancellation("1"));
    connection.drain();
    EXPECT_EQ(sink.messages().size(), 2u);
}

TEST_F(ConnectionTest, beginsNothingLongOnceItsIntakeIsClosed) {
    Connection connection(handler, sink, {.workers = 1, .waiting = 1, .patience = std::chrono::minutes(5)});
    connection.receive(modern("1", "hold"));
    while (handler.begun == 0)
        std::this_thread::yield();
    connection.receive(modern("2", "long"));
    connection.closeIntake();
    connection.receive(modern("3", "long")); // does not wait for room
    handler.released = true;
    EXPECT_TRUE(sink.awaitAnswer(1).find("result"));
    connection.end();
    EXPECT_EQ(handler.begun, 1);
    EXPECT_EQ(sink.messages().size(), 1u);
}

TEST_F(ConnectionTest, boundsWhatWaitsAndStillHearsCancellations) {
    Connection connection(handler, sink,
                          {.workers = 2, .waiting = 3, .patience = std::chrono::milliseconds(0)});
    for (int id = 1; id <= 2; ++id)
        connection.receive(modern(std::to_string(id), "hold"));
    while (handler.begun < 2)
        std::this_thread::yield();
    for (int id = 3; id <= 7; ++id)
        connection.receive(modern(std::to_string(id), "long"));
    for (const int refused : {6, 7})
        EXPECT_EQ(*sink.awaitAnswer(refused).at("result", "busy"), JSONValue(true));
    connection.receive(cancellation("1"));
    for (const int id : {3, 4, 5})
        EXPECT_TRUE(sink.awaitAnswer(id).find("result"));
}

TEST_F(ConnectionTest, answersTenThousandRequestsAtOnce) {
    Connection connection(handler, sink, {.patience = std::chrono::minutes(5)});
    constexpr int count = 10'000;
    for (int id = 0; id < count; ++id)
        connection.receive(modern(std::to_string(id), "long"));
    connection.drain();
    std::set<std::int64_t> answered;
    for (const auto& message : sink.messages())
        if (message.find("result")) answered.insert(*message.find("id")->integer());
    EXPECT_EQ(answered.size(), static_cast<std::size_t>(count));
}

TEST_F(ConnectionTest, endsAtOnceThoughNobodyReads) {
    Outbox outbox(100);
    Connection connection(handler, outbox);
    connection.receive(modern("1", "hold"));
    std::jthread sending([&] {
        for (int id = 2; id < 50; ++id)
            connection.receive(modern(std::to_string(id), "short"));
    });
    while (handler.begun < 3) // the held one, one that fits, one that waits for room
        std::this_thread::yield();
    outbox.close();
    connection.end();
    EXPECT_LE(outbox.take().value_or("").size(), 200u);
    EXPECT_FALSE(outbox.take());
}

TEST_F(ConnectionTest, asksTheClientAndTakesItsAnswer) {
    Connection connection(handler, sink);
    connection.receive(handshake("2025-11-25", R"({"elicitation":{}})"));
    connection.receive(R"({"jsonrpc":"2.0","id":1,"method":"ask"})");
    const auto isQuestion = [](const JSONValue& message) {
        return message.find("method") && *message.find("method")->text() == "elicitation/create";
    };
    const std::string id = *sink.await(isQuestion).find("id")->text();
    connection.receive(fmt::format(R"({{"jsonrpc":"2.0","id":"{}","result":{{"action":"accept"}}}})", id));
    EXPECT_EQ(*sink.awaitAnswer(1).at("result", "action"), JSONValue("accept"));
    connection.receive(R"({"jsonrpc":"2.0","id":2,"method":"ask"})");
    const auto second = sink.await(
        [&](const auto& message) { return isQuestion(message) && *message.find("id")->text() != id; });
    connection.receive(cancellation("2"));
    const auto taken = sink.await([](const auto& message) {
        return message.find("method") && *message.find("method")->text() == "notifications/cancelled";
    });
    EXPECT_EQ(*taken.at("params", "requestId"), *second.find("id"));
}

TEST_F(ConnectionTest, waitsForNoAnswerForEverAndNotForManyAtOnce) {
    const std::string hello = handshake("2025-11-25", R"({"elicitation":{}})");
    const auto ask = [](int id) { return fmt::format(R"({{"jsonrpc":"2.0","id":{},"method":"ask"}})", id); };
    {
        Connection connection(handler, sink, {.answerTime = std::chrono::milliseconds(0)});
        connection.receive(hello);
        connection.receive(ask(1));
        EXPECT_TRUE(sink.awaitAnswer(1).find("result")->isNull());
        EXPECT_THAT(encodeJSON(sink.messages().at(2)),
                    AllOf(HasSubstr("notifications/cancelled"), HasSubstr("No answer came in time.")));
    }
    CollectingSink other;
    Connection connection(handler, other, {.questions = 1});
    connection.receive(hello);
    connection.receive(ask(1));
    (void)other.await([](const JSONValue& message) { return message.find("method") != nullptr; });
    connection.receive(ask(2));
    EXPECT_TRUE(other.awaitAnswer(2).find("result")->isNull());
    EXPECT_EQ(other.messages().size(), 3u) << "the second was never asked";
}

TEST_F(ConnectionTest, holdsSubscriptionsOpenUntilTheyAreCancelled) {
    Connection connection(handler, sink, {.subscriptions = 1});
    const auto listen = [&](int id) {
        connection.receive(fmt::format(
            R"({{"jsonrpc":"2.0","id":{},"method":"subscriptions/listen","params":{{"notifications":{{"toolsListChanged":true}},{}}}}})",
            id, terms));
    };
    listen(1);
    EXPECT_EQ(
        encodeJSON(sink.messages().at(0)),
        R"({"jsonrpc":"2.0","method":"notifications/subscriptions/acknowledged","params":{"_meta":{"io.modelcontextprotocol/subscriptionId":1},"notifications":{}}})");
    listen(2);
    EXPECT_TRUE(sink.awaitAnswer(2).find("error"));
    connection.receive(cancellation("1"));
    listen(3);
    EXPECT_EQ(sink.messages().size(), 3u);
    const auto last = connection.endSubscriptions();
    ASSERT_EQ(last.size(), 2u);
    EXPECT_THAT(last[0], AllOf(HasSubstr("notifications/cancelled"), HasSubstr(R"("requestId":3)")));
    EXPECT_EQ(
        last[1],
        R"({"jsonrpc":"2.0","id":3,"result":{"resultType":"complete","_meta":{"io.modelcontextprotocol/subscriptionId":3}}})");
}

TEST(LineSplitter, keepsNoMoreThanItsBoundOfALine) {
    std::vector<std::optional<std::string>> lines;
    LineSplitter splitter(10, [&](auto line) { lines.push_back(std::move(line)); });
    for (const char* part :
         {"ab", "c\n\nsh", "ort\n", "0123456789\n", "0123456789", "0\nnext\n0123456789ab", "\nend"})
        splitter.append(part);
    splitter.finish();
    using Lines = std::vector<std::optional<std::string>>;
    EXPECT_EQ(lines, (Lines{"abc", "", "short", "0123456789", std::nullopt, "next", std::nullopt, "end"}));
}

} // namespace quorvel
