// How a command ends some of whose items failed.
#pragma once

#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/ExitStatus.h"
#include "Programs/quorvel/Output.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace quorvel {

struct PartEnd {
    std::size_t succeeded = 0;
    std::vector<ExitStatus> failures;

    /// Done, partly done, or what all failures share.
    [[nodiscard]] ExitStatus status() const {
        if (failures.empty()) return ExitStatus::done;
        if (succeeded > 0) return ExitStatus::partlyDone;
        const bool same = std::ranges::all_of(failures, [&](ExitStatus one) { return one == failures[0]; });
        return same ? failures[0] : ExitStatus::failed;
    }
    PartEnd& operator+=(const PartEnd& other) {
        succeeded += other.succeeded;
        failures.insert(failures.end(), other.failures.begin(), other.failures.end());
        return *this;
    }
};

/// Warns of each outcome with a `failure`, after what `name` calls it.
template <typename Outcomes, typename Name>
PartEnd tellFailures(Output& output, const Outcomes& outcomes, Name&& name) {
    PartEnd end;
    for (const auto& outcome : outcomes) {
        if (!outcome.failure) {
            ++end.succeeded;
            continue;
        }
        const ErrorReport report = reportOf(*outcome.failure);
        output.warning(fmt::format("{}: {}", name(outcome), report.text));
        end.failures.push_back(report.status);
    }
    return end;
}

} // namespace quorvel
