#include "Platform/http/HandlePool.h"

#include <utility>

namespace quorvel {

namespace {

constexpr std::size_t mostFree = 16;
constexpr long connectTimeoutMilliseconds = 30'000;

} // namespace

HandlePool::HandlePool(std::filesystem::path certificateFile) : certificateFile_(std::move(certificateFile)) {
    free_.reserve(mostFree);
}

EasyHandle HandlePool::take() {
    {
        const std::scoped_lock lock(mutex_);
        if (!free_.empty()) {
            EasyHandle handle = std::move(free_.back());
            free_.pop_back();
            return handle;
        }
    }
    return make();
}

EasyHandle HandlePool::make() const {
    EasyHandle owner(curl_easy_init());
    if (!owner) throw std::bad_alloc();
    CURL* handle = owner.get();
    setOption(handle, CURLOPT_PROTOCOLS_STR, "https,http");
    setOption(handle, CURLOPT_NOSIGNAL, 1L);
    setOption(handle, CURLOPT_TCP_KEEPALIVE, 1L);
    // Otherwise an ended transfer waits for a name that is still being resolved, and all others with it.
    setOption(handle, CURLOPT_QUICK_EXIT, 1L);
    // The deadline of the whole transfer is kept by the loop: libcurl forgets it for transfers that wait for
    // a connection.
    setOption(handle, CURLOPT_CONNECTTIMEOUT_MS, connectTimeoutMilliseconds);
    setOption(handle, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    if (!certificateFile_.empty()) {
        setOption(handle, CURLOPT_CAINFO, certificateFile_.c_str());
        setOption(handle, CURLOPT_CAPATH, static_cast<char*>(nullptr));
    }
    return owner;
}

void HandlePool::giveBack(EasyHandle handle) {
    curl_easy_setopt(handle.get(), CURLOPT_ERRORBUFFER, static_cast<char*>(nullptr));
    curl_easy_setopt(handle.get(), CURLOPT_HTTPHEADER, static_cast<curl_slist*>(nullptr));
    const std::scoped_lock lock(mutex_);
    if (free_.size() < mostFree) free_.push_back(std::move(handle));
}

} // namespace quorvel
