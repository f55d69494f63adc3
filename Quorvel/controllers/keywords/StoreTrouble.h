// When asking the public store on makes no sense; for the sources of this folder.
#pragma once

#include "Core/aso/ASOError.h"
#include "Platform/http/HTTPMessage.h"

#include <exception>

namespace quorvel {

/// Counts requests in a row that the store refused because of their number, or that found no answer: others
/// will fare the same.
class StoreTrouble {
  public:
    static constexpr int most = 3;

    /// Notes how a request ended; null for one that was answered.
    void note(const std::exception_ptr& failure);
    [[nodiscard]] bool isHopeless() const { return inARow_ >= most; }

  private:
    int inARow_ = 0;
};

/// What `work` throws of the store's errors, `ASOError` and `TransportError`; null when it throws none. Other
/// errors pass.
template <typename Work>
[[nodiscard]] std::exception_ptr storeFailureOf(Work&& work) {
    try {
        work();
    } catch (const ASOError&) {
        return std::current_exception();
    } catch (const TransportError&) {
        return std::current_exception();
    }
    return nullptr;
}

} // namespace quorvel
