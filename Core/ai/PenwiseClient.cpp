#include "Core/ai/PenwiseClient.h"

#include "Core/ai/ClaudeError.h"
#include "Core/ai/PenwiseWire.h"
#include "Core/asc/ASCRateLimit.h"
#include "Platform/crypto/Digest.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

constexpr std::size_t longestMessage = 300; // grapheme clusters

std::string encodeBody(const ClaudeRequest& request) {
    WireRequest wire{.model = request.model,
                     .temperature = request.temperature.value_or(PenwiseConfig::defaultTemperature),
                     .max_tokens = std::max(request.maxTokens, PenwiseClient::minOutputTokens)};
    if (request.system && !request.system->empty()) wire.messages.push_back({"system", *request.system});
    for (const ClaudeRequest::Message& message : request.messages)
        wire.messages.push_back({message.role, message.content});
    if (request.responseFormat) wire.response_format = {*request.responseFormat};
    return encodeJSON(wire);
}

std::string wholeSecondsSince1970(Date date) {
    return std::to_string(static_cast<std::int64_t>(secondsSince1970(date)));
}

std::optional<std::string> shown(const std::optional<std::string>& message) {
    if (!message || isBlank(*message)) return std::nullopt;
    const std::string_view text = trim(*message);
    const std::string_view shortened = graphemePrefix(text, longestMessage);
    return escapeControls(shortened) + (shortened.size() < text.size() ? "…" : "");
}

// The message inside "error" tells more than the one beside it.
std::optional<std::string> messageOf(const std::string& body) {
    try {
        const auto envelope = decodeJSON<WireErrorEnvelope>(body);
        const auto inner = envelope.error ? shown(envelope.error->message) : std::nullopt;
        return inner ? inner : shown(envelope.message);
    } catch (const JSONError&) {
        return std::nullopt;
    }
}

std::optional<double> retryAfterOf(const HTTPResponse& response) {
    const auto header = response.header("Retry-After");
    return header ? parseRetryAfter(*header) : std::nullopt;
}

[[noreturn]] void throwRefusal(const HTTPResponse& response) {
    const int status = response.status;
    const auto message = messageOf(response.body);
    if (status == 401 || status == 403)
        throw ClaudeError(ClaudeError::Unauthorized{
            message.value_or(fmt::format("the relay did not accept the request's signature ({}). "
                                         "Check the signing secret and this machine's clock.",
                                         status))});
    if (status == 429) throw ClaudeError(ClaudeError::RateLimited{retryAfterOf(response)});
    if (status >= 500 && status <= 599) throw ClaudeError(ClaudeError::ServerError{status, message});
    throw ClaudeError(ClaudeError::APIError{status, message.value_or("Penwise proxy error")});
}

} // namespace

std::string makeAppToken(std::string_view bundleID, std::string_view timestamp,
                         const ObfuscatedString& sharedSecret) {
    std::string secret = sharedSecret.reveal();
    const SHA256Digest digest = hmacSHA256(secret, fmt::format("{}:{}", bundleID, timestamp));
    std::ranges::fill(secret, '\0');
    return hex({reinterpret_cast<const char*>(digest.data()), digest.size()});
}

PenwiseClient::PenwiseClient(Parts parts) : parts_(std::move(parts)) {
    if (!parts_.sleepFor) parts_.sleepFor = quorvel::sleepFor;
    while (parts_.relay.proxyURL.ends_with('/'))
        parts_.relay.proxyURL.pop_back();
}

HTTPResponse PenwiseClient::sendOnce(const std::string& body) const {
    const std::string timestamp = wholeSecondsSince1970(parts_.clock());
    const HTTPRequest request{
        .method = "POST",
        .url = parts_.relay.proxyURL + "/v1/chat/completions",
        .headers = {{"Content-Type", "application/json"},
                    {"Accept", "application/json"},
                    {"X-Bundle-ID", parts_.bundleID},
                    {"X-Timestamp", timestamp},
                    {"X-App-Token", makeAppToken(parts_.bundleID, timestamp, parts_.relay.sharedSecret)}},
        .body = body,
        .timeout = std::chrono::seconds(60)};
    try {
        return parts_.http->send(request);
    } catch (const CancellationError&) {
        throw;
    } catch (const TransportError& error) {
        const bool isHTTP = error.kind() != TransportError::Kind::notHTTP;
        throw ClaudeError(
            ClaudeError::Network{isHTTP ? error.what() : "something answered that is no HTTP server"});
    } catch (const std::exception& error) {
        throw ClaudeError(ClaudeError::Network{error.what()});
    }
}

void PenwiseClient::waitBeforeRetry(int status, double delay, int attempt) const {
    parts_.logger.warning(fmt::format("Penwise {} — retrying in {:.1f}s (attempt {} of {})", status, delay,
                                      attempt, parts_.maxRetries));
    parts_.sleepFor(delay);
}

ClaudeResponse PenwiseClient::send(const ClaudeRequest& request) const {
    if (parts_.relay.proxyURL.empty() || parts_.relay.sharedSecret.isEmpty())
        throw ClaudeError(ClaudeError::MissingAPIKey{});
    const std::string body = encodeBody(request);
    for (int attempt = 1;; ++attempt) {
        checkCancellation();
        const HTTPResponse response = sendOnce(body);
        const int status = response.status;
        if (status >= 200 && status <= 299) return decode(response.body, request);
        const bool mayPass = status == 429 || (status >= 500 && status <= 599);
        if (!mayPass || attempt > parts_.maxRetries) throwRefusal(response);
        const auto wanted = status == 429 ? retryAfterOf(response) : std::nullopt;
        waitBeforeRetry(status, wanted ? *wanted : parts_.backoff(attempt), attempt);
    }
}

ClaudeResponse PenwiseClient::decode(const std::string& body, const ClaudeRequest& request) const {
    WireResponse wire;
    try {
        wire = decodeJSON<WireResponse>(body);
    } catch (const JSONError& error) {
        throw ClaudeError(ClaudeError::Decoding{escapeControls(error.what())});
    }
    if (wire.choices.empty() || !wire.choices.front().message ||
        wire.choices.front().message->content.value_or("").empty())
        throw ClaudeError(ClaudeError::EmptyResponse{});
    WireResponse::Choice& first = wire.choices.front();
    const auto usage = wire.usage.value_or(WireResponse::Usage{});
    return {.id = wire.id ? *wire.id : "penwise-" + wholeSecondsSince1970(parts_.clock()),
            .type = "message",
            .model = wire.model ? *wire.model : request.model,
            .stopReason = first.finish_reason,
            .content = {{"text", std::move(first.message->content)}},
            .usage = {usage.prompt_tokens.value_or(0), usage.completion_tokens.value_or(0)}};
}

} // namespace quorvel
