// The states of App Store Connect's resources, spelled as it spells them. Attribute records keep states as
// strings, so that a new value never breaks decoding; these enumerations are applied where a state is
// interpreted.
#pragma once

#include "Platform/json/RawValue.h"

namespace quorvel {

enum class ASCPlatform { iOS, macOS, tvOS, visionOS };
enum class BuildProcessingState { processing, failed, invalid, valid };
enum class BetaReviewState { waitingForReview, inReview, rejected, approved };
enum class ReviewSubmissionState {
    readyForReview,
    waitingForReview,
    inReview,
    unresolvedIssues,
    canceling,
    completing,
    complete,
};
enum class AppStoreVersionState {
    accepted,
    developerRejected,
    developerRemovedFromSale,
    inReview,
    invalidBinary,
    metadataRejected,
    pendingAppleRelease,
    pendingContract,
    pendingDeveloperRelease,
    prepareForSubmission,
    processingForAppStore,
    processingForDistribution,
    readyForDistribution,
    readyForReview,
    readyForSale,
    rejected,
    removedFromSale,
    replacedWithNewVersion,
    waitingForExportCompliance,
    waitingForReview,
};

template <>
struct RawValues<ASCPlatform> {
    static constexpr std::pair<ASCPlatform, std::string_view> values[] = {
        {ASCPlatform::iOS, "IOS"},
        {ASCPlatform::macOS, "MAC_OS"},
        {ASCPlatform::tvOS, "TV_OS"},
        {ASCPlatform::visionOS, "VISION_OS"},
    };
};

template <>
struct RawValues<BuildProcessingState> {
    static constexpr std::pair<BuildProcessingState, std::string_view> values[] = {
        {BuildProcessingState::processing, "PROCESSING"},
        {BuildProcessingState::failed, "FAILED"},
        {BuildProcessingState::invalid, "INVALID"},
        {BuildProcessingState::valid, "VALID"},
    };
};

template <>
struct RawValues<BetaReviewState> {
    static constexpr std::pair<BetaReviewState, std::string_view> values[] = {
        {BetaReviewState::waitingForReview, "WAITING_FOR_REVIEW"},
        {BetaReviewState::inReview, "IN_REVIEW"},
        {BetaReviewState::rejected, "REJECTED"},
        {BetaReviewState::approved, "APPROVED"},
    };
};

template <>
struct RawValues<ReviewSubmissionState> {
    static constexpr std::pair<ReviewSubmissionState, std::string_view> values[] = {
        {ReviewSubmissionState::readyForReview, "READY_FOR_REVIEW"},
        {ReviewSubmissionState::waitingForReview, "WAITING_FOR_REVIEW"},
        {ReviewSubmissionState::inReview, "IN_REVIEW"},
        {ReviewSubmissionState::unresolvedIssues, "UNRESOLVED_ISSUES"},
        {ReviewSubmissionState::canceling, "CANCELING"},
        {ReviewSubmissionState::completing, "COMPLETING"},
        {ReviewSubmissionState::complete, "COMPLETE"},
    };
};

template <>
struct RawValues<AppStoreVersionState> {
    using S = AppStoreVersionState;
    static constexpr std::pair<AppStoreVersionState, std::string_view> values[] = {
        {S::accepted, "ACCEPTED"},
        {S::developerRejected, "DEVELOPER_REJECTED"},
        {S::developerRemovedFromSale, "DEVELOPER_REMOVED_FROM_SALE"},
        {S::inReview, "IN_REVIEW"},
        {S::invalidBinary, "INVALID_BINARY"},
        {S::metadataRejected, "METADATA_REJECTED"},
        {S::pendingAppleRelease, "PENDING_APPLE_RELEASE"},
        {S::pendingContract, "PENDING_CONTRACT"},
        {S::pendingDeveloperRelease, "PENDING_DEVELOPER_RELEASE"},
        {S::prepareForSubmission, "PREPARE_FOR_SUBMISSION"},
        {S::processingForAppStore, "PROCESSING_FOR_APP_STORE"},
        {S::processingForDistribution, "PROCESSING_FOR_DISTRIBUTION"},
        {S::readyForDistribution, "READY_FOR_DISTRIBUTION"},
        {S::readyForReview, "READY_FOR_REVIEW"},
        {S::readyForSale, "READY_FOR_SALE"},
        {S::rejected, "REJECTED"},
        {S::removedFromSale, "REMOVED_FROM_SALE"},
        {S::replacedWithNewVersion, "REPLACED_WITH_NEW_VERSION"},
        {S::waitingForExportCompliance, "WAITING_FOR_EXPORT_COMPLIANCE"},
        {S::waitingForReview, "WAITING_FOR_REVIEW"},
    };
};

} // namespace quorvel
