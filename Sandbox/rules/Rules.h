// The rules of the writing operations. Each checks all that it refuses before it changes anything, and throws
// `Refusal`.
#pragma once

#include "Sandbox/rules/Operation.h"

namespace quorvel::sandbox {

[[nodiscard]] Answer createVersion(World& world, const Change& change);
[[nodiscard]] Answer updateVersion(World& world, const Change& change);
[[nodiscard]] Answer attachBuild(World& world, const Change& change);
[[nodiscard]] Answer createVersionLocalization(World& world, const Change& change);
[[nodiscard]] Answer updateVersionLocalization(World& world, const Change& change);
[[nodiscard]] Answer createAppInfoLocalization(World& world, const Change& change);
[[nodiscard]] Answer updateAppInfoLocalization(World& world, const Change& change);
[[nodiscard]] Answer updateAppInfo(World& world, const Change& change);
[[nodiscard]] Answer updateBuild(World& world, const Change& change);
[[nodiscard]] Answer createScreenshotSet(World& world, const Change& change);
[[nodiscard]] Answer reserveScreenshot(World& world, const Change& change);
[[nodiscard]] Answer commitScreenshot(World& world, const Change& change);
[[nodiscard]] Answer deleteScreenshot(World& world, const Change& change);
[[nodiscard]] Answer reorderScreenshots(World& world, const Change& change);
[[nodiscard]] Answer createSubmission(World& world, const Change& change);
[[nodiscard]] Answer addSubmissionItem(World& world, const Change& change);
[[nodiscard]] Answer updateSubmission(World& world, const Change& change);
[[nodiscard]] Answer requestRelease(World& world, const Change& change);
[[nodiscard]] Answer createPhasedRelease(World& world, const Change& change);
[[nodiscard]] Answer updatePhasedRelease(World& world, const Change& change);
[[nodiscard]] Answer deletePhasedRelease(World& world, const Change& change);
[[nodiscard]] Answer createReviewResponse(World& world, const Change& change);
[[nodiscard]] Answer createAnalyticsRequest(World& world, const Change& change);
[[nodiscard]] Answer addBuildsToGroup(World& world, const Change& change);
[[nodiscard]] Answer createBetaBuildLocalization(World& world, const Change& change);
[[nodiscard]] Answer updateBetaBuildLocalization(World& world, const Change& change);
[[nodiscard]] Answer submitForBetaReview(World& world, const Change& change);

} // namespace quorvel::sandbox
