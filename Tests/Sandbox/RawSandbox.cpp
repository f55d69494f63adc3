#include "Tests/Sandbox/RawSandbox.h"

#include "Platform/crypto/Digest.h"
#include "Platform/files/Files.h"
#include "Platform/json/JSON.h"
#include "Platform/time/Date.h"

#include <fmt/format.h>

#include <stdexcept>

namespace quorvel::sandbox::test {
namespace {

const JSONValue* firstError(const Reply& reply) {
    const JSONValue* errors = reply.body.find("errors");
    return errors && errors->items() && !errors->items()->empty() ? &errors->items()->front() : nullptr;
}

std::string textAt(const JSONValue* value) {
    return value && value->text() ? *value->text() : "";
}

std::string find(const Reply& reply, std::string_view attribute, std::string_view value) {
    for (const JSONValue& resource : reply.list())
        if (textAt(resource.at("attributes", attribute)) == value) return textAt(resource.find("id"));
    throw std::runtime_error(fmt::format("no resource with the {} {}", attribute, value));
}

} // namespace

std::string Reply::codes() const {
    std::string joined;
    const JSONValue* errors = body.find("errors");
    for (const JSONValue& error : errors && errors->items() ? *errors->items() : JSONValue::Array())
        joined += (joined.empty() ? "" : " ") + textAt(error.find("code"));
    return joined;
}

std::string Reply::source() const {
    const JSONValue* error = firstError(*this);
    if (!error) return "";
    const std::string pointer = textAt(error->at("source", "pointer"));
    return pointer.empty() ? textAt(error->at("source", "parameter")) : pointer;
}

std::string Reply::detail() const {
    const JSONValue* error = firstError(*this);
    return error ? textAt(error->find("detail")) : "";
}

std::string Reply::id() const {
    return textAt(body.at("data", "id"));
}
std::string Reply::text(std::string_view attribute) const {
    return textAt(body.at("data", "attributes", attribute));
}

const JSONValue::Array& Reply::list() const& {
    const JSONValue* data = body.find("data");
    if (!data || !data->items()) throw std::runtime_error("no list was answered");
    return *data->items();
}

RawSandbox::RawSandbox(Seed seed, Options options) : options_(std::move(options)) {
    options_.seed = seed;
    options_.stateFolder = folder_ / "state";
    restart();
}

void RawSandbox::restart() {
    server_.reset();
    server_ = std::make_unique<SandboxServer>(options_);
    token_ = sign(tokenParts());
}

TokenParts RawSandbox::tokenParts() const {
    TokenParts parts;
    parts.keyID = server_->access().keyID;
    parts.issuerID = server_->access().issuerID;
    return parts;
}

std::string RawSandbox::sign(const TokenParts& parts) const {
    const auto now = static_cast<std::int64_t>(secondsSince1970(systemClock()()));
    const std::string header =
        encodeJSON(JSONValue::object({{"alg", parts.algorithm}, {"kid", parts.keyID}, {"typ", "JWT"}}));
    const std::string claims = encodeJSON(JSONValue::object({{"iss", parts.issuerID},
                                                             {"iat", now + parts.issuedAt},
                                                             {"exp", now + parts.expiry},
                                                             {"aud", parts.audience}}));
    const std::string message = base64URLEncode(header) + "." + base64URLEncode(claims);
    const auto key = P256PrivateKey::fromPEM(*readFile(server_->access().privateKeyFile));
    return message + "." + base64URLEncode(key.sign(message));
}

Reply RawSandbox::send(std::string_view method, std::string_view target, std::string body,
                       std::vector<HTTPHeader> headers) {
    HTTPRequest request;
    request.method = method;
    request.url = target.starts_with('/') ? server_->access().url + std::string(target) : std::string(target);
    request.headers = std::move(headers);
    if (method != "PUT" && !token_.empty()) request.headers.push_back({"Authorization", "Bearer " + token_});
    if (!body.empty()) request.body = std::move(body);
    Reply reply;
    reply.response = session_.send(request);
    reply.status = reply.response.status;
    if (reply.response.header("Content-Type").value_or("") == "application/json")
        reply.body = decodeJSON<JSONValue>(reply.response.body);
    return reply;
}

Reply RawSandbox::post(std::string_view path, const JSONValue& body) {
    return send("POST", path, encodeJSON(body), {{"Content-Type", "application/json"}});
}

Reply RawSandbox::patch(std::string_view path, const JSONValue& body) {
    return send("PATCH", path, encodeJSON(body), {{"Content-Type", "application/json"}});
}

Reply RawSandbox::create(std::string_view type, JSONValue::Object attributes,
                         const std::vector<std::pair<std::string, std::string>>& relations) {
    JSONValue data = JSONValue::object({{"type", type}});
    if (!attributes.empty()) data.set("attributes", std::move(attributes));
    JSONValue::Object boxes;
    for (const auto& [name, id] : relations)
        boxes.emplace_back(name, JSONValue::object({{"data", reference(typeOf(name), id)}}));
    if (!boxes.empty()) data.set("relationships", std::move(boxes));
    return post(fmt::format("/v1/{}", type), JSONValue::object({{"data", std::move(data)}}));
}

Reply RawSandbox::update(std::string_view type, std::string_view id, JSONValue::Object attributes) {
    JSONValue data = reference(type, id);
    data.set("attributes", std::move(attributes));
    return patch(fmt::format("/v1/{}/{}", type, id), JSONValue::object({{"data", std::move(data)}}));
}

std::string RawSandbox::app(std::string_view bundleID) {
    return find(get("/v1/apps?limit=200"), "bundleId", bundleID);
}

std::string RawSandbox::version(std::string_view appID, std::string_view platform,
                                std::string_view versionString) {
    return find(get(fmt::format("/v1/apps/{}/appStoreVersions?filter%5Bplatform%5D={}", appID, platform)),
                "versionString", versionString);
}

std::string RawSandbox::localization(std::string_view versionID, std::string_view locale) {
    return find(get(fmt::format("/v1/appStoreVersions/{}/appStoreVersionLocalizations?limit=200", versionID)),
                "locale", locale);
}

std::string RawSandbox::build(std::string_view appID, std::string_view number) {
    return find(get(fmt::format("/v1/builds?filter%5Bapp%5D={}&limit=200", appID)), "version", number);
}

Reply RawSandbox::upload(std::string_view set, std::string_view fileName, const std::string& bytes) {
    const Reply reserved = create(
        "appScreenshots", {{"fileName", fileName}, {"fileSize", static_cast<std::int64_t>(bytes.size())}},
        {{"appScreenshotSet", std::string(set)}});
    if (reserved.status != 201) return reserved;
    for (const JSONValue& part : *reserved.body.at("data", "attributes", "uploadOperations")->items())
        if (send("PUT", *part.find("url")->text(),
                 bytes.substr(static_cast<std::size_t>(*part.find("offset")->integer()),
                              static_cast<std::size_t>(*part.find("length")->integer())),
                 {{"Content-Type", "image/png"}})
                .status != 200)
            throw std::runtime_error("a part was refused");
    return update("appScreenshots", reserved.id(),
                  {{"uploaded", true}, {"sourceFileChecksum", md5Hex(bytes)}});
}

JSONValue reference(std::string_view type, std::string_view id) {
    return JSONValue::object({{"type", type}, {"id", id}});
}

std::string typeOf(std::string_view relation) {
    return relation == "review" ? "customerReviews" : std::string(relation) + "s";
}

} // namespace quorvel::sandbox::test
