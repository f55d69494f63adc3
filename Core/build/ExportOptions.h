// The options that an archive is exported with.
#pragma once

#include <string>
#include <string_view>

namespace quorvel {

/// The export options as an XML property list of six keys; `method` is the export method.
[[nodiscard]] std::string exportOptionsPlist(std::string_view method);

} // namespace quorvel
