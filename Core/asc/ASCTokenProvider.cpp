#include "Core/asc/ASCTokenProvider.h"

#include <cstdlib>

namespace quorvel {

namespace {
constexpr std::chrono::seconds minimumLeft{60};
// A Date header has whole seconds, so a difference below this may be rounding.
constexpr std::chrono::milliseconds smallestLag{2000};
} // namespace

ASCTokenProvider::ASCTokenProvider(ASCAuth auth, Clock clock)
    : auth_(std::move(auth)), clock_(std::move(clock)) {}

std::string ASCTokenProvider::token() {
    const std::lock_guard lock(mutex_);
    const Date now = clock_() + correction_;
    if (!cached_ || cached_->expiresAt <= now + minimumLeft) {
        cached_ = auth_.makeToken(now);
        ++signatureCount_;
    }
    return cached_->token;
}

void ASCTokenProvider::invalidate() {
    const std::lock_guard lock(mutex_);
    cached_.reset();
    closest_.reset();
}

void ASCTokenProvider::noteServerDate(Date serverDate) {
    const std::lock_guard lock(mutex_);
    const auto difference = std::chrono::duration_cast<std::chrono::milliseconds>(serverDate - clock_());
    // An answer's way makes the difference smaller, so the largest is the truest. A token from a clock that
    // is a little behind is accepted, one from a clock that is ahead is refused.
    if (closest_ && difference <= *closest_) return;
    closest_ = difference;
    correction_ = difference > std::chrono::milliseconds{0} && difference < smallestLag
                      ? std::chrono::milliseconds{0}
                      : difference;
}

std::chrono::milliseconds ASCTokenProvider::clockCorrection() const {
    const std::lock_guard lock(mutex_);
    return correction_;
}

void ASCTokenProvider::setClockCorrection(std::chrono::milliseconds correction) {
    const std::lock_guard lock(mutex_);
    correction_ = correction;
}

std::size_t ASCTokenProvider::signatureCount() const {
    const std::lock_guard lock(mutex_);
    return signatureCount_;
}

} // namespace quorvel
