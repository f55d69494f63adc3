// What a failure means for a user, whatever part it comes from.
#pragma once

#include "Core/asc/ASCError.h"
#include "Platform/json/JSON.h"

#include <exception>
#include <optional>
#include <stdexcept>
#include <string>

namespace quorvel {

/// Each face has one table from these to its own terms: exit statuses, banners, error codes.
enum class FailureKind {
    failed, // nothing more is known than the text
    badRequest,
    sourceIsTarget, // of a translation
    cancelled,
    operationRunning,
    stalePlan, // what it is of has changed since it was made
    // Builds
    toolMissing,
    buildNotConfigured, // no project or scheme is chosen
    noProject,          // it is not where it was
    stillProcessing,
    processingWaitCancelled, // the upload stands
    uploadUnknown,           // it was cut off, and the build does not show
    unknownBuild,
    severalBuilds,
    noAwaitedBuild,
    severalAwaitedBuilds,
    buildNotUsable,    // it is not processed, or has expired
    noEditableVersion, // that the build belongs to
    // Keys
    missingKey,        // none is given or stored
    keyIDMissing,      // a private key without its Key ID
    privateKeyMissing, // a Key ID without its private key
    severalKeyFiles,
    keyTextForFile,      // the text of a key where the name of its file belongs
    vendorNumberMissing, // for sales reports
    unusableKey,         // it cannot be read or parsed
    keyRefused,          // App Store Connect does not accept it
    // What was named and is not there
    unknownApp,
    severalApps,
    noAppRecorded,
    appInOtherWorkspace,
    unknownWorkspace,
    severalWorkspaces,
    unknownContext,
    invalidContext,
    invalidLocale,
    unknownLocale,
    unmanagedLocale,
    unknownRun,
    severalRuns,
    noFolder,
    folderLost,
    notPulled,
    screenshotsNotPulled,
    previewsNotPulled,
    noVersions,
    noTargetLocales, // to translate into
    noBaseKeywords,  // to coordinate others with
    noRepository,    // to read commits from
    unknownRevision, // of a repository
    noCommits,       // for a draft
    notFound,        // on App Store Connect
    // What the state forbids
    readOnly,
    versionExists,
    otherVersionPulled,
    stateRefused,
    notReady, // what a version needs first is not done
    // Services
    serviceTrouble,
    noModelAccess,
    endpoints,
};

template <>
struct RawValues<FailureKind> {
    using F = FailureKind;
    static constexpr std::pair<F, std::string_view> values[] = {
        {F::failed, "failed"},
        {F::badRequest, "badRequest"},
        {F::sourceIsTarget, "sourceIsTarget"},
        {F::cancelled, "cancelled"},
        {F::operationRunning, "operationRunning"},
        {F::stalePlan, "stalePlan"},
        {F::toolMissing, "toolMissing"},
        {F::buildNotConfigured, "buildNotConfigured"},
        {F::noProject, "noProject"},
        {F::stillProcessing, "stillProcessing"},
        {F::processingWaitCancelled, "processingWaitCancelled"},
        {F::uploadUnknown, "uploadUnknown"},
        {F::unknownBuild, "unknownBuild"},
        {F::severalBuilds, "severalBuilds"},
        {F::noAwaitedBuild, "noAwaitedBuild"},
        {F::severalAwaitedBuilds, "severalAwaitedBuilds"},
        {F::buildNotUsable, "buildNotUsable"},
        {F::noEditableVersion, "noEditableVersion"},
        {F::missingKey, "missingKey"},
        {F::keyIDMissing, "keyIDMissing"},
        {F::privateKeyMissing, "privateKeyMissing"},
        {F::severalKeyFiles, "severalKeyFiles"},
        {F::keyTextForFile, "keyTextForFile"},
        {F::vendorNumberMissing, "vendorNumberMissing"},
        {F::unusableKey, "unusableKey"},
        {F::keyRefused, "keyRefused"},
        {F::unknownApp, "unknownApp"},
        {F::severalApps, "severalApps"},
        {F::noAppRecorded, "noAppRecorded"},
        {F::appInOtherWorkspace, "appInOtherWorkspace"},
        {F::unknownWorkspace, "unknownWorkspace"},
        {F::severalWorkspaces, "severalWorkspaces"},
        {F::unknownContext, "unknownContext"},
        {F::invalidContext, "invalidContext"},
        {F::invalidLocale, "invalidLocale"},
        {F::unknownLocale, "unknownLocale"},
        {F::unmanagedLocale, "unmanagedLocale"},
        {F::unknownRun, "unknownRun"},
        {F::severalRuns, "severalRuns"},
        {F::noFolder, "noFolder"},
        {F::folderLost, "folderLost"},
        {F::notPulled, "notPulled"},
        {F::screenshotsNotPulled, "screenshotsNotPulled"},
        {F::previewsNotPulled, "previewsNotPulled"},
        {F::noVersions, "noVersions"},
        {F::noTargetLocales, "noTargetLocales"},
        {F::noBaseKeywords, "noBaseKeywords"},
        {F::noRepository, "noRepository"},
        {F::unknownRevision, "unknownRevision"},
        {F::noCommits, "noCommits"},
        {F::notFound, "notFound"},
        {F::readOnly, "readOnly"},
        {F::versionExists, "versionExists"},
        {F::otherVersionPulled, "otherVersionPulled"},
        {F::stateRefused, "stateRefused"},
        {F::notReady, "notReady"},
        {F::serviceTrouble, "serviceTrouble"},
        {F::noModelAccess, "noModelAccess"},
        {F::endpoints, "endpoints"},
    };
};

/// What a result or a face says of a failure.
struct Failure {
    FailureKind kind = FailureKind::failed;
    std::string text;
    std::optional<std::string> advice; // what helps in any face, such as "Did you mean de-DE?"
    QUORVEL_RECORD(Failure, kind, text, advice)
    bool operator==(const Failure&) const = default;
};

/// A request that the application cannot meet.
class ApplicationError : public std::runtime_error {
  public:
    ApplicationError(FailureKind kind, const std::string& text, std::string advice = {})
        : std::runtime_error(text), kind_(kind), advice_(std::move(advice)) {}
    [[nodiscard]] FailureKind kind() const { return kind_; }
    [[nodiscard]] const std::string& advice() const { return advice_; }

  private:
    FailureKind kind_;
    std::string advice_;
};

/// What an error of any part of the program means.
[[nodiscard]] Failure failureOf(const std::exception& error);
[[nodiscard]] Failure failureOf(const std::exception_ptr& error);

/// What a kind of App Store Connect's errors means.
[[nodiscard]] FailureKind failureKindOf(ASCError::Kind kind);

/// Throws `ApplicationError` for a number outside of `least` and `most`.
void requireNumber(std::string_view member, std::int64_t value, std::int64_t least, std::int64_t most);

/// "Did you mean de-DE?" for a code that is near an App Store locale; nothing otherwise.
[[nodiscard]] std::string adviceForLocale(std::string_view code);
/// Throws `ApplicationError` for what is no App Store locale.
void requireAppStoreLocale(std::string_view code);

/// A word that the user gave, quoted for a message; not shown when it looks like a secret.
[[nodiscard]] std::string quotedWord(std::string_view word);

} // namespace quorvel
