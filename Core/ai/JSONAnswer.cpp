#include "Core/ai/JSONAnswer.h"

namespace quorvel {

std::optional<std::string_view> objectIn(std::string_view answer) {
    const std::size_t open = answer.find('{');
    const std::size_t close = answer.rfind('}');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open)
        return std::nullopt;
    return answer.substr(open, close - open + 1);
}

} // namespace quorvel
