// Plans that were prepared for an assistant, under names that nobody can guess.
#pragma once

#include "Platform/json/JSONValue.h"
#include "Platform/time/Date.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// What a person reads of a plan or of what came of it.
struct JobText {
    std::string summary;
    std::vector<std::string> details;
    std::int64_t failed = 0; // of what was done
};

/// A plan that may be performed once.
struct PreparedJob {
    std::string tool;                     // that performs it
    std::string variant;                  // of that tool's jobs
    std::optional<std::string> workspace; // that was served
    JSONValue request;                    // of the preparing action
    JSONValue plan;                       // of its result
    std::string fingerprint;              // of files that the plan does not tell all of
    JobText text;
    Date expiresAt;
    std::string consent; // what an answer to the question about it has to repeat; empty: nobody was asked
};

/// A few plans at a time, each for ten minutes. Thread-safe.
class PlanHandles {
  public:
    static constexpr std::chrono::minutes lifetime{10};
    static constexpr std::size_t most = 64; // the oldest goes

    explicit PlanHandles(Clock clock) : clock_(std::move(clock)) {}

    /// Keeps a job and returns its handle; sets when it expires.
    std::string keep(PreparedJob& job);
    /// The job behind a handle. Throws `ApplicationError` for one that `tool` cannot perform: unknown,
    /// expired, used, or of another tool.
    [[nodiscard]] PreparedJob look(const std::string& handle, std::string_view tool);
    /// The same, once: the handle ends.
    [[nodiscard]] PreparedJob take(const std::string& handle, std::string_view tool);
    /// What an answer to a question about the job has to repeat, from now on.
    [[nodiscard]] std::string awaitConsent(const std::string& handle, std::string_view tool);
    void forget(const std::string& handle);

  private:
    using Jobs = std::map<std::string, PreparedJob>;
    [[nodiscard]] Jobs::iterator find(const std::string& handle, std::string_view tool);

    const Clock clock_;
    std::mutex mutex_; // guards all below
    Jobs jobs_;
};

} // namespace quorvel
