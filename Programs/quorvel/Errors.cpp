#include "Programs/quorvel/Errors.h"

#include "Programs/quorvel/Table.h"
#include "Programs/quorvel/Wording.h"

#include <algorithm>
#include <array>

namespace quorvel {

namespace {

// What a kind of failure means on the command line; `hint` follows the failure's own advice.
struct Meaning {
    FailureKind kind;
    ExitStatus status;
    std::string_view hint = {};
};

constexpr std::string_view setKeyHint =
    "Store one with 'quorvel auth set --key-id ID --issuer-id ID --p8 FILE', or set ASC_KEY_ID, "
    "ASC_ISSUER_ID and ASC_PRIVATE_KEY_PATH.";
constexpr std::string_view createVersionHint = "Make one with 'quorvel versions create'.";
constexpr std::string_view chooseFolderHint = "'quorvel apps set APP --folder DIR' names another.";

using F = FailureKind;
using E = ExitStatus;
constexpr Meaning meanings[] = {
    {F::failed, E::failed},
    {F::badRequest, E::usage},
    {F::sourceIsTarget, E::usage, "--to takes the others; --from chooses another source."},
    {F::cancelled, E::interrupted},
    {F::operationRunning, E::failed},
    {F::stalePlan, E::failed},
    {F::toolMissing, E::failed},
    {F::buildNotConfigured, E::usage,
     "Choose with --project FILE and --scheme NAME; 'quorvel build schemes' lists the schemes."},
    {F::noProject, E::notFound, "Choose it with --project FILE."},
    {F::stillProcessing, E::serviceTrouble, "'quorvel build resume' goes on waiting."},
    {F::processingWaitCancelled, E::interrupted, "'quorvel build resume' goes on waiting."},
    {F::uploadUnknown, E::failed, "'quorvel builds' shows what is there."},
    {F::unknownBuild, E::notFound, "'quorvel builds' lists them."},
    {F::severalBuilds, E::usage, "Say which with --version and --platform, or by its ID."},
    {F::noAwaitedBuild, E::notFound, "'quorvel builds' shows the state of each build."},
    {F::severalAwaitedBuilds, E::usage, "Say which with --app and --platform."},
    {F::buildNotUsable, E::refusedByState, "'quorvel builds' shows the state of each build."},
    {F::noEditableVersion, E::refusedByState, createVersionHint},
    {F::missingKey, E::noCredentials, setKeyHint},
    {F::keyIDMissing, E::noCredentials, "Give it with --key-id or ASC_KEY_ID."},
    {F::privateKeyMissing, E::noCredentials, "Give its file with --p8 or ASC_PRIVATE_KEY_PATH."},
    {F::severalKeyFiles, E::usage, "Say which one with --p8 or --key-id."},
    {F::keyTextForFile, E::usage,
     "--p8 and the variables like it take a file's name. Put the key into a file that only you can read, or hand it over on standard input with --p8 -."},
    {F::vendorNumberMissing, E::noCredentials,
     "Store it with 'quorvel auth set --vendor-number NUMBER', or give it with --vendor-number."},
    {F::unusableKey, E::noCredentials},
    {F::keyRefused, E::noCredentials,
     "'quorvel auth status' shows which key is used and where it comes from."},
    {F::unknownApp, E::notFound},
    {F::severalApps, E::usage, "Name one with --app."},
    {F::noAppRecorded, E::notFound, "Import one with 'quorvel apps import BUNDLE_ID'."},
    {F::appInOtherWorkspace, E::notFound, "'quorvel apps move' moves it."},
    {F::unknownWorkspace, E::notFound, "'quorvel workspaces create NAME' makes one."},
    {F::severalWorkspaces, E::usage,
     "Name it with --workspace; 'quorvel workspaces use NAME' chooses one for all commands."},
    {F::unknownContext, E::notFound, "Choose one with --context."},
    {F::invalidContext, E::usage},
    {F::invalidLocale, E::usage},
    {F::unknownLocale, E::notFound},
    {F::unmanagedLocale, E::notFound, "'quorvel locale list' lists those that it does."},
    {F::unknownRun, E::notFound, "'quorvel history' lists the runs."},
    {F::severalRuns, E::usage},
    {F::noFolder, E::notFound},
    {F::folderLost, E::notFound, chooseFolderHint},
    {F::notPulled, E::notFound, "Pull first, or check --folder, --app and --context."},
    {F::screenshotsNotPulled, E::notFound,
     "Pull them with 'quorvel screenshots pull', or check --folder, --app and --context."},
    {F::previewsNotPulled, E::notFound,
     "Pull them with 'quorvel previews pull', or check --folder, --app and --context."},
    {F::noVersions, E::notFound, createVersionHint},
    {F::noTargetLocales, E::notFound},
    {F::noBaseKeywords, E::notFound, "Write those first; the other locales are coordinated with them."},
    {F::noRepository, E::notFound, "--repo DIR names another folder."},
    {F::unknownRevision, E::notFound},
    {F::noCommits, E::notFound, "--include SHA takes one in; --from and --to choose another range."},
    {F::notFound, E::notFound},
    {F::readOnly, E::refusedByState, "'quorvel versions create' makes one."},
    {F::versionExists, E::refusedByState,
     "'quorvel pull' brings its texts; 'quorvel versions' shows the state of each version."},
    {F::otherVersionPulled, E::refusedByState, "'quorvel pull --leave-edits' keeps your edits in place."},
    {F::stateRefused, E::refusedByState, "'quorvel versions --app ID' shows the state of each version."},
    {F::notReady, E::refusedByState,
     "'quorvel checklist' shows all of it, 'quorvel next' does what comes first; --force submits all the same."},
    {F::serviceTrouble, E::serviceTrouble},
    {F::noModelAccess, E::noCredentials, "The endpoints file is named by --endpoints or QUORVEL_ENDPOINTS."},
    {F::endpoints, E::usage},
};
static_assert(std::size(meanings) == std::size(RawValues<FailureKind>::values));

const Meaning& meaningOf(FailureKind kind) {
    return *std::ranges::find(meanings, kind, &Meaning::kind);
}

} // namespace

ExitStatus worseOf(ExitStatus first, ExitStatus second) {
    constexpr std::array order = {E::done,           E::partlyDone,    E::failed,
                                  E::refusedByState, E::notFound,      E::serviceTrouble,
                                  E::usage,          E::noCredentials, E::interrupted};
    const auto rank = [&](ExitStatus status) { return std::ranges::find(order, status); };
    return rank(first) < rank(second) ? second : first;
}

ExitStatus statusOf(FailureKind kind) {
    return meaningOf(kind).status;
}

ErrorReport reportOf(const Failure& failure) {
    const Meaning& meaning = meaningOf(failure.kind);
    std::string hint = onOneLine(inCommands(failure.advice.value_or("")));
    if (!hint.empty() && !meaning.hint.empty())
        hint += hint.ends_with('.') || hint.ends_with('?') ? " " : ". ";
    return {meaning.status, onOneLine(inCommands(failure.text)), hint + std::string(meaning.hint)};
}

ErrorReport reportOf(const std::exception& error) {
    if (const auto* command = dynamic_cast<const CommandError*>(&error))
        return {command->status(), onOneLine(command->what()), command->hint()};
    return reportOf(failureOf(error));
}

} // namespace quorvel
