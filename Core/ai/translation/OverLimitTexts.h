// What is said of texts that had to be cut.
#pragma once

#include "Core/metadata/FieldType.h"

#include <cstddef>
#include <string>

namespace quorvel {

/// A text that was brought under its limit; lengths in user-perceived characters.
struct CutText {
    enum class From { retries, firstAnswer, cache };
    enum class At { wordBoundary, insideWord };

    FieldType field = FieldType::name;
    std::size_t limit = 0;
    std::size_t before = 0;
    std::size_t after = 0;
    From from = From::retries;
    At at = At::wordBoundary;
};

/// For users: that it was over the limit, how far it was cut, and that it wants a look.
[[nodiscard]] std::string warningFor(const CutText& cut);

} // namespace quorvel
