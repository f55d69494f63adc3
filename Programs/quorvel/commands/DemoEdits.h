// The texts that the demo writes.
#pragma once

#include "Core/metadata/FieldType.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvel {

/// Exchanges a part of a text for another; without a part, the whole text.
struct DemoEdit {
    std::string_view locale;
    FieldType field = FieldType::name;
    std::string_view part;
    std::string_view replacement;

    [[nodiscard]] std::string apply(std::string_view text) const;
};

/// What the demo edits; one name is too long.
[[nodiscard]] std::vector<DemoEdit> demoEdits();
/// The edit that makes the long name fit.
[[nodiscard]] DemoEdit demoTrimming();

struct DemoLocale {
    std::string_view locale;
    std::vector<std::pair<FieldType, std::string_view>> texts;
};
/// The locale that the demo adds.
[[nodiscard]] DemoLocale demoLocale();

} // namespace quorvel
