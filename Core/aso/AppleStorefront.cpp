#include "Core/aso/AppleStorefront.h"

#include "Platform/text/Text.h"

namespace quorvel::AppleStorefront {

std::optional<int> storefrontId(std::string_view country) {
    const std::string wanted = asciiLowercase(country);
    for (const auto& [code, id] : countries)
        if (code == wanted) return id;
    return std::nullopt;
}

std::optional<std::string> headerValue(std::string_view country) {
    const auto id = storefrontId(country);
    if (!id) return std::nullopt;
    return std::to_string(*id) + "-1,29 t:apps3";
}

} // namespace quorvel::AppleStorefront
