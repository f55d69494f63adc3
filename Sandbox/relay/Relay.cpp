#include "Sandbox/relay/Relay.h"

#include "Platform/crypto/Digest.h"
#include "Platform/json/JSON.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <openssl/hmac.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <span>
#include <stdexcept>

namespace quorvel::sandbox {
namespace {

constexpr std::string_view bundleID = "com.wendhal.quorvel";
constexpr double tolerance = 300; // seconds between the clocks of client and relay
constexpr std::int64_t leastOutputTokens = 256;
constexpr std::array<std::string_view, 5> bodyKeys = {"model", "messages", "temperature", "max_tokens",
                                                      "response_format"};
constexpr std::array<std::string_view, 2> messageKeys = {"role", "content"};
constexpr std::array<std::string_view, 1> formatKeys = {"type"};

/// A request that the relay does not understand.
class BadRequest : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

std::string signature(const std::string& secret, const std::string& text) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    HMAC(EVP_sha256(), secret.data(), static_cast<int>(secret.size()),
         reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data(), &size);
    std::string digits;
    for (unsigned int at = 0; at < size; ++at)
        digits += fmt::format("{:02x}", digest[at]);
    return digits;
}

const std::string& textAt(const JSONValue& object, std::string_view key) {
    const JSONValue* member = object.find(key);
    if (!member || !member->text()) throw BadRequest(fmt::format("\"{}\" must be a string.", key));
    return *member->text();
}

void requireKeys(const JSONValue& object, std::span<const std::string_view> keys) {
    if (!object.members())
        throw BadRequest(fmt::format("What holds \"{}\" must be an object.", keys.front()));
    auto next = keys.begin();
    for (const auto& [key, value] : *object.members()) {
        const auto place = std::find(next, keys.end(), key);
        if (place == keys.end())
            throw BadRequest(fmt::format("The member \"{}\" is unknown or out of its order.", key));
        next = place + 1;
    }
}

void requireNumbers(const JSONValue& body) {
    const JSONValue* temperature = body.find("temperature");
    if (!temperature || (!temperature->integer() && !std::get_if<double>(&temperature->value)))
        throw BadRequest("\"temperature\" must be a number.");
    const JSONValue* tokens = body.find("max_tokens");
    if (!tokens || !tokens->integer() || *tokens->integer() < leastOutputTokens)
        throw BadRequest(fmt::format("\"max_tokens\" must be an integer of {} or more.", leastOutputTokens));
}

ModelPrompt promptFrom(const JSONValue& body) {
    requireKeys(body, bodyKeys);
    requireNumbers(body);
    static_cast<void>(textAt(body, "model"));
    ModelPrompt prompt;
    const JSONValue* messages = body.find("messages");
    if (!messages || !messages->items()) throw BadRequest("\"messages\" must be a list.");
    for (const JSONValue& message : *messages->items()) {
        requireKeys(message, messageKeys);
        const std::string& role = textAt(message, "role");
        const std::string& content = textAt(message, "content");
        if (role == "system" && &message == &messages->items()->front())
            prompt.system = content;
        else if (role == "user")
            prompt.userTexts.push_back(content);
        else if (role != "assistant")
            throw BadRequest(fmt::format("No message may have the role \"{}\" here.", role));
    }
    if (const JSONValue* format = body.find("response_format")) {
        requireKeys(*format, formatKeys);
        prompt.wantsJSON = textAt(*format, "type") == "json_object";
    }
    return prompt;
}

// A token is about four bytes of text.
std::int64_t tokensOf(std::string_view text) {
    return static_cast<std::int64_t>(text.size() + 3) / 4;
}

std::int64_t tokensOfMessages(const JSONValue& messages) {
    std::int64_t tokens = 0;
    for (const JSONValue& message : *messages.items())
        tokens += tokensOf(textAt(message, "content"));
    return tokens;
}

} // namespace

Response Relay::failure(int status, std::string_view message) {
    return {.status = status,
            .contentType = "application/json",
            .body = encodeJSON(JSONValue::object({{"error", JSONValue::object({{"message", message}})}}))};
}

