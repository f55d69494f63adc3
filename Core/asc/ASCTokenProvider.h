// One signed token shared by all requests of a key.
#pragma once

#include "Core/asc/ASCAuth.h"

#include <chrono>
#include <mutex>
#include <optional>
#include <string>

namespace quorvel {

/// Hands out the current token and signs a new one when less than a minute of it is left. Thread-safe, shared
/// by pointer; at most one signature is computed at a time.
class ASCTokenProvider {
  public:
    explicit ASCTokenProvider(ASCAuth auth, Clock clock = systemClock());

    /// The token for a request that is sent now. Throws `ASCError::JWTEncodingFailed`.
    [[nodiscard]] std::string token();

    /// Forgets the token, so that the next request signs anew.
    void invalidate();

    /// Compares an answer's Date header with this machine's clock; later tokens are signed with the corrected
    /// clock.
    void noteServerDate(Date serverDate);
    /// What is added to this machine's clock. The owner of the provider keeps it between runs.
    [[nodiscard]] std::chrono::milliseconds clockCorrection() const;
    void setClockCorrection(std::chrono::milliseconds correction);

    [[nodiscard]] const std::string& keyID() const { return auth_.keyID; }
    /// How many signatures were computed so far.
    [[nodiscard]] std::size_t signatureCount() const;

  private:
    const ASCAuth auth_;
    const Clock clock_;
    mutable std::mutex mutex_;
    std::optional<ASCAuth::Token> cached_;
    std::chrono::milliseconds correction_{0};
    std::optional<std::chrono::milliseconds> closest_; // the largest difference seen since the last refusal
    std::size_t signatureCount_ = 0;
};

} // namespace quorvel
