// Easy handles that are used again: making and configuring one costs as much as a small request itself.
#pragma once

#include "Platform/http/CurlHandles.h"

#include <filesystem>
#include <mutex>
#include <vector>

namespace quorvel {

/// Thread-safe.
class HandlePool {
  public:
    /// `certificateFile` as in `URLSession::Options`.
    explicit HandlePool(std::filesystem::path certificateFile);

    /// A handle with the options that all transfers share; any other option may still be as the last transfer
    /// set it, except for those that size libcurl's buffer for what it receives.
    [[nodiscard]] EasyHandle take();

    /// A new handle, with no other options set than those.
    [[nodiscard]] EasyHandle make() const;

    /// Keeps `handle` for the next transfer; nothing that it points to is used any more.
    void giveBack(EasyHandle handle);

  private:
    const std::filesystem::path certificateFile_;
    std::mutex mutex_;
    std::vector<EasyHandle> free_;
};

} // namespace quorvel
