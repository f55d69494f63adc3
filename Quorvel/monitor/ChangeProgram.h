// The user's own program that is run for each change.
#pragma once

#include "Quorvel/monitor/ReviewChange.h"

#include <optional>
#include <string>

namespace quorvel {

struct ChangeProgram {
    std::string executable;  // a path, or a name that is looked up in PATH; no shell is involved
    double mostSeconds = 60; // then it is ended

    /// Hands it the notice as one JSON document on standard input and waits for its end. What went wrong, as
    /// the end of a sentence; nothing when it ended with 0. Throws `CancellationError`.
    [[nodiscard]] std::optional<std::string> run(const ReviewNotice& notice) const;
};

} // namespace quorvel
