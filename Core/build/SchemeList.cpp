#include "Core/build/SchemeList.h"

#include "Platform/text/Text.h"

namespace quorvel {

std::vector<std::string> schemesIn(std::string_view listing) {
    std::vector<std::string> schemes;
    bool isAmongSchemes = false;
    while (!listing.empty()) {
        const auto end = listing.find('\n');
        const std::string_view line = trim(listing.substr(0, end));
        listing.remove_prefix(end == std::string_view::npos ? listing.size() : end + 1);
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
