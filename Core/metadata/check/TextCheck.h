// Checks the texts of one locale, each by itself and against the others of it.
#pragma once

#include "Core/metadata/FieldTexts.h"
#include "Core/metadata/check/CheckFinding.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// What is wrong with a text, and where.
struct TextFault {
    CheckRule rule = CheckRule::overLimit;
    std::optional<std::size_t> offset = {}; // in bytes; none: the text as a whole
    std::string text = {};
};

/// A line and a column, both from 1; the column in characters as people count them.
struct TextPlace {
    std::int64_t line = 1;
    std::int64_t column = 1;
    bool operator==(const TextPlace&) const = default;
};
[[nodiscard]] TextPlace placeOf(std::string_view text, std::size_t offset);

/// The faults of the text of `field`, `beside` being all texts of its locale and `copy` what App Store
/// Connect held at the last pull; none of a blank text.
[[nodiscard]] std::vector<TextFault> faultsOf(std::string_view text, FieldType field,
                                              const FieldTexts& beside, std::string_view copy = {});

} // namespace quorvel
