// libcurl's handles, which are used again: making them costs more than a small request, and they keep
// connections.
#pragma once

#include "Platform/http/CurlHandles.h"
#include "Platform/http/URLSession.h"

#include <array>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// What one transfer at a time needs. The connections that it opened stay with `multi`.
struct HandlePair {
    std::string origin; // of the last transfer
    MultiHandle multi;
    EasyHandle easy; // may be null in the pool
};

/// What all handles share: known addresses and TLS sessions, so that a new connection opens faster.
class SharedCaches {
  public:
    SharedCaches();
    SharedCaches(const SharedCaches&) = delete;
    SharedCaches& operator=(const SharedCaches&) = delete;
    [[nodiscard]] CURLSH* handle() const { return share_.get(); }

  private:
    static void lock(CURL*, curl_lock_data data, curl_lock_access, void* self);
    static void unlock(CURL*, curl_lock_data data, void* self);

    std::array<std::mutex, CURL_LOCK_DATA_LAST> mutexes_;
    ShareHandle share_;
};

/// Keeps a bounded number of idle pairs. Thread-safe.
class HandlePool {
  public:
    explicit HandlePool(URLSession::Options options);

    [[nodiscard]] const URLSession::Options& options() const { return options_; }

    /// A pair for a transfer with `origin`, preferably one that has a connection to it. Its easy handle has
    /// the options that all transfers share; any other option may still be as the last transfer set it,
    /// except for those that size libcurl's buffer for what it receives.
    [[nodiscard]] HandlePair take(std::string_view origin);

    /// A new handle, with no other options set than those.
    [[nodiscard]] EasyHandle makeEasy() const;

    /// Keeps `handles` for the next transfer; nothing that they point to is used any more.
    void giveBack(HandlePair handles);

  private:
    const URLSession::Options options_;
    SharedCaches caches_; // outlives the handles
    std::mutex mutex_;
    std::vector<HandlePair> idle_; // the one used last stands last
};

} // namespace quorvel
