#include "Platform/http/Transfer.h"

#include "Platform/http/HeaderText.h"
#include "Platform/http/TransportErrors.h"
#include "Platform/http/URLRules.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <new>
#include <stdexcept>
#include <utility>

namespace quorvel {

namespace {

constexpr long downloadBufferBytes = 128 << 10;
constexpr long uploadBufferBytes = 256 << 10;

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

Transfer::Transfer(const HTTPRequest& request, HandlePool& pool, const std::optional<DownloadTarget>& target,
                   int sendsLeft)
    : request_(request),
      maximumBodyBytes_(request.maximumBodyBytes.value_or(pool.options().maximumBodyBytes)),
      target_(target),
      pool_(pool),
      handles_(pool.take(originOf(request.url))),
      source_(request),
      sendsLeft_(sendsLeft) {
    if (target) handles_.easy = pool.makeEasy(); // with a buffer of another size
    setUpConnection();
    setUpRequest();
    setUpCallbacks();
}

Transfer::~Transfer() {
    const bool isReusable = ending_ == Ending::finished && code_ == CURLE_OK;
    if (!isReusable) return;
    if (target_) handles_.easy.reset();
    pool_.giveBack(std::move(handles_));
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
    if (ending_ != Ending::finished || failure_ || !wasSent_ || sendsLeft_ == 0) return false;
    switch (code_) {
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
    case CURLE_PARTIAL_FILE:
    case CURLE_UNSUPPORTED_PROTOCOL: // no status line
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
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
        curl_easy_getinfo(handle(), CURLINFO_OS_ERRNO, &errorNumber);
        long proxyStatus = 0;
        curl_easy_getinfo(handle(), CURLINFO_HTTP_CONNECTCODE, &proxyStatus);
        throw transferFailed(request_,
                             {.code = code_,
                              .errorNumber = static_cast<int>(errorNumber),
                              .proxyStatus = static_cast<int>(proxyStatus),
                              .wasSent = wasSent_,
                              .detail = curlText_[0] != 0 ? curlText_.data() : curl_easy_strerror(code_)});
    }
    if (file) file->commit();
    return std::move(response_);
}

// The handle may have been used before: what one transfer sets, each of them must set.
void Transfer::setUpConnection() {
    CURL* handle = this->handle();
    const bool isEncrypted = isEncryptedURL(request_.url);
    setOption(handle, CURLOPT_URL, request_.url.c_str());
    setOption(handle, CURLOPT_HTTP_VERSION,
              long(isEncrypted ? CURL_HTTP_VERSION_2TLS : CURL_HTTP_VERSION_1_1));
    // Plain http is accepted for loopback hosts only.
    const bool isLoopback = !isEncrypted || isLoopbackURL(request_.url);
    const std::string& proxy = pool_.options().proxy;
    setOption(handle, CURLOPT_PROXY,
              isLoopback      ? ""
              : proxy.empty() ? nullptr // that of the environment
                              : proxy.c_str());
}

void Transfer::setUpRequest() {
    CURL* handle = this->handle();
    const bool isHead = request_.method == "HEAD";
    setOption(handle, CURLOPT_HTTPGET, 1L); // takes NOBODY and UPLOAD back
    setOption(handle, CURLOPT_CUSTOMREQUEST, isHead ? nullptr : request_.method.c_str());
    if (isHead) {
        setOption(handle, CURLOPT_NOBODY, 1L);
    } else if (source_.size() > 0) {
        setOption(handle, CURLOPT_UPLOAD, 1L);
        setOption(handle, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(source_.size()));
        setOption(handle, CURLOPT_UPLOAD_BUFFERSIZE, uploadBufferBytes);
    }
    // Who asks for an encoding by name wants the bytes as they were encoded.
    setOption(handle, CURLOPT_ACCEPT_ENCODING,
              hasHeader(request_, "Accept-Encoding") ? nullptr : "gzip, deflate");
    addHeaders();
}

void Transfer::addHeaders() {
    for (const HTTPHeader& header : request_.headers) {
        if (isFramingHeader(header.name)) continue;
        // A line that ends after the colon would tell libcurl to leave the header out.
        const std::string_view value = trim(header.value);
        append(headers_, value.empty() ? header.name + ";" : header.name + ": " + std::string(value));
    }
    append(headers_, "Expect:");
    const bool takesBody =
        request_.method == "POST" || request_.method == "PUT" || request_.method == "PATCH";
    if (takesBody && source_.size() == 0) append(headers_, "Content-Length: 0");
    setOption(handle(), CURLOPT_HTTPHEADER, headers_.get());
}

void Transfer::setUpCallbacks() {
    CURL* handle = this->handle();
    setOption(handle, CURLOPT_ERRORBUFFER, curlText_.data());
    // An answer for memory is small as a rule; allocating more than libcurl's default would cost more.
    if (target_) setOption(handle, CURLOPT_BUFFERSIZE, downloadBufferBytes);
    setOption(handle, CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
    setOption(handle, CURLOPT_HEADERDATA, this);
    setOption(handle, CURLOPT_WRITEFUNCTION, &Transfer::onBody);
    setOption(handle, CURLOPT_WRITEDATA, this);
    setOption(handle, CURLOPT_READFUNCTION, &Transfer::onRead);
    setOption(handle, CURLOPT_READDATA, this);
    setOption(handle, CURLOPT_SEEKFUNCTION, &Transfer::onSeek);
    setOption(handle, CURLOPT_SEEKDATA, this);
    setOption(handle, CURLOPT_PREREQFUNCTION, &Transfer::onSend);
    setOption(handle, CURLOPT_PREREQDATA, this);
    setOption(handle, CURLOPT_NOPROGRESS, request_.uploadProgress ? 0L : 1L);
    setOption(handle, CURLOPT_XFERINFOFUNCTION, &Transfer::onProgress);
    setOption(handle, CURLOPT_XFERINFODATA, this);
}

} // namespace quorvel
