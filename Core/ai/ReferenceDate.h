// Points in time as the AI cache and ledger store them.
#pragma once

#include "Platform/time/Date.h"

namespace quorvel {

/// The start of 2001 in UTC, in seconds since 1970.
inline constexpr double startOf2001 = 978'307'200;

[[nodiscard]] inline double secondsSince2001(Date date) {
    return secondsSince1970(date) - startOf2001;
}
[[nodiscard]] inline Date dateFromSecondsSince2001(double seconds) {
    return dateFromSecondsSince1970(seconds + startOf2001);
}

} // namespace quorvel
