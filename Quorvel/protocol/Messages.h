// The messages of JSON-RPC 2.0, read from and written to one line each.
#pragma once

#include "Platform/json/JSONValue.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace quorvel {

/// The identifier of a request, as its sender chose it.
using RequestID = std::variant<std::int64_t, std::string>;

/// The identifier that `value` is; nothing for what is none: null, fractions, numbers beyond 64 bits.
[[nodiscard]] std::optional<RequestID> requestIDOf(const JSONValue& value);
[[nodiscard]] JSONValue jsonOf(const RequestID& id);

/// The error codes that this server sends.
namespace rpc {
inline constexpr int parseError = -32700;
inline constexpr int invalidRequest = -32600;
inline constexpr int methodNotFound = -32601;
inline constexpr int invalidParams = -32602;
inline constexpr int internalError = -32603;
inline constexpr int resourceNotFound = -32002; // of the revisions with a handshake
inline constexpr int unsupportedProtocolVersion = -32022;
} // namespace rpc

/// A request that is answered with an error of the protocol instead of a result.
class ProtocolError : public std::runtime_error {
  public:
    ProtocolError(int code, const std::string& text, JSONValue data = {})
        : std::runtime_error(text), code_(code), data_(std::move(data)) {}
    [[nodiscard]] int code() const { return code_; }
    [[nodiscard]] const JSONValue& data() const { return data_; } // null: none

  private:
    int code_;
    JSONValue data_;
};

struct IncomingMessage {
    enum class Kind { request, notification, response };
    Kind kind = Kind::notification;
    RequestID id;       // of a request or a response
    std::string method; // of a request or a notification
    JSONValue params;   // an object, or null where there are none
    JSONValue result;   // of a response; null for an error

    /// A member of the parameters; null where there is none.
    [[nodiscard]] const JSONValue* param(std::string_view name) const { return params.find(name); }
};

/// What is wrong with a message, and the identifier to answer to where it can be told.
struct MalformedMessage {
    int code = rpc::invalidRequest;
    std::string text;
    std::optional<RequestID> id;
    bool isAnswered = true; // no notification and no response is
};

[[nodiscard]] std::variant<IncomingMessage, MalformedMessage> readMessage(JSONValue document);

/// Each is one line without its line feed.
[[nodiscard]] std::string resultMessage(const RequestID& id, JSONValue result);
/// An error that answers no request that could be told has no identifier.
[[nodiscard]] std::string errorMessage(const std::optional<RequestID>& id, int code, std::string_view text,
                                       const JSONValue& data = {});
[[nodiscard]] std::string requestMessage(const RequestID& id, std::string_view method, JSONValue params);
[[nodiscard]] std::string notificationMessage(std::string_view method, JSONValue params);

} // namespace quorvel
