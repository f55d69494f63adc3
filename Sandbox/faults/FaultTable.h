// Decides which request goes wrong.
#pragma once

#include "Sandbox/SandboxServer.h"

#include <optional>
#include <random>
#include <string_view>
#include <vector>

namespace quorvel::sandbox {

/// Whether a fault's route, such as "PATCH /v1/apps/*", stands for a request. "*" is one segment of a path,
/// "**" any number of them.
[[nodiscard]] bool routeMatches(std::string_view route, std::string_view method, std::string_view path);

/// Throws `std::invalid_argument` when the fault cannot be played.
void validate(const Fault& fault);

class FaultTable {
  public:
    explicit FaultTable(std::uint64_t seed) : random_(seed) {}

    /// Replaces all faults. Throws `std::invalid_argument`.
    void set(std::vector<Fault> faults);
    void reseed(std::uint64_t seed) { random_.seed(seed); }
    [[nodiscard]] const std::vector<Fault>& faults() const { return faults_; }
    /// The fault that this request meets; the first in the list that matches and strikes.
    [[nodiscard]] std::optional<Fault> take(std::string_view method, std::string_view path);

  private:
    std::vector<Fault> faults_;
    std::mt19937_64 random_;
};

} // namespace quorvel::sandbox
