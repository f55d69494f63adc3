// One moment of App Store Connect for several readers.
#pragma once

#include "Core/asc/ASCClientProtocol.h"

#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace quorvel {

/// Asks each question once and gives its answer to all who ask the same, also at once; so that readers who
/// each begin with the versions make one plan together. It only reads. Thread-safe.
class SharedReads : public ASCClientProtocol {
  public:
    explicit SharedReads(std::shared_ptr<const ASCClientProtocol> client) : client_(std::move(client)) {}

    /// Throws `std::logic_error` for a request that changes something. After a failure the next asks again.
    [[nodiscard]] std::string exchange(const ASCRequest& request) const override;

  private:
    std::shared_ptr<const ASCClientProtocol> client_;
    mutable std::mutex mutex_;
    mutable std::map<std::string, std::shared_future<std::string>> answers_; // guarded by mutex_
};

} // namespace quorvel
