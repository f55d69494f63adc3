#include "Core/build/SchemeList.h"

#include "Core/build/ToolOutput.h"

namespace quorvel {

std::vector<std::string> schemesIn(std::string_view listing) {
    std::vector<std::string> schemes;
    bool isAmongSchemes = false;
    for (const std::string_view line : linesOf(listing)) {
        if (!isAmongSchemes) {
            isAmongSchemes = line == "Schemes:";
        } else if (line.empty() || line.ends_with(':')) {
            break;
        } else {
            schemes.emplace_back(line);
        }
    }
    return schemes;
}

} // namespace quorvel
