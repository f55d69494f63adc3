// Lines that an AI assistant sends: every request is answered once, and the connection lives.
#include "Platform/json/JSON.h"
#include "Quorvel/protocol/Connection.h"
#include "Quorvel/protocol/LineSplitter.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using namespace quorvel;

// Answers at once, and long requests on a worker.
class Echo final : public RequestHandler {
  public:
    bool takesLong(const IncomingMessage& request) const override { return request.method == "tools/call"; }
    JSONValue answer(const IncomingMessage& request, RequestScope& scope) override {
        scope.tell(request.method);
        return JSONValue::object({{"params", request.params}});
    }
    JSONValue welcome(const ClientTerms& terms) override {
        return JSONValue::object({{"protocolVersion", rawValue(terms.revision)}});
    }
    JSONValue busy(const IncomingMessage&, const ClientTerms&) override { return JSONValue::object(); }
};

// What is sent is one message a line, whatever came.
class CheckingSink final : public MessageSink {
  public:
    void send(std::string message) override {
        if (message.find('\n') != std::string::npos) std::abort();
        const auto check = [](const JSONValue& one) {
            const JSONValue* const version = one.find("jsonrpc");
            if (!version || !version->text() || *version->text() != "2.0") std::abort();
        };
        const auto value = decodeJSON<JSONValue>(message); // throws for what is none
        if (const auto* const batch = value.items())
            for (const JSONValue& one : *batch)
                check(one);
        else
            check(value);
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Echo handler;
    CheckingSink sink;
    Connection connection(handler, sink, {.workers = 1});
    LineSplitter splitter(4096, [&](std::optional<std::string> line) {
        if (line)
            connection.receive(*line);
        else
            connection.refuseLongLine(4096);
    });
    splitter.append({reinterpret_cast<const char*>(data), size});
    splitter.finish();
    connection.end();
    return 0;
}
