#include "Platform/http/HandlePool.h"

#include <algorithm>
#include <utility>

namespace quorvel {

namespace {

constexpr std::size_t mostIdle = 16;
constexpr long connectionsPerPair = 2;
constexpr long connectTimeoutMilliseconds = 30'000;

ShareHandle makeShare() {
    static const CURLcode initialized = curl_global_init(CURL_GLOBAL_DEFAULT);
    ShareHandle share(initialized == CURLE_OK ? curl_share_init() : nullptr);
    if (!share) throw std::bad_alloc();
    return share;
}

MultiHandle makeMulti() {
    MultiHandle multi(curl_multi_init());
    if (!multi) throw std::bad_alloc();
    curl_multi_setopt(multi.get(), CURLMOPT_MAXCONNECTS, connectionsPerPair);
    return multi;
}

} // namespace

SharedCaches::SharedCaches() : share_(makeShare()) {
    CURLSH* share = share_.get();
    curl_share_setopt(share, CURLSHOPT_LOCKFUNC, &SharedCaches::lock);
    curl_share_setopt(share, CURLSHOPT_UNLOCKFUNC, &SharedCaches::unlock);
    curl_share_setopt(share, CURLSHOPT_USERDATA, this);
    for (const curl_lock_data data : {CURL_LOCK_DATA_DNS, CURL_LOCK_DATA_SSL_SESSION})
        curl_share_setopt(share, CURLSHOPT_SHARE, data);
}

void SharedCaches::lock(CURL*, curl_lock_data data, curl_lock_access, void* self) {
    static_cast<SharedCaches*>(self)->mutexes_.at(data).lock();
}

void SharedCaches::unlock(CURL*, curl_lock_data data, void* self) {
    static_cast<SharedCaches*>(self)->mutexes_.at(data).unlock();
}

HandlePool::HandlePool(URLSession::Options options) : options_(std::move(options)) {}

HandlePair HandlePool::take(std::string_view origin) {
    HandlePair handles;
    {
        const std::scoped_lock lock(mutex_);
        const auto last = std::find_if(idle_.rbegin(), idle_.rend(),
                                       [&](const HandlePair& each) { return each.origin == origin; });
        if (last != idle_.rend()) {
            handles = std::move(*last);
            idle_.erase(std::next(last).base());
        }
    }
    handles.origin = origin;
    if (!handles.multi) handles.multi = makeMulti();
    if (!handles.easy) handles.easy = makeEasy();
    return handles;
}

EasyHandle HandlePool::makeEasy() const {
    EasyHandle owner(curl_easy_init());
    if (!owner) throw std::bad_alloc();
    CURL* handle = owner.get();
    setOption(handle, CURLOPT_SHARE, caches_.handle());
    setOption(handle, CURLOPT_PROTOCOLS_STR, "https,http");
    setOption(handle, CURLOPT_NOSIGNAL, 1L);
    setOption(handle, CURLOPT_TCP_KEEPALIVE, 1L);
    // Otherwise a transfer that has ended waits for a name that is still being resolved.
    setOption(handle, CURLOPT_QUICK_EXIT, 1L);
    // `Transfer::run` keeps the deadline of the whole transfer.
    setOption(handle, CURLOPT_CONNECTTIMEOUT_MS, connectTimeoutMilliseconds);
    setOption(handle, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    if (!options_.certificateFile.empty())
        setOption(handle, CURLOPT_CAINFO, options_.certificateFile.c_str());
    if (!options_.certificateFolder.empty())
        setOption(handle, CURLOPT_CAPATH, options_.certificateFolder.c_str());
    if (!options_.userAgent.empty()) setOption(handle, CURLOPT_USERAGENT, options_.userAgent.c_str());
    return owner;
}

void HandlePool::giveBack(HandlePair handles) {
    if (CURL* easy = handles.easy.get()) {
        curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, static_cast<char*>(nullptr));
        curl_easy_setopt(easy, CURLOPT_HTTPHEADER, static_cast<curl_slist*>(nullptr));
    }
    HandlePair oldest; // destroyed without the lock
    const std::scoped_lock lock(mutex_);
    if (idle_.size() == mostIdle) {
        oldest = std::move(idle_.front());
        idle_.erase(idle_.begin());
    }
    idle_.push_back(std::move(handles));
}

} // namespace quorvel
