// Checks the fields of the page against each other.
#pragma once

#include "Core/metadata/FieldTexts.h"
#include "Core/metadata/check/CheckFinding.h"
#include "Platform/time/Date.h"

#include <optional>
#include <string>
#include <vector>

namespace quorvel {

struct PageFault {
    CheckSeverity severity = CheckSeverity::error;
    CheckRule rule = CheckRule::contradiction;
    FieldType field = FieldType::releaseType;
    std::string text; // what is wrong and what to do
};

/// What does not go together in the page's fields: each by its local text, or by its copy where that is blank
/// or missing. `wasPulled` says that a field without a copy has no value on App Store Connect; `now` tells
/// the dates that are past. What the copies hold together was taken and is no fault.
[[nodiscard]] std::vector<PageFault> faultsBetween(const FieldTexts& local, const FieldTexts& pulled,
                                                   bool wasPulled, std::optional<Date> now = {});

} // namespace quorvel
