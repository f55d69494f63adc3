// App Store Connect as one command uses it: what was refused is remembered, and a dry run sends no change.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/asc/ASCError.h"
#include "Core/metadata/MetadataPusher.h"
#include "Platform/json/JSON.h"
#include "Platform/log/Log.h"

#include <memory>
#include <mutex>
#include <vector>

namespace quorvel {

/// Thrown in a dry run in place of sending a request that changes something.
struct DryRunReached {
    PlannedRequest request;
};

/// A request that a dry run shows, as --json prints it.
struct PlannedRequestRecord {
    std::string method;
    std::string path;
    JSONValue body;
    QUORVEL_RECORD(PlannedRequestRecord, method, path, body)
};
[[nodiscard]] PlannedRequestRecord recordOf(const PlannedRequest& request);

/// Thread-safe.
class CommandClient : public ASCClientProtocol {
  public:
    enum class Changes { send, rehearse };

    CommandClient(const ASCClientProtocol& inner, Changes changes) : inner_(inner), changes_(changes) {}

    [[nodiscard]] std::string exchange(const ASCRequest& request) const override;

    /// The errors of the requests that changed something, in the order in which they came back.
    [[nodiscard]] std::vector<ASCError> refusals() const;

  private:
    const ASCClientProtocol& inner_;
    Changes changes_;
    Logger logger_{"CommandClient"};
    mutable std::mutex mutex_;
    mutable std::vector<ASCError> refusals_; // guarded by mutex_
};

} // namespace quorvel
