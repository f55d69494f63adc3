// What a person names an app of the store with.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// An App Store id, a bundle id, or a link to the app's page such as
/// "https://apps.apple.com/de/app/some-name/id123456789?mt=8".
struct StoreLink {
    std::optional<std::string> appStoreId; // digits
    std::optional<std::string> bundleId;   // where there is no App Store id
    std::optional<std::string> country;    // of a link, two small letters
    bool operator==(const StoreLink&) const = default;
};

/// Nothing for what is none of these.
[[nodiscard]] std::optional<StoreLink> readStoreLink(std::string_view text);

} // namespace quorvel
