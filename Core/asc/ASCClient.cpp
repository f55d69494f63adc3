#include "Core/asc/ASCClient.h"

#include "Core/asc/ASCError.h"
#include "Platform/http/URLRules.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace quorvel {

namespace {

// Send the key's token only to the API's own server. Plain http addresses are all on this machine.
bool mayCarryToken(std::string_view link, std::string_view baseURL) {
    if (problemOfURL(link)) return false;
    const auto isPlain = [](std::string_view url) { return url.starts_with("http://"); };
    return haveSameOrigin(link, baseURL) || (isPlain(link) && isPlain(baseURL));
}

std::optional<std::string> asText(std::string body) {
    if (!isValidUTF8(body)) return std::nullopt;
    return body;
}

} // namespace

std::string ascPath(std::string_view collection, std::string_view id, std::string_view rest) {
    std::string path = fmt::format("v1/{}/", collection);
    appendPercentEncoded(path, id, Slash::encode);
    if (!rest.empty()) path.append("/").append(rest);
    return path;
}

void throwDecodingFailed(const JSONError& error, std::string_view body) {
    const bool isMarkup = trim(body.substr(0, 1024)).starts_with('<');
    throw ASCError(ASCError::DecodingFailed{
        isMarkup
            ? "a web page came instead of JSON; a proxy or a sign-in page of this network may be in the way"
            : escapeControls(error.what())});
}

ASCClient::ASCClient(Parts parts) : parts_(std::move(parts)) {
    if (!parts_.sleepFor) parts_.sleepFor = quorvel::sleepFor;
    while (parts_.baseURL.ends_with('/'))
        parts_.baseURL.pop_back();
}

std::string ASCClient::urlOf(const ASCRequest& request) const {
    if (request.absoluteURL) {
        if (!mayCarryToken(*request.absoluteURL, parts_.baseURL))
            throw ASCError(ASCError::DecodingFailed{"the link to the next page leads to another server"});
        return *request.absoluteURL;
    }
    std::string url = parts_.baseURL + "/" + request.path;
    char separator = '?';
    for (const auto& [name, value] : request.query) {
        url.push_back(std::exchange(separator, '&'));
        appendPercentEncoded(url, name, Slash::encode);
        url.push_back('=');
        appendPercentEncoded(url, value, Slash::keep);
    }
    return url;
}

bool ASCClient::mayWait(std::optional<double> seconds) const {
    return !seconds || !parts_.mayWait || parts_.mayWait(*seconds);
}

void ASCClient::awaitQuota() const {
    const double delay = parts_.quota->reserveDelay();
    if (delay <= 0) return;
    if (!mayWait(delay)) {
        const auto limit = parts_.quota->last();
        throw ASCError(ASCError::RateLimited{std::max(delay, limit ? recoveryOf(*limit) : 0)});
    }
    logger_.warning(fmt::format("The key's quota runs low: waiting {:.1f}s before the next request", delay));
    parts_.sleepFor(delay);
}

HTTPResponse ASCClient::sendOnce(const ASCRequest& request, const std::string& url) const {
    const ASCQuota::Place place(*parts_.quota);
    awaitQuota();
    HTTPRequest http{.method = request.method,
                     .url = url,
                     .repetition = request.repetition,
                     .maximumBodyBytes = request.maximumAnswerBytes};
    http.headers = {{"Authorization", "Bearer " + parts_.tokens->token()}, {"Accept", request.accept}};
    if (request.body) {
        http.headers.push_back({"Content-Type", "application/json"});
        http.body = *request.body;
    }
    try {
        return parts_.http->send(http);
    } catch (const CancellationError&) {
        throw;
    } catch (const TransportError& error) {
        if (error.kind() == TransportError::Kind::notHTTP) throw ASCError(ASCError::InvalidResponse{});
        throw ASCError(ASCError::NetworkFailure{error.what()});
    } catch (const std::exception& error) {
        throw ASCError(ASCError::NetworkFailure{error.what()});
    }
}

void ASCClient::learnFrom(const HTTPResponse& response) const {
    if (const auto header = response.header("X-Rate-Limit"))
        if (const auto limit = parseRateLimit(*header)) parts_.quota->note(*limit);
    if (const auto header = response.header("Date"))
        if (const auto date = parseHTTPDate(*header)) parts_.tokens->noteServerDate(*date);
}

void ASCClient::waitBeforeRetry(int status, double delay, int attempt) const {
    logger_.warning(fmt::format("ASC {} — retrying in {:.1f}s (attempt {} of {})", status, delay, attempt,
                                parts_.maxRetries));
    parts_.sleepFor(delay);
}

std::string ASCClient::exchange(const ASCRequest& request) const {
    const std::string url = urlOf(request);
    logger_.debug(fmt::format("{} {}", request.method,
                              request.absoluteURL ? url.substr(0, url.find('?')) : request.path));
    for (int attempt = 1;; ++attempt) {
        checkCancellation();
        HTTPResponse response = sendOnce(request, url);
        // Forget the token before the answer's Date is read, so that the clock's correction starts anew.
        if (response.status == 401) parts_.tokens->invalidate();
        learnFrom(response);
        const int status = response.status;
        if (status >= 200 && status <= 299) return std::move(response.body);
        if (status == 429) {
            const auto header = response.header("Retry-After");
            const auto retryAfter = header ? parseRetryAfter(*header) : std::nullopt;
            if (parts_.maxRetries < attempt || !mayWait(retryAfter))
                throw ASCError(ASCError::RateLimited{retryAfter});
            waitBeforeRetry(status, retryAfter ? *retryAfter : parts_.backoff(attempt), attempt);
            continue;
        }
        if (status == 401) throw ASCError(ASCError::APIErrors{decodeErrorDocument(response.body)});
        if (status >= 500 && status <= 599) {
            if (parts_.maxRetries < attempt)
                throw ASCError(ASCError::HTTPStatus{status, asText(std::move(response.body))});
            waitBeforeRetry(status, parts_.backoff(attempt), attempt);
            continue;
        }
        if (auto errors = decodeErrorDocument(response.body); !errors.empty())
            throw ASCError(ASCError::APIErrors{std::move(errors)});
        throw ASCError(ASCError::HTTPStatus{status, asText(std::move(response.body))});
    }
}

} // namespace quorvel
