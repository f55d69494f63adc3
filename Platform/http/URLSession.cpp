#include "Platform/http/URLSession.h"

#include "Platform/http/HeaderText.h"
#include "Platform/http/Transfer.h"
#include "Platform/http/TransportErrors.h"
#include "Platform/http/URLRules.h"
#include "Platform/task/Task.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <utility>

namespace quorvel {

namespace {

constexpr int mostSends = 5; // of a request that may be repeated
constexpr int mostRedirects = 5;
constexpr std::chrono::hours longestTimeout{24 * 365}; // the clock overflows beyond 292 years

bool mayBeRepeated(const HTTPRequest& request) {
    const std::string_view method = request.method;
    return request.repetition == Repetition::allowed || method == "GET" || method == "HEAD" ||
           method == "PUT" || method == "DELETE";
}

bool isToken(std::string_view text) {
    constexpr std::string_view marks = "!#$%&'*+-.^_`|~";
    return !text.empty() && std::ranges::all_of(text, [=](char character) {
        const char lower = asciiLowercased(character);
        return (lower >= 'a' && lower <= 'z') || (lower >= '0' && lower <= '9') ||
               marks.find(character) != marks.npos;
    });
}

bool isHeaderValue(std::string_view text) {
    return std::ranges::all_of(text, [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte == '\t' || (byte >= 0x20 && byte != 0x7F);
    });
}

void check(const HTTPRequest& request) {
    if (!isToken(request.method)) throw refusedMethod();
    if (const auto problem = problemOfURL(request.url)) throw refusedURL(*problem);
    for (const HTTPHeader& header : request.headers) {
        if (!isToken(header.name)) throw refusedHeaderName();
        if (!isHeaderValue(header.value)) throw refusedHeaderValue(header.name);
    }
}

bool isRedirect(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// Any other header may be a credential of the service that was asked.
bool mayGoElsewhere(std::string_view name) {
    constexpr std::array harmless = {"Accept", "Accept-Encoding", "Accept-Language", "Content-Type",
                                     "User-Agent"};
    return std::ranges::any_of(harmless, [name](const char* known) { return isSameHeaderName(name, known); });
}

HTTPRequest redirected(HTTPRequest request, int status, std::string url) {
    const bool staysHere = haveSameOrigin(request.url, url);
    std::erase_if(request.headers, [staysHere](const HTTPHeader& header) {
        return isSameHeaderName(header.name, "Authorization") || (!staysHere && !mayGoElsewhere(header.name));
    });
    const bool becomesGet =
        (status == 303 && request.method != "HEAD") || (status < 303 && request.method == "POST");
    if (becomesGet) {
        request.method = "GET";
        request.body = std::monostate();
        std::erase_if(request.headers,
                      [](const HTTPHeader& header) { return isSameHeaderName(header.name, "Content-Type"); });
    }
    request.url = std::move(url);
    return request;
}

// Where the answer leads; nothing when it does not.
std::optional<std::string> redirectTarget(const HTTPRequest& request, const HTTPResponse& response) {
    const auto location = response.header("Location");
    if (!isRedirect(response.status) || !location) return std::nullopt;
    const auto url = resolveURL(request.url, *location);
    const auto problem = url ? problemOfURL(*url) : "is not a URL";
    if (problem) throw refusedRedirect(request, *problem);
    if (isEncryptedURL(request.url) && !isEncryptedURL(*url))
        throw refusedRedirect(request, "is not encrypted, as the request was");
    return url;
}

} // namespace

struct URLSession::Implementation {
    explicit Implementation(Options options) : handles(std::move(options)) {}
    ~Implementation();
    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;

    HTTPResponse exchange(const HTTPRequest& request, const std::optional<DownloadTarget>& target);
    HTTPResponse sendOnce(const HTTPRequest& request, const std::optional<DownloadTarget>& target,
                          Transfer::Deadline deadline);

    // Callers who still use the session; its destructor waits for them.
    class Visit {
      public:
        explicit Visit(Implementation& session) : session_(session) {
            const std::scoped_lock lock(session_.mutex);
            ++session_.callers;
        }
        ~Visit() {
            const std::scoped_lock lock(session_.mutex);
            if (--session_.callers == 0) session_.callerLeft.notify_all();
        }
        Visit(const Visit&) = delete;
        Visit& operator=(const Visit&) = delete;

      private:
        Implementation& session_;
    };

    std::stop_source closing;
    HandlePool handles;
    std::mutex mutex;
    std::condition_variable callerLeft;
    int callers = 0;
};

URLSession::URLSession() : URLSession(Options()) {}
URLSession::URLSession(Options options)
    : implementation_(std::make_unique<Implementation>(std::move(options))) {}
URLSession::~URLSession() = default;

HTTPResponse URLSession::send(const HTTPRequest& request) {
    return implementation_->exchange(request, std::nullopt);
}

HTTPResponse URLSession::download(const HTTPRequest& request, const std::filesystem::path& file,
                                  const TransferProgress& progress) {
    return implementation_->exchange(request, DownloadTarget{file, progress});
}

URLSession::Implementation::~Implementation() {
    closing.request_stop();
    std::unique_lock lock(mutex);
    callerLeft.wait(lock, [this] { return callers == 0; });
}

HTTPResponse URLSession::Implementation::exchange(const HTTPRequest& request,
                                                  const std::optional<DownloadTarget>& target) {
    check(request);
    const Visit visit(*this);
    const auto deadline = std::chrono::steady_clock::now() +
                          std::min<std::chrono::milliseconds>(request.timeout, longestTimeout);
    HTTPResponse response = sendOnce(request, target, deadline);
    if (request.redirects == RedirectPolicy::refuse) return response;
    HTTPRequest next;
    const HTTPRequest* current = &request;
    for (int count = 0;; ++count) {
        auto url = redirectTarget(*current, response);
        if (!url) return response;
        if (count == mostRedirects) throw tooManyRedirects(request, mostRedirects);
        next = redirected(*current, response.status, std::move(*url));
        current = &next;
        response = sendOnce(next, target, deadline);
    }
}

HTTPResponse URLSession::Implementation::sendOnce(const HTTPRequest& request,
                                                  const std::optional<DownloadTarget>& target,
                                                  Transfer::Deadline deadline) {
    int sendsLeft = mayBeRepeated(request) ? mostSends : 1;
    while (true) {
        checkCancellation();
        if (std::chrono::steady_clock::now() >= deadline) throw timedOut(request);
        Transfer transfer(request, handles, target, sendsLeft);
        transfer.run(deadline, currentStopToken(), closing.get_token());
        if (!transfer.mayBeSentAgain()) return transfer.takeResponse();
        sendsLeft = transfer.sendsLeft();
    }
}

} // namespace quorvel
