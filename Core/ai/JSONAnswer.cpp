#include "Core/ai/JSONAnswer.h"

namespace quorvel {

std::optional<std::string_view> objectIn(std::string_view answer) {
    const std::size_t open = answer.find('{');
    if (open == std::string_view::npos) return std::nullopt;
    std::size_t depth = 0;
    bool isInString = false;
    for (std::size_t at = open; at < answer.size(); ++at) {
        const char sign = answer[at];
        if (isInString && sign == '\\')
            ++at; // and what it escapes
        else if (sign == '"')
            isInString = !isInString;
        else if (!isInString && sign == '{')
            ++depth;
        else if (!isInString && sign == '}' && --depth == 0)
            return answer.substr(open, at + 1 - open);
    }
    return std::nullopt;
}

} // namespace quorvel
