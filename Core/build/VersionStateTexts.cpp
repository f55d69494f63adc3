#include "Core/build/VersionStateTexts.h"

#include "Core/metadata/PlatformContext.h"
#include "Platform/text/Text.h"

#include <array>

namespace quorvel {

namespace {

struct StateText {
    std::string_view state;
    std::string_view text;
};

constexpr StateText pills[] = {
    {"READY_FOR_REVIEW", "Ready for Review"},
    {"WAITING_FOR_REVIEW", "Waiting for Review"},
    {"IN_REVIEW", "In Review"},
    {"PROCESSING_FOR_APP_STORE", "Processing"},
    {"WAITING_FOR_EXPORT_COMPLIANCE", "Export Compliance"},
    {"ACCEPTED", "Approved"},
    {"PENDING_CONTRACT", "Pending Contract"},
    {"PENDING_DEVELOPER_RELEASE", "Pending Release"},
    {"PENDING_APPLE_RELEASE", "Pending Apple Release"},
    {"REJECTED", "Rejected"},
    {"METADATA_REJECTED", "Metadata Rejected"},
    {"INVALID_BINARY", "Invalid Binary"},
    {"REMOVED_FROM_SALE", "Removed from Sale"},
    {"DEVELOPER_REMOVED_FROM_SALE", "Removed from Sale"},
    {"REPLACED_WITH_NEW_VERSION", "Replaced"},
    {"PREPARE_FOR_SUBMISSION", "Prepare for Submission"},
    {"READY_FOR_SALE", "On the App Store"},
    {"READY_FOR_DISTRIBUTION", "On the App Store"},
    {"PROCESSING_FOR_DISTRIBUTION", "Processing"},
};

constexpr std::string_view approved =
    " was approved and is being processed for the App Store. Bump to start the next version.";
constexpr std::string_view waitsForRelease =
    " is approved and waiting to be released. Bump to start the next version.";
constexpr std::string_view isLive = " is live. Bump to start the next version.";

constexpr StateText sentences[] = {
    {"WAITING_FOR_REVIEW",
     " is waiting for review — Apple has locked it. Wait for the result, or remove it from "
     "review on App Store Connect to edit it again."},
    {"READY_FOR_REVIEW",
     " is ready for review — the submission exists on App Store Connect. Finish it there, or "
     "remove it to edit."},
    {"IN_REVIEW", " is in review right now. Nothing can change until Apple finishes."},
    {"ACCEPTED", approved},
    {"PROCESSING_FOR_APP_STORE", approved},
    {"WAITING_FOR_EXPORT_COMPLIANCE",
     " is waiting for the export compliance answer on its build — answer it on App "
     "Store Connect."},
    {"PENDING_CONTRACT",
     " is blocked by an unsigned agreement. Sign it under Agreements on App Store Connect."},
    {"PENDING_DEVELOPER_RELEASE", waitsForRelease},
    {"PENDING_APPLE_RELEASE", waitsForRelease},
    {"READY_FOR_SALE", isLive},
    {"READY_FOR_DISTRIBUTION", isLive},
    {"PROCESSING_FOR_DISTRIBUTION", isLive},
};

template <std::size_t count>
std::optional<std::string_view> find(const StateText (&texts)[count], std::string_view state) {
    for (const StateText& candidate : texts)
        if (candidate.state == state) return candidate.text;
    return std::nullopt;
}

} // namespace

std::string statePill(std::string_view appStoreState) {
    if (const auto pill = find(pills, appStoreState)) return std::string(*pill);
    std::string words;
    bool isAtWordStart = true;
    for (const char character : asciiLowercase(appStoreState)) {
        const bool isLetter = character >= 'a' && character <= 'z';
        words += character == '_'            ? ' '
                 : isAtWordStart && isLetter ? static_cast<char>(character - 'a' + 'A')
                                             : character;
        isAtWordStart = character == '_';
    }
    return words;
}

std::optional<std::string> lockedExplanation(std::string_view appStoreState) {
    if (isEditableState(appStoreState)) return std::nullopt;
    if (const auto sentence = find(sentences, appStoreState)) return "This version" + std::string(*sentence);
    return "This version is " + std::string(appStoreState) + " on App Store Connect and can't be edited.";
}

} // namespace quorvel
