// The attributes of new resources, as the service would first answer them.
#pragma once

#include "Platform/json/JSONValue.h"

#include <string_view>

namespace quorvel::sandbox {

[[nodiscard]] JSONValue versionAttributes(std::string_view platform, std::string_view versionString,
                                          std::string_view state, std::string_view createdDate);
/// An entry of an App Store version's texts with everything but the locale empty.
[[nodiscard]] JSONValue versionLocalizationAttributes(std::string_view locale);
[[nodiscard]] JSONValue appInfoLocalizationAttributes(std::string_view locale);
[[nodiscard]] JSONValue buildAttributes(std::string_view number, std::string_view uploadedDate,
                                        std::string_view expirationDate, std::string_view processingState);

} // namespace quorvel::sandbox
