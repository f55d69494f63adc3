// The schemes that a project offers.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// The schemes in the answer of "xcodebuild -list": the lines after "Schemes:", up to an empty line or the
/// next heading.
[[nodiscard]] std::vector<std::string> schemesIn(std::string_view listing);

} // namespace quorvel
