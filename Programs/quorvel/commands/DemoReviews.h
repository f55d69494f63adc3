// The chapter of the demo on customer reviews.
#pragma once

#include "Programs/quorvel/commands/DemoStage.h"

#include <string>

namespace quorvel {

/// Reads and classifies the reviews of an app, and answers one; the answer that App Store Connect has then.
[[nodiscard]] std::string playReviews(DemoStage& stage, const std::string& app);

} // namespace quorvel
