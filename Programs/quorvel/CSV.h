// Tables for spreadsheets.
#pragma once

#include <string>

namespace quorvel {

/// A cell that a spreadsheet takes for a text and nothing else.
[[nodiscard]] std::string csvCell(const std::string& text);

} // namespace quorvel
