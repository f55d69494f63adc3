// What seeds and events need to know of screenshots.
#pragma once

#include "Sandbox/rules/World.h"

namespace quorvel::sandbox {

/// The picture that the service keeps of a screenshot, with an address template.
[[nodiscard]] JSONValue imageAsset(const World& world, std::string_view screenshotID,
                                   std::string_view displayType);
/// Ends the processing of an uploaded screenshot.
void completeScreenshot(World& world, Resource& screenshot);

} // namespace quorvel::sandbox
