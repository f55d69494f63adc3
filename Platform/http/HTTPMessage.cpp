#include "Platform/http/HTTPMessage.h"

#include "Platform/http/HeaderText.h"

namespace quorvel {

std::optional<std::string_view> HTTPResponse::header(std::string_view name) const {
    for (const HTTPHeader& header : headers)
        if (isSameHeaderName(header.name, name)) return header.value;
    return std::nullopt;
}

} // namespace quorvel
