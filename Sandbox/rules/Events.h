// What the service does on its own: processing, reviewing, releasing.
#pragma once

#include "Sandbox/rules/World.h"

namespace quorvel::sandbox {

/// The actions of events, and how long the sandbox's service takes for each, in seconds.
namespace event {
inline constexpr std::string_view buildProcessed = "buildProcessed";
inline constexpr std::string_view screenshotProcessed = "screenshotProcessed";
inline constexpr std::string_view previewUploaded = "previewUploaded";
inline constexpr std::string_view previewProcessed = "previewProcessed";
inline constexpr std::string_view reviewBegins = "reviewBegins";
inline constexpr std::string_view reviewEnds = "reviewEnds";
inline constexpr std::string_view goesLive = "goesLive";
inline constexpr std::string_view phasedDay = "phasedDay";
inline constexpr std::string_view betaApproved = "betaApproved";
inline constexpr std::string_view submissionCanceled = "submissionCanceled";
inline constexpr std::string_view responsePublished = "responsePublished";
inline constexpr std::string_view reportsReady = "reportsReady";

inline constexpr double buildProcessing = 300;
inline constexpr double reviewQueue = 3600;
inline constexpr double review = 3600;
inline constexpr double distribution = 60;
inline constexpr double day = 86400;
inline constexpr double betaReview = 3600;
} // namespace event

void carryOut(World& world, const Event& event);

} // namespace quorvel::sandbox
