// Which locales of an app a storefront shows and searches.
#pragma once

#include <span>
#include <string_view>

namespace quorvel {

/// The locales of the storefront of a country (two letters in either case), the one it shows first first;
/// empty for a country without a storefront that is known here.
[[nodiscard]] std::span<const std::string_view> storefrontLocales(std::string_view country);

} // namespace quorvel
