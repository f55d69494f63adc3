#include "Platform/text/Markup.h"

namespace quorvel {

std::string escapedMarkup(std::string_view text) {
    std::string escaped;
    for (const char character : text) {
        if (character == '&')
            escaped += "&amp;";
        else if (character == '<')
            escaped += "&lt;";
        else if (character == '>')
            escaped += "&gt;";
        else
            escaped += character;
    }
    return escaped;
}

} // namespace quorvel
