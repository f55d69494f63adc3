#include "Quorvel/application/Failure.h"

#include "Core/ai/ClaudeError.h"
#include "Core/asc/Endpoints.h"
#include "Core/asc/KeyFiles.h"
#include "Core/aso/ASOError.h"
#include "Core/assistants/MCPClientInstaller.h"
#include "Core/build/BuildError.h"
#include "Core/build/XcodeVersionBumper.h"
#include "Core/build/notes/ReleaseNotesGenerator.h"
#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataError.h"
#include "Core/screenshots/ScreenshotError.h"
#include "Platform/http/HTTPMessage.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Quorvel/controllers/OperationRefused.h"
#include "Quorvel/controllers/build/BuildController.h"
#include "Quorvel/controllers/reviews/ReplySheet.h"
#include "Quorvel/repository/RepositoryFile.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <filesystem>

namespace quorvel {

FailureKind failureKindOf(ASCError::Kind kind) {
    using Kind = ASCError::Kind;
    switch (kind) {
    case Kind::missingCredentials:
        return FailureKind::missingKey;
    case Kind::invalidPrivateKey:
        return FailureKind::unusableKey;
    case Kind::credentialsRefused:
        return FailureKind::keyRefused;
    case Kind::notFound:
        return FailureKind::notFound;
    case Kind::stateRefused:
        return FailureKind::stateRefused;
    case Kind::serviceTrouble:
        return FailureKind::serviceTrouble;
    case Kind::cancelled:
        return FailureKind::cancelled;
    case Kind::valuesRefused:
    case Kind::failed:
        break;
    }
    return FailureKind::failed;
}

namespace {

FailureKind kindOf(const MetadataError& error) {
    using Kind = MetadataError::Kind;
    switch (error.kind()) {
    case Kind::readOnlyContext:
        return FailureKind::readOnly;
    case Kind::otherVersionPulled:
        return FailureKind::otherVersionPulled;
    case Kind::unknownContext:
        return FailureKind::unknownContext;
    case Kind::invalidContext:
        return FailureKind::invalidContext;
    case Kind::invalidLocale:
        return FailureKind::invalidLocale;
    case Kind::unknownLocale:
        return FailureKind::unknownLocale;
    case Kind::noLocales:
        return FailureKind::noFolder;
    case Kind::lostFolder:
    case Kind::badBookmark:
        return FailureKind::folderLost;
    case Kind::unknownRun:
        return FailureKind::unknownRun;
    case Kind::unknownApp:
        return FailureKind::unknownApp;
    default:
        return FailureKind::failed;
    }
}

FailureKind kindOf(const ClaudeError& error) {
    switch (error.kind()) {
    case ClaudeError::Kind::noAccess:
        return FailureKind::noModelAccess;
    case ClaudeError::Kind::serviceTrouble:
        return FailureKind::serviceTrouble;
    case ClaudeError::Kind::failed:
        break;
    }
    return FailureKind::failed;
}

FailureKind kindOf(const GitRepoError& error) {
    switch (error.kind()) {
    case GitRepoError::Kind::notARepository:
        return FailureKind::noRepository;
    case GitRepoError::Kind::invalidRange:
        return FailureKind::unknownRevision;
    case GitRepoError::Kind::gitNotFound:
    case GitRepoError::Kind::commandFailed:
        break;
    }
    return FailureKind::failed;
}

FailureKind kindOf(const ReleaseNotesError& error) {
    return error.kind() == ReleaseNotesError::Kind::noUserRelevantCommits ? FailureKind::noCommits
                                                                          : FailureKind::failed;
}

FailureKind kindOf(const ReplyError& error) {
    switch (error.kind()) {
    case ReplyError::Kind::reviewGone:
        return FailureKind::notFound;
    case ReplyError::Kind::stalePlan:
        return FailureKind::stalePlan;
    case ReplyError::Kind::blank:
    case ReplyError::Kind::tooLong:
    case ReplyError::Kind::nothingReplaced:
        break;
    }
    return FailureKind::badRequest;
}

FailureKind kindOf(const ScreenshotError& error) {
    switch (error.kind()) {
    case ScreenshotError::Kind::readOnlyVersion:
        return FailureKind::readOnly;
    case ScreenshotError::Kind::noFolder:
        return FailureKind::noFolder;
    case ScreenshotError::Kind::ownFolder:
        return FailureKind::badRequest;
    default:
        return FailureKind::failed;
    }
}

FailureKind kindOf(const BuildError& error) {
    using Kind = BuildError::Kind;
    switch (error.kind()) {
    case Kind::toolMissing:
        return FailureKind::toolMissing;
    case Kind::notConfigured:
        return FailureKind::buildNotConfigured;
    case Kind::versionLocked:
        return FailureKind::stateRefused;
    case Kind::planOutdated:
        return FailureKind::stalePlan;
    case Kind::stillProcessing:
        return FailureKind::stillProcessing;
    case Kind::uploadUnknown:
        return FailureKind::uploadUnknown;
    case Kind::commandFailed:
    case Kind::noArtefact:
    case Kind::uploadRefused:
    case Kind::versionNotSet:
    case Kind::notOnAppStore:
    case Kind::buildRejected:
        break;
    }
    return FailureKind::failed;
}

FailureKind kindOf(Refusal refusal) {
    switch (refusal) {
    case Refusal::operationRunning:
        return FailureKind::operationRunning;
    case Refusal::folderNotResolved:
        return FailureKind::folderLost;
    case Refusal::noVersions:
        return FailureKind::noVersions;
    case Refusal::noContextSelected:
        return FailureKind::notPulled;
    case Refusal::readOnlyContext:
        return FailureKind::readOnly;
    case Refusal::screenshotsNotPulled:
        return FailureKind::screenshotsNotPulled;
    case Refusal::previewsNotPulled:
        return FailureKind::previewsNotPulled;
    case Refusal::sourceIsTarget:
        return FailureKind::sourceIsTarget;
    case Refusal::noTargetLocales:
        return FailureKind::noTargetLocales;
    case Refusal::noBaseKeywords:
        return FailureKind::noBaseKeywords;
    case Refusal::unknownCommit:
        return FailureKind::unknownRevision;
    case Refusal::stalePlan:
        return FailureKind::stalePlan;
    case Refusal::noAppStoreID:
    case Refusal::folderUnavailable:
    case Refusal::nothingSelected:
    case Refusal::noPendingChanges:
        break;
    }
    return FailureKind::failed;
}

Failure failureOf(const ASOError& error) {
    Failure failure{FailureKind::failed, error.description(), std::nullopt};
    if (error.as<ASOError::UnsupportedCountry>() || error.as<ASOError::InvalidURL>())
        failure.kind = FailureKind::badRequest;
    if (error.as<ASOError::AppNotFound>()) failure.kind = FailureKind::notFound;
    if (error.as<ASOError::ParseFailure>()) failure.kind = FailureKind::serviceTrouble;
    if (const auto* answer = error.as<ASOError::HTTPError>()) {
        failure.kind = answer->status == 404 ? FailureKind::notFound : FailureKind::serviceTrouble;
        if (answer->status == 403 || answer->status == 429)
            failure.advice = "The App Store turns away who asks too often. Try again in some minutes.";
        if (answer->status == 404) failure.advice = "It may not be on sale in this country.";
    }
    return failure;
}

Failure failureOf(const CredentialsError& error) {
    using Kind = CredentialsError::Kind;
    switch (error.kind()) {
    case Kind::severalKeyFiles: {
        std::vector<std::string> files;
        for (const auto& file : error.files())
            files.push_back(file.string());
        return {FailureKind::severalKeyFiles, error.what(), fmt::format("Found {}.", fmt::join(files, ", "))};
    }
    case Kind::keyInsteadOfFileName:
        return {FailureKind::keyTextForFile, error.what(), std::nullopt};
    case Kind::unreadableKeyFile:
        break;
    }
    return {FailureKind::unusableKey, error.what(), std::nullopt};
}

Failure failureOf(const OperationRefused& error) {
    Failure failure{kindOf(error.refusal()), error.what(), std::nullopt};
    if (error.detail().empty()) return failure;
    switch (error.refusal()) {
    case Refusal::folderNotResolved:
        failure.text = fmt::format("{} {}", failure.text, error.detail());
        break;
    case Refusal::noContextSelected: // the detail says the same of what was asked for
    case Refusal::screenshotsNotPulled:
    case Refusal::previewsNotPulled:
    case Refusal::sourceIsTarget:
    case Refusal::noBaseKeywords:
    case Refusal::unknownCommit:
        failure.text = error.detail();
        break;
    default:
        failure.advice = error.detail();
    }
    return failure;
}

Failure failureOf(const MCPClientInstaller::InstallError& error) {
    using Kind = MCPClientInstaller::InstallError::Kind;
    return {error.kind() == Kind::parentDirectoryMissing ? FailureKind::notFound : FailureKind::failed,
            error.what(), error.detail().empty() ? std::nullopt : std::optional(error.detail())};
}

} // namespace

std::string adviceForLocale(std::string_view code) {
    const auto nearest = nearestAppStoreLocale(code);
    return nearest && *nearest != code ? fmt::format("Did you mean {}?", *nearest) : "";
}

void requireNumber(std::string_view member, std::int64_t value, std::int64_t least, std::int64_t most) {
    if (value >= least && value <= most) return;
    throw ApplicationError(FailureKind::badRequest, fmt::format("{} is no value of \"{}\"", value, member),
                           fmt::format("It may be from {} to {}.", least, most));
}

void requireAppStoreLocale(std::string_view code) {
    if (isAppStoreLocale(code)) return;
    const std::string advice = adviceForLocale(code);
    throw ApplicationError(
        FailureKind::invalidLocale, fmt::format("{} is no App Store locale", quotedWord(code)),
        advice.empty() ? fmt::format("The locales are {}.", fmt::join(appStoreLocales(), ", ")) : advice);
}

Failure failureOf(const std::exception& error) {
    if (const auto* own = dynamic_cast<const ApplicationError*>(&error))
        return {own->kind(), own->what(),
                own->advice().empty() ? std::nullopt : std::optional(own->advice())};
    if (const auto* refused = dynamic_cast<const OperationRefused*>(&error)) return failureOf(*refused);
    if (const auto* service = dynamic_cast<const ASCError*>(&error))
        return {failureKindOf(service->kind()), service->description(), std::nullopt};
    if (const auto* store = dynamic_cast<const ASOError*>(&error)) return failureOf(*store);
    if (dynamic_cast<const TransportError*>(&error))
        return {FailureKind::serviceTrouble, error.what(), std::nullopt};
    if (const auto* model = dynamic_cast<const ClaudeError*>(&error))
        return {kindOf(*model), model->description(), std::nullopt};
    if (const auto* repository = dynamic_cast<const GitRepoError*>(&error))
        return {kindOf(*repository), repository->what(), std::nullopt};
    if (const auto* notes = dynamic_cast<const ReleaseNotesError*>(&error))
        return {kindOf(*notes), notes->what(), std::nullopt};
    if (const auto* reply = dynamic_cast<const ReplyError*>(&error))
        return {kindOf(*reply), reply->what(), std::nullopt};
    if (const auto* pictures = dynamic_cast<const ScreenshotError*>(&error))
        return {kindOf(*pictures), pictures->what(), std::nullopt};
    if (const auto* tree = dynamic_cast<const MetadataError*>(&error)) {
        Failure failure{kindOf(*tree), tree->what(), std::nullopt};
        if (failure.kind == FailureKind::unknownLocale)
            if (auto advice = adviceForLocale(tree->where().locale); !advice.empty())
                failure.advice = std::move(advice);
        return failure;
    }
    if (const auto* key = dynamic_cast<const CredentialsError*>(&error)) return failureOf(*key);
    if (dynamic_cast<const ProcessingWaitCancelled*>(&error))
        return {FailureKind::processingWaitCancelled, error.what(), std::nullopt};
    if (dynamic_cast<const CancellationError*>(&error))
        return {FailureKind::cancelled, "Cancelled.", std::nullopt};
    if (const auto* build = dynamic_cast<const BuildError*>(&error))
        return {kindOf(*build), build->what(), std::nullopt};
    if (const auto* version = dynamic_cast<const XcodeVersionError*>(&error))
        return {version->kind() == XcodeVersionError::Kind::projectNotFound ? FailureKind::noProject
                                                                            : FailureKind::failed,
                version->what(), std::nullopt};
    if (const auto* assistant = dynamic_cast<const MCPClientInstaller::InstallError*>(&error))
        return failureOf(*assistant);
    if (const auto* named = dynamic_cast<const RepositoryFileError*>(&error))
        return {FailureKind::badRequest, named->what(),
                named->advice().empty() ? std::nullopt : std::optional(named->advice())};
    if (dynamic_cast<const EndpointsError*>(&error))
        return {FailureKind::endpoints, error.what(), std::nullopt};
    if (dynamic_cast<const JSONError*>(&error)) return {FailureKind::badRequest, error.what(), std::nullopt};
    if (const auto* file = dynamic_cast<const std::filesystem::filesystem_error*>(&error))
        return {FailureKind::failed,
                fmt::format("{}: {}", escapeControls(file->path1().native()), file->code().message()),
                std::nullopt};
    return {FailureKind::failed, error.what(), std::nullopt};
}

Failure failureOf(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& known) {
        return failureOf(known);
    } catch (...) {
        return {FailureKind::failed, "An unknown error occurred.", std::nullopt};
    }
}

std::string quotedWord(std::string_view word) {
    constexpr std::size_t longestQuote = 60;
    if (word.find("PRIVATE KEY") != std::string_view::npos || word.find('\n') != std::string_view::npos ||
        word.size() > longestQuote)
        return "(a long text, not shown)";
    return fmt::format("\"{}\"", escapeControls(word));
}

} // namespace quorvel
