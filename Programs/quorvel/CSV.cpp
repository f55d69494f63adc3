#include "Programs/quorvel/CSV.h"

#include <string_view>

namespace quorvel {

std::string csvCell(const std::string& text) {
    std::string cell = text;
    if (!cell.empty() && std::string_view("=+-@\t\r").find(cell.front()) != std::string_view::npos)
        cell.insert(0, "'");
    if (cell.find_first_of("\",\r\n") == std::string::npos) return cell;
    std::string quoted = "\"";
    for (const char letter : cell)
        quoted += letter == '"' ? "\"\"" : std::string(1, letter);
    return quoted + "\"";
}

} // namespace quorvel
