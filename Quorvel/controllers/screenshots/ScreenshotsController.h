// Pulls, compares and pushes the screenshots, or the previews, of one app.
#pragma once

#include "Core/screenshots/ScreenshotPusher.h"
#include "Quorvel/controllers/AppAccess.h"
#include "Quorvel/controllers/OperationGate.h"
#include "Quorvel/controllers/screenshots/ScreenshotPlans.h"

#include <memory>
#include <optional>
#include <string>

namespace quorvel {

/// Every operation blocks and goes through the app's gate. Thread-safe.
class ScreenshotsController {
  public:
    ScreenshotsController(AppAccess access, std::shared_ptr<OperationGate> gate, AssetKind kind)
        : access_(std::move(access)), gate_(std::move(gate)), kind_(kind) {}

    /// The folder that the app's pictures of a context lie in.
    [[nodiscard]] std::filesystem::path pictures(const MetadataFolder& folder,
                                                 const ContextID& context) const;

    /// Throws what `ScreenshotsStore::pull` throws, and `OperationRefused`.
    [[nodiscard]] ScreenshotsPull pull(const std::optional<std::string>& context);

    /// Compares the local pictures with the catalogue of the last pull. Throws `OperationRefused` where there
    /// is none.
    [[nodiscard]] ScreenshotStatus status(const std::optional<std::string>& context,
                                          const ScreenshotChoice& choice, DryRun dryRun = DryRun::no) const;

    /// Takes the pictures of another tool's tree among the local ones of a context. Throws what
    /// `importScreenshots` throws, and `OperationRefused`.
    [[nodiscard]] ScreenshotImport importPictures(const std::filesystem::path& tree,
                                                  const std::optional<std::string>& context, DryRun dryRun);

    /// Compares the local pictures with what App Store Connect holds now, not with the catalogue, which may
    /// be older than the last push. Throws `ScreenshotError`, `OperationRefused`.
    [[nodiscard]] ScreenshotPushPlan planPush(const std::optional<std::string>& context,
                                              const ScreenshotChoice& choice, DryRun dryRun = DryRun::no);

    /// Carries out the plan and brings the catalogue up to date. Throws `OperationRefused` for a plan that no
    /// longer fits, and what `ScreenshotPusher::push` throws.
    ScreenshotPushReport push(const ScreenshotPushPlan& plan, const ScreenshotPusher::Observer& observer = {},
                              const ScreenshotPushOptions& options = {});

  private:
    using Operation = OperationGate::Operation;
    using Target = AppAccess::Target;

    [[nodiscard]] PlatformContext currentContext(const ASCClientProtocol& client, const Target& target,
                                                 const std::optional<std::string>& context) const;
    // `choice` with the platform and the locales that a context's pictures are of.
    [[nodiscard]] ScreenshotChoice within(const ContextID& context, const ManagedApp& app,
                                          ScreenshotChoice choice) const;
    [[nodiscard]] PreparedScreenshots compare(const ASCClientProtocol& client, const Target& target,
                                              const PlatformContext& version,
                                              ScreenshotPushScanner::ScanResult scan,
                                              const ScreenshotChoice& choice) const;
    [[nodiscard]] PreparedScreenshots compareAgain(const ASCClientProtocol& client, const Target& target,
                                                   const ScreenshotPushPlan& plan) const;
    [[nodiscard]] ScreenshotsStore storeOf(const Target& target, const PlatformContext& context) const {
        return {target.folder, context, access_.clock(), {}, kind_};
    }
    void remember(const ASCClientProtocol& client, const ScreenshotsStore& store,
                  const PreparedScreenshots& prepared, std::vector<std::string>& warnings) const;

    AppAccess access_;
    std::shared_ptr<OperationGate> gate_;
    AssetKind kind_;
};

} // namespace quorvel
