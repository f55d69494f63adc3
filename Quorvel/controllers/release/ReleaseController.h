// How far the coming version of one app is on its way to the App Store.
#pragma once

#include "Core/build/ReleasePipeline.h"
#include "Quorvel/controllers/AppAccess.h"
#include "Quorvel/controllers/OperationGate.h"
#include "Quorvel/controllers/metadata/PushPlan.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// The build that is attached to a version.
struct AttachedBuild {
    std::string id;
    std::string number;
    std::string processingState;
    std::optional<bool> usesNonExemptEncryption; // nothing: the question is not answered
    QUORVEL_RECORD(AttachedBuild, id, number, processingState, usesNonExemptEncryption)
    bool operator==(const AttachedBuild&) const = default;
};

/// The checklist of a version, with what it was made from.
struct ReleaseChecklist {
    AppReference app;
    std::optional<std::string> releaseType; // such as "MANUAL"
    std::optional<AttachedBuild> build;
    std::vector<std::string> localesWithoutNotes; // of an update, on App Store Connect
    ReleasePipeline pipeline;
    QUORVEL_RECORD(ReleaseChecklist, app, releaseType, build, localesWithoutNotes, pipeline)
};

/// A value; thread-safe.
class ReleaseController {
  public:
    ReleaseController(AppAccess access, std::shared_ptr<OperationGate> gate)
        : access_(std::move(access)), gate_(std::move(gate)) {}

    /// Reads the folder and asks App Store Connect, two requests at most: the versions with their builds and
    /// review details, then the localizations of the one with their screenshot sets. `context` such as
    /// "ios/next"; the one to work on when empty. A context without a version needs one to be made. Throws
    /// `MetadataError` for what is no context or a folder of another app, `ASCError`.
    [[nodiscard]] ReleaseChecklist checklist(const std::optional<std::string>& context,
                                             DryRun dryRun = DryRun::no) const;

  private:
    [[nodiscard]] std::optional<ASCVersionSummary> versionOf(const std::vector<ASCVersionSummary>& versions,
                                                             const MetadataFolder& folder,
                                                             const std::optional<std::string>& context) const;
    void addTexts(ReleaseFacts& facts, const ManagedApp& app, const MetadataFolder& folder,
                  const std::vector<ASCLocalizationSummary>& localizations, Release release) const;

    AppAccess access_;
    std::shared_ptr<OperationGate> gate_;
};

/// The context of one version; nothing of an unknown platform.
[[nodiscard]] std::optional<PlatformContext> contextOf(const ASCResource<AppStoreVersionAttributes>& version);

/// Whether App Store Connect has processed a build.
[[nodiscard]] bool isProcessed(const ASCBuildAttributes& build);

} // namespace quorvel
