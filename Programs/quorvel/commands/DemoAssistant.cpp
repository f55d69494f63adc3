#include "Programs/quorvel/commands/DemoAssistant.h"

#include "Platform/text/Text.h"
#include "Quorvel/application/EnvironmentOptions.h"
#include "Quorvel/assistants/Server.h"

#include <fmt/format.h>

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace quorvel {

namespace {

// Keeps the last message.
class LastMessage final : public MessageSink {
  public:
    void send(std::string message) override { message_ = std::move(message); }
    [[nodiscard]] const std::string& text() const { return message_; }

  private:
    std::string message_;
};

std::string shortened(std::string_view text) {
    std::size_t end = 300; // bytes; cut where a character begins
    if (text.size() <= end) return std::string(text);
    while ((static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        --end;
    return fmt::format("{}… ({} bytes)", text.substr(0, end), text.size());
}

} // namespace

std::size_t playAssistant(DemoStage& stage, const std::string& app) {
    stage.step(
        "An assistant",
        "AI assistants start 'quorvel-mcp' and speak with it in lines of JSON. What changes App Store Connect "
        "takes a plan first and is not allowed until you say so with 'quorvel assistants allow all'.");
    const auto folder = stage.folder().path();
    const auto variable = [&](std::string_view name) -> std::optional<std::string> {
        if (name == "QUORVEL_HOME") return (folder / "home").string();
        if (name == "QUORVEL_ENDPOINTS") return stage.server().access().endpointsFile.string();
        return std::nullopt;
    };
    AssistantServer server(
        [&] {
            return std::make_unique<Application>(optionsOfEnvironment(variable, folder, QUORVEL_VERSION));
        },
        QUORVEL_VERSION, systemClock());
    LastMessage sink;
    Connection connection(server, sink);
    const auto exchange = [&](const std::string& line) {
        stage.say("\n" + stage.styled(Style::dim, "   → " + line) + "\n");
        connection.receive(line);
        connection.drain();
        stage.say("   ← " + escapeControls(shortened(sink.text())) + "\n");
        return decodeJSON<JSONValue>(sink.text());
    };
    (void)exchange(
        R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"2025-11-25","capabilities":{}}})");
    const auto listed = exchange(R"({"jsonrpc":"2.0","id":2,"method":"tools/list"})");
    const auto call = [&](int id, std::string_view tool, std::string_view arguments) {
        return exchange(fmt::format(
            R"({{"jsonrpc":"2.0","id":{},"method":"tools/call","params":{{"name":"{}","arguments":{}}}}})",
            id, tool, arguments));
    };
    const auto status = call(3, "app_status", fmt::format(R"({{"app":"{}"}})", app));
    const auto refused = call(4, "push", R"({"handle":"guessed"})");
    const JSONValue* const tools = listed.at("result", "tools");
    const JSONValue* const statusFailed = status.at("result", "isError");
    const JSONValue* const isRefused = refused.at("result", "isError");
    const bool held = tools && tools->items() && statusFailed && *statusFailed == JSONValue(false) &&
                      isRefused && *isRefused == JSONValue(true);
    return held ? tools->items()->size() : 0;
}

} // namespace quorvel
