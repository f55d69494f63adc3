#include "Platform/http/CurlHandles.h"

#include <new>
#include <utility>

namespace quorvel {

constexpr std::size_t mostIdleHandles = 16;

EasyHandle EasyHandlePool::take() {
    {
        const std::scoped_lock lock(mutex_);
        if (!idle_.empty()) {
            EasyHandle handle = std::move(idle_.back());
            idle_.pop_back();
            return handle;
        }
    }
    EasyHandle handle(curl_easy_init());
    if (!handle) throw std::bad_alloc();
    return handle;
}

void EasyHandlePool::giveBack(EasyHandle handle) {
    curl_easy_reset(handle.get());
    const std::scoped_lock lock(mutex_);
    if (idle_.size() < mostIdleHandles) idle_.push_back(std::move(handle));
}

} // namespace quorvel
