#include "Platform/http/Transfer.h"

#include "Platform/http/HeaderText.h"
#include "Platform/http/TransportErrors.h"
#include "Platform/http/URLRules.h"
#include "Platform/task/Task.h"

#include <new>
#include <stdexcept>
#include <utility>

namespace quorvel {

namespace {

constexpr long downloadBufferBytes = 128 << 10;
constexpr long uploadBufferBytes = 256 << 10;
constexpr long connectTimeoutMilliseconds = 30'000;

template <typename Value>
void set(CURL* handle, CURLoption option, Value value) {
    const CURLcode code = curl_easy_setopt(handle, option, value);
    if (code == CURLE_OUT_OF_MEMORY) throw std::bad_alloc();
    if (code != CURLE_OK) throw std::logic_error("libcurl lacks an option that transfers need");
}

void append(HeaderList& list, const std::string& line) {
    curl_slist* longer = curl_slist_append(list.get(), line.c_str());
    if (!longer) throw std::bad_alloc();
    static_cast<void>(list.release());
    list.reset(longer);
}

// Those that libcurl writes itself from the body's size.
bool isFramingHeader(std::string_view name) {
    return isSameHeaderName(name, "Content-Length") || isSameHeaderName(name, "Transfer-Encoding") ||
           isSameHeaderName(name, "Expect");
}

bool hasHeader(const HTTPRequest& request, std::string_view name) {
    return std::ranges::any_of(
        request.headers, [name](const HTTPHeader& header) { return isSameHeaderName(header.name, name); });
}

} // namespace

Transfer::Transfer(const HTTPRequest& request, const URLSession::Options& options,
                   const std::optional<DownloadTarget>& target, int sendsLeft)
    : request_(request),
      maximumBodyBytes_(options.maximumBodyBytes),
      target_(target),
      handle_(curl_easy_init()),
      source_(request),
      sendsLeft_(sendsLeft) {
    if (!handle_) throw std::bad_alloc();
    setUpConnection(options);
    setUpRequest();
    setUpCallbacks();
}

void Transfer::end(Ending ending, CURLcode code) {
    // libcurl takes a header that breaks off for a whole one, and over HTTP/2 one that never came for the
    // start of an answer.
    if (ending == Ending::finished && !headerComplete_ && (code == CURLE_OK || code == CURLE_PARTIAL_FILE))
        code = headerBytes_ == 0 ? CURLE_GOT_NOTHING : CURLE_PARTIAL_FILE;
    if (ending == Ending::finished && code == CURLE_OK) finishReceiving();
    ending_ = ending;
    code_ = code;
}

bool Transfer::mayBeSentAgain() const {
    if (ending_ != Ending::finished || failure_ || !wasSent_ || sendsLeft_ == 0 || headerBytes_ != 0)
        return false;
    switch (code_) {
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
        return true;
    default:
        return false;
    }
}

HTTPResponse Transfer::takeResponse() {
    const std::unique_ptr<DownloadFile> file = std::move(file_);
    if (ending_ == Ending::cancelled) throw CancellationError();
    if (ending_ == Ending::timedOut) throw timedOut(request_);
    if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
    if (code_ != CURLE_OK) {
        long errorNumber = 0;
        curl_easy_getinfo(handle_.get(), CURLINFO_OS_ERRNO, &errorNumber);
        throw transferFailed(request_,
                             {.code = code_,
                              .errorNumber = static_cast<int>(errorNumber),
                              .wasSent = wasSent_,
                              .detail = curlText_[0] != 0 ? curlText_.data() : curl_easy_strerror(code_)});
    }
    if (file) file->commit();
    return std::move(response_);
}

void Transfer::setUpConnection(const URLSession::Options& options) {
    CURL* handle = handle_.get();
    const bool isEncrypted = isEncryptedURL(request_.url);
    set(handle, CURLOPT_URL, request_.url.c_str());
    set(handle, CURLOPT_PROTOCOLS_STR, "https,http");
    set(handle, CURLOPT_HTTP_VERSION, long(isEncrypted ? CURL_HTTP_VERSION_2TLS : CURL_HTTP_VERSION_1_1));
    // Rather wait for a connection that may carry many requests than open another one.
    set(handle, CURLOPT_PIPEWAIT, isEncrypted ? 1L : 0L);
    set(handle, CURLOPT_NOSIGNAL, 1L);
    set(handle, CURLOPT_TCP_KEEPALIVE, 1L);
    // Otherwise an ended transfer waits for a name that is still being resolved, and all others with it.
    set(handle, CURLOPT_QUICK_EXIT, 1L);
    // The deadline of the whole transfer is kept by the loop: libcurl forgets it for transfers
    // that wait for a connection.
    set(handle, CURLOPT_CONNECTTIMEOUT_MS, connectTimeoutMilliseconds);
    // Plain http is accepted for loopback hosts only.
    if (!isEncrypted || isLoopbackURL(request_.url)) set(handle, CURLOPT_PROXY, "");
    if (!options.certificateFile.empty()) {
        set(handle, CURLOPT_CAINFO, options.certificateFile.c_str());
        set(handle, CURLOPT_CAPATH, static_cast<char*>(nullptr));
    }
}

void Transfer::setUpRequest() {
    CURL* handle = handle_.get();
    if (request_.method == "HEAD") {
        set(handle, CURLOPT_NOBODY, 1L);
    } else {
        if (source_.size() > 0) {
            set(handle, CURLOPT_UPLOAD, 1L);
            set(handle, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(source_.size()));
            set(handle, CURLOPT_UPLOAD_BUFFERSIZE, uploadBufferBytes);
        }
        set(handle, CURLOPT_CUSTOMREQUEST, request_.method.c_str());
    }
    // Who asks for an encoding by name wants the bytes as they were encoded.
    if (!hasHeader(request_, "Accept-Encoding")) set(handle, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
    addHeaders();
}

void Transfer::addHeaders() {
    for (const HTTPHeader& header : request_.headers) {
        if (isFramingHeader(header.name)) continue;
        // A line that ends after the colon would tell libcurl to leave the header out.
        const std::string_view value = trimBlanks(header.value);
        append(headers_, value.empty() ? header.name + ";" : header.name + ": " + std::string(value));
    }
    append(headers_, "Expect:");
    const bool takesBody =
        request_.method == "POST" || request_.method == "PUT" || request_.method == "PATCH";
    if (takesBody && source_.size() == 0) append(headers_, "Content-Length: 0");
    set(handle_.get(), CURLOPT_HTTPHEADER, headers_.get());
}

void Transfer::setUpCallbacks() {
    CURL* handle = handle_.get();
    set(handle, CURLOPT_ERRORBUFFER, curlText_.data());
    // An answer for memory is small as a rule; allocating more than libcurl's default would cost more.
    if (target_) set(handle, CURLOPT_BUFFERSIZE, downloadBufferBytes);
    set(handle, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    set(handle, CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
    set(handle, CURLOPT_HEADERDATA, this);
    set(handle, CURLOPT_WRITEFUNCTION, &Transfer::onBody);
    set(handle, CURLOPT_WRITEDATA, this);
    set(handle, CURLOPT_READFUNCTION, &Transfer::onRead);
    set(handle, CURLOPT_READDATA, this);
    set(handle, CURLOPT_SEEKFUNCTION, &Transfer::onSeek);
    set(handle, CURLOPT_SEEKDATA, this);
    set(handle, CURLOPT_PREREQFUNCTION, &Transfer::onSend);
    set(handle, CURLOPT_PREREQDATA, this);
    if (!request_.uploadProgress) return;
    set(handle, CURLOPT_NOPROGRESS, 0L);
    set(handle, CURLOPT_XFERINFOFUNCTION, &Transfer::onProgress);
    set(handle, CURLOPT_XFERINFODATA, this);
}

} // namespace quorvel
