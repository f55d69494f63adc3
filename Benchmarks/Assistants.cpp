// The assistants' server: from its start to its first answer, listing tools, and calls of a local tool
// against the JSON work alone.
#include "Platform/json/JSON.h"
#include "Quorvel/assistants/Server.h"
#include "Tests/support/TemporaryFolder.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

namespace {

using namespace quorvel;

class Counter final : public MessageSink {
  public:
    void send(std::string message) override { bytes += message.size(); }
    std::size_t bytes = 0;
};

constexpr const char* list = R"({"jsonrpc":"2.0","id":2,"method":"tools/list"})";
constexpr const char* call =
    R"({"jsonrpc":"2.0","id":3,"method":"tools/call","params":{"name":"costs","arguments":{"days":30}}})";

struct Served {
    test::TemporaryFolder folder;
    AssistantServer server{[this] {
                               return std::make_unique<Application>(ApplicationOptions{
                                   .home = {folder / "home"}, .workingFolder = folder.path()});
                           },
                           "1", systemClock()};
    Counter sink;
    Connection connection{server, sink};

    Served() {
        connection.receive(
            R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"2025-11-25","capabilities":{}}})");
    }
    void exchange(const char* line) {
        connection.receive(line);
        connection.drain();
    }
};

void listTools(benchmark::State& state) {
    Served served;
    for (auto _ : state)
        served.exchange(list);
}

void callLocalTool(benchmark::State& state) {
    Served served;
    for (auto _ : state)
        served.exchange(call);
}

// The messages of such a call read and written, and nothing done.
void readAndWriteTheCall(benchmark::State& state) {
    class Last final : public MessageSink {
      public:
        void send(std::string message) override { text = std::move(message); }
        std::string text;
    } last;
    Served served;
    Connection connection(served.server, last);
    connection.receive(
        R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"2025-11-25","capabilities":{}}})");
    connection.receive(call);
    connection.drain();
    const auto answer = decodeJSON<JSONValue>(last.text);
    for (auto _ : state) {
        benchmark::DoNotOptimize(decodeJSON<JSONValue>(call));
        benchmark::DoNotOptimize(encodeJSON(answer));
    }
}

} // namespace

BENCHMARK(listTools);
BENCHMARK(callLocalTool);
BENCHMARK(readAndWriteTheCall);
BENCHMARK_MAIN();