bool Relay::isSigned(const Request& request, const RelayClocks& clocks) const {
    const std::string stamp = request.header("X-Timestamp").value_or("");
    std::int64_t seconds = 0;
    const auto [end, problem] = std::from_chars(stamp.data(), stamp.data() + stamp.size(), seconds);
    if (problem != std::errc() || end != stamp.data() + stamp.size() || std::to_string(seconds) != stamp)
        return false;
    const auto isNear = [&](Date date) {
        return std::fabs(secondsSince1970(date) - static_cast<double>(seconds)) <= tolerance;
    };
    return (isNear(clocks.real) || isNear(clocks.simulated)) && request.header("X-Bundle-ID") == bundleID &&
           request.header("X-App-Token") == signature(secret_, std::string(bundleID) + ":" + stamp);
}

Response Relay::handle(const Request& request, const RelayClocks& clocks, Delivery delivery) {
    const std::string_view path = std::string_view(request.path).substr(relayPrefix.size());
    if (path == "fx" && request.method == "GET") return exchangeRates(clocks.simulated);
    if (path != "v1/chat/completions") return failure(404, "There is no such path.");
    if (request.method != "POST") return failure(405, "Only POST is possible here.");
    if (!isSigned(request, clocks)) return failure(401, "The token does not fit.");
    if (request.header("Content-Type") != "application/json" ||
        request.header("Accept") != "application/json")
        return failure(415, "Only JSON is spoken here.");
    try {
        return complete(request, clocks.simulated, delivery);
    } catch (const BadRequest& problem) {
        return failure(400, problem.what());
    } catch (const JSONError& problem) {
        return failure(400, problem.what());
    }
}

Response Relay::complete(const Request& request, Date now, Delivery delivery) {
    const auto body = decodeJSON<JSONValue>(request.body);
    const ModelPrompt prompt = promptFrom(body);
    const std::lock_guard lock(mutex_);
    const auto [content, finishReason] = model_.answer(prompt);
    const std::int64_t asked = tokensOfMessages(*body.find("messages"));
    const std::int64_t answered = tokensOf(content);
    charge(request, asked, answered, delivery);
    const auto message = JSONValue::object({{"role", "assistant"}, {"content", content}});
    JSONValue::Array choices = {
        JSONValue::object({{"index", 0}, {"message", message}, {"finish_reason", finishReason}})};
    return {.contentType = "application/json",
            .body = encodeJSON(
                JSONValue::object({{"id", fmt::format("chatcmpl-{}", account_.calls + account_.lostCalls)},
                                   {"object", "chat.completion"},
                                   {"created", static_cast<std::int64_t>(secondsSince1970(now))},
                                   {"model", textAt(body, "model")},
                                   {"choices", JSONValue(std::move(choices))},
                                   {"usage", JSONValue::object({{"prompt_tokens", asked},
                                                                {"completion_tokens", answered},
                                                                {"total_tokens", asked + answered}})}}))};
}

void Relay::charge(const Request& request, std::int64_t promptTokens, std::int64_t completionTokens,
                   Delivery delivery) {
    if (delivery == Delivery::lost) {
        ++account_.lostCalls;
        return;
    }
    ++account_.calls;
    account_.promptTokens += promptTokens;
    account_.completionTokens += completionTokens;
    if (!delivered_.insert(sha256Hex(request.body)).second) ++account_.repeatedCalls;
}

void Relay::setManner(ModelManner manner) {
    constexpr std::array<std::string_view, 5> wrappings = {"none", "fence", "prose", "proseAndFence",
                                                           "quotes"};
    if (std::ranges::find(wrappings, manner.wrapping) == wrappings.end())
        throw std::invalid_argument(fmt::format("The wrapping \"{}\" is unknown: it must be one of {}.",
                                                manner.wrapping, fmt::join(wrappings, ", ")));
    for (const std::string& name : manner.script)
        if (!RelayModel::knows(name))
            throw std::invalid_argument(fmt::format("The scripted answer \"{}\" is unknown.", name));
    const std::lock_guard lock(mutex_);
    model_.setManner(std::move(manner));
}

RelayAccount Relay::account() const {
    const std::lock_guard lock(mutex_);
    return account_;
}

} // namespace quorvel::sandbox
