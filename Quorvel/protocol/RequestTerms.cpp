#include "Quorvel/protocol/RequestTerms.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

namespace quorvel {

namespace {

constexpr std::string_view versionKey = "io.modelcontextprotocol/protocolVersion";
constexpr std::string_view capabilitiesKey = "io.modelcontextprotocol/clientCapabilities";
constexpr std::string_view clientKey = "io.modelcontextprotocol/clientInfo";
constexpr std::string_view logLevelKey = "io.modelcontextprotocol/logLevel";

bool saysRevision(const IncomingMessage& message) {
    const JSONValue* const meta = message.param("_meta");
    return meta && meta->find(versionKey);
}

// What only a request says that carries its own terms; other keys with the prefix are older.
bool hasModernKeys(const JSONValue* meta) {
    constexpr std::string_view keys[] = {versionKey, capabilitiesKey, clientKey, logLevelKey};
    return meta && meta->members() &&
           std::ranges::any_of(keys, [&](std::string_view key) { return meta->find(key) != nullptr; });
}

// The terms of a request that says them itself.
ClientTerms modernTermsOf(const JSONValue& meta) {
    const JSONValue& version = *meta.find(versionKey);
    if (!version.text())
        throw ProtocolError(rpc::invalidParams, fmt::format("_meta: \"{}\" must be a text.", versionKey));
    const auto revision = fromRawValue<Revision>(*version.text());
    if (!revision || !isModern(*revision))
        throw ProtocolError(
            rpc::unsupportedProtocolVersion, "Unsupported protocol version",
            JSONValue::object(
                {{"supported", JSONValue::array({rawValue(Revision::r20260728)})}, {"requested", version}}));
    const JSONValue* const capabilities = meta.find(capabilitiesKey);
    if (!capabilities || !capabilities->members())
        throw ProtocolError(rpc::invalidParams,
                            fmt::format("_meta: \"{}\" is missing or no object.", capabilitiesKey));
    if (const JSONValue* const client = meta.find(clientKey); client && !client->members())
        throw ProtocolError(rpc::invalidParams, fmt::format("_meta: \"{}\" is no object.", clientKey));
    return {*revision, asksByForm(capabilities)};
}

} // namespace

// A client that names no kind of question asks by a form.
bool asksByForm(const JSONValue* capabilities) {
    const JSONValue* const elicitation = capabilities ? capabilities->find("elicitation") : nullptr;
    if (!elicitation || !elicitation->members()) return false;
    return elicitation->members()->empty() || elicitation->find("form");
}

std::optional<JSONValue> progressTokenOf(const IncomingMessage& message) {
    const JSONValue* const meta = message.param("_meta");
    if (!meta) return std::nullopt;
    if (!meta->members()) throw ProtocolError(rpc::invalidParams, "\"_meta\" must be an object.");
    const JSONValue* const token = meta->find("progressToken");
    if (!token) return std::nullopt;
    if (!requestIDOf(*token))
        throw ProtocolError(rpc::invalidParams, "\"progressToken\" must be a text or a whole number.");
    return *token;
}

ClientTerms termsOf(const IncomingMessage& message, const std::optional<ClientTerms>& session) {
    const JSONValue* const meta = message.param("_meta");
    if (saysRevision(message)) return modernTermsOf(*meta);
    if (message.method == "initialize") return session.value_or(ClientTerms());
    if (!hasModernKeys(meta)) {
        if (session) return *session;
        if (message.method == "ping") return {};
    }
    throw ProtocolError(
        rpc::invalidParams,
        fmt::format("The request says no protocol version: put \"{}\" into its _meta (supported: {}), or "
                    "begin with \"initialize\".",
                    versionKey, rawValue(Revision::r20260728)));
}

} // namespace quorvel
