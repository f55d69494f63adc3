// What libcurl calls while a transfer runs, on the thread of its caller.
#include "Platform/http/HeaderText.h"
#include "Platform/http/Transfer.h"
#include "Platform/http/TransportErrors.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <charconv>

namespace quorvel {

namespace {

constexpr std::uint64_t maximumHeaderBytes = 256 << 10;
constexpr std::uint64_t largestReservation = 16 << 20; // a Content-Length is only a claim

int statusOf(std::string_view line) {
    int status = 0;
    const auto blank = line.find(' ');
    if (blank != std::string_view::npos)
        std::from_chars(line.data() + blank + 1, line.data() + line.size(), status);
    return status;
}

} // namespace

template <typename Function>
bool Transfer::guarded(Function&& function) noexcept {
    try {
        function();
        return true;
    } catch (...) {
        failure_ = std::current_exception();
        return false;
    }
}

void Transfer::receiveHeaderLine(std::string_view line) {
    headerBytes_ += line.size();
    if (headerBytes_ > maximumHeaderBytes) throw headerTooLarge(request_, maximumHeaderBytes);
    if (headerComplete_) return; // a trailer
    if (line.starts_with("HTTP/")) {
        response_.status = statusOf(line);
        response_.headers.clear();
        return;
    }
    const std::string_view text = trim(line);
    if (text.empty()) {
        headerComplete_ = response_.status >= 200; // else the final one is still to come
        return;
    }
    const auto colon = text.find(':');
    if (colon == std::string_view::npos || text.data() != line.data()) return;
    response_.headers.push_back(
        {std::string(text.substr(0, colon)), std::string(trim(text.substr(colon + 1)))});
}

void Transfer::beginBody() {
    bodyBegan_ = true;
    curl_off_t length = -1;
    curl_easy_getinfo(handle(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    // Of an encoded body the length says nothing about what comes out.
    if (length > 0 && !response_.header("Content-Encoding")) bodyTotal_ = static_cast<std::uint64_t>(length);
    if (target_ && response_.status / 100 == 2) {
        file_ = std::make_unique<DownloadFile>(target_->file);
        return;
    }
    if (bodyTotal_ > maximumBodyBytes_) throw bodyTooLarge(request_, maximumBodyBytes_);
    response_.body.reserve(std::min(bodyTotal_, largestReservation));
}

void Transfer::receiveBody(std::string_view bytes) {
    if (!bodyBegan_) beginBody();
    bodyBytes_ += bytes.size();
    if (file_) {
        file_->write(bytes);
        if (target_->progress) target_->progress(bodyBytes_, bodyTotal_);
        return;
    }
    if (bodyBytes_ > maximumBodyBytes_) throw bodyTooLarge(request_, maximumBodyBytes_);
    response_.body.append(bytes);
}

void Transfer::finishReceiving() {
    static_cast<void>(guarded([this] {
        if (request_.uploadProgress) reportUpload(source_.size());
        const bool isEmptyFile = !bodyBegan_ && target_ && response_.status / 100 == 2;
        if (isEmptyFile) beginBody();
    }));
}

void Transfer::reportUpload(std::uint64_t moved) {
    if (source_.size() == 0 || uploaded_ == moved) return;
    uploaded_ = moved;
    request_.uploadProgress(moved, source_.size());
}

// libcurl repeats a request by itself when a connection that was used before breaks, a POST too.
bool Transfer::beginSending() {
    if (sendsLeft_ == 0) return false;
    --sendsLeft_;
    wasSent_ = true;
    source_.seek(0);
    return true;
}

std::size_t Transfer::onHeader(char* data, std::size_t size, std::size_t count, void* self) {
    auto& transfer = *static_cast<Transfer*>(self);
    return transfer.guarded([&] { transfer.receiveHeaderLine({data, size * count}); }) ? size * count : 0;
}

std::size_t Transfer::onBody(char* data, std::size_t size, std::size_t count, void* self) {
    auto& transfer = *static_cast<Transfer*>(self);
    return transfer.guarded([&] { transfer.receiveBody({data, size * count}); }) ? size * count : 0;
}

std::size_t Transfer::onRead(char* buffer, std::size_t size, std::size_t count, void* self) {
    auto& transfer = *static_cast<Transfer*>(self);
    std::size_t length = 0;
    const bool read = transfer.guarded([&] { length = transfer.source_.read({buffer, size * count}); });
    return read ? length : CURL_READFUNC_ABORT;
}

int Transfer::onSeek(void* self, curl_off_t offset, int origin) {
    auto& source = static_cast<Transfer*>(self)->source_;
    if (origin != SEEK_SET || offset < 0 || static_cast<std::uint64_t>(offset) > source.size())
        return CURL_SEEKFUNC_FAIL;
    source.seek(static_cast<std::uint64_t>(offset));
    return CURL_SEEKFUNC_OK;
}

int Transfer::onSend(void* self, char*, char*, int, int) {
    return static_cast<Transfer*>(self)->beginSending() ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
}

int Transfer::onProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t uploaded) {
    auto& transfer = *static_cast<Transfer*>(self);
    return transfer.guarded([&] { transfer.reportUpload(static_cast<std::uint64_t>(uploaded)); }) ? 0 : 1;
}

} // namespace quorvel
