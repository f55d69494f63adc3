#include "Quorvel/protocol/Messages.h"

#include "Platform/json/JSON.h"

namespace quorvel {

namespace {

JSONValue envelope() {
    return JSONValue::object({{"jsonrpc", "2.0"}});
}

std::string lineOf(const JSONValue& message) {
    return encodeJSON(message);
}

} // namespace

std::optional<RequestID> requestIDOf(const JSONValue& value) {
    if (const auto* const number = value.integer()) return RequestID(*number);
    if (const auto* const text = value.text()) return RequestID(*text);
    return std::nullopt;
}

JSONValue jsonOf(const RequestID& id) {
    return std::visit([](const auto& value) { return JSONValue(value); }, id);
}

std::variant<IncomingMessage, MalformedMessage> readMessage(JSONValue document) {
    if (!document.members())
        return MalformedMessage{rpc::invalidRequest, "A message is one JSON object.", {}, true};
    const JSONValue* const idMember = document.find("id");
    const auto id = idMember ? requestIDOf(*idMember) : std::nullopt;
    JSONValue* const method = document.find("method");
    const JSONValue* const result = document.find("result");
    const bool isResponse = !method && (result || document.find("error"));
    const bool isNotification = method && method->text() && !idMember;
    const auto malformed = [&](int code, std::string text) {
        return MalformedMessage{code, std::move(text), id, !isResponse && !isNotification};
    };
    const JSONValue* const version = document.find("jsonrpc");
    if (!version || !version->text() || *version->text() != "2.0")
        return malformed(rpc::invalidRequest, "\"jsonrpc\" must be \"2.0\".");
    if (idMember && !id)
        return malformed(rpc::invalidRequest, "\"id\" must be a text or a whole number of 64 bits.");

    IncomingMessage message;
    if (id) message.id = *id;
    if (!method) {
        if (!id || !isResponse) return malformed(rpc::invalidRequest, "\"method\" is missing.");
        message.kind = IncomingMessage::Kind::response;
        if (result) message.result = *result;
        return message;
    }
    if (!method->text()) return malformed(rpc::invalidRequest, "\"method\" must be a text.");
    message.kind = id ? IncomingMessage::Kind::request : IncomingMessage::Kind::notification;
    message.method = *method->text();
    if (JSONValue* const params = document.find("params")) {
        if (!params->members()) return malformed(rpc::invalidParams, "\"params\" must be an object.");
        message.params = std::move(*params);
    }
    return message;
}

std::string resultMessage(const RequestID& id, JSONValue result) {
    JSONValue message = envelope();
    message.set("id", jsonOf(id));
    message.set("result", std::move(result));
    return lineOf(message);
}

std::string errorMessage(const std::optional<RequestID>& id, int code, std::string_view text,
                         const JSONValue& data) {
    JSONValue error = JSONValue::object({{"code", code}, {"message", text}});
    if (!data.isNull()) error.set("data", data);
    JSONValue message = envelope();
    if (id) message.set("id", jsonOf(*id));
    message.set("error", std::move(error));
    return lineOf(message);
}

std::string requestMessage(const RequestID& id, std::string_view method, JSONValue params) {
    JSONValue message = envelope();
    message.set("id", jsonOf(id));
    message.set("method", method);
    message.set("params", std::move(params));
    return lineOf(message);
}

std::string notificationMessage(std::string_view method, JSONValue params) {
    JSONValue message = envelope();
    message.set("method", method);
    message.set("params", std::move(params));
    return lineOf(message);
}

} // namespace quorvel
