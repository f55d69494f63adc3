// What seeds and events need to know of previews.
#pragma once

#include "Sandbox/rules/World.h"

namespace quorvel::sandbox {

/// The first half of the processing of an uploaded preview: it shows as being processed.
void beginPreviewProcessing(World& world, Resource& preview);
/// Ends the processing of an uploaded preview.
void completePreview(World& world, Resource& preview);

} // namespace quorvel::sandbox
