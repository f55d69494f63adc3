// The steps of a whole release: looking at each, and doing it.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Quorvel/actions/ShipPlan.h"
#include "Quorvel/actions/Target.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// Looks at the steps of a shipment, and does them. A look changes nothing and says what doing would do now;
/// so a plan is all looks, and a shipment looks and does, step by step. One thread at a time.
class Shipment {
  public:
    struct Parts {
        Application& application;
        LocatedApp app;
        std::shared_ptr<AppSession> session;
        std::shared_ptr<const ASCClientProtocol> client;
        MetadataFolder folder;
        ShipOptions options;
        DryRun dryRun = DryRun::no;
        ActionProgress progress = {};
    };
    explicit Shipment(Parts parts);

    /// Everything that a plan reads and that nothing else has to be known for, at once. Without it each look
    /// asks by itself.
    void readAhead();
    [[nodiscard]] ShipPlan plan();
    /// Throws what a step throws while nothing was done, and `CancellationError`; what was done until then
    /// stands.
    [[nodiscard]] ShipOutcome perform(const ShipPlan& agreed);

  private:
    using Kind = ShipStep::Kind;
    using State = ShipStep::State;

    void readVersions();
    [[nodiscard]] bool isInPreparation() const;
    /// Whether a version of the platform is or was on sale.
    [[nodiscard]] bool isUpdate() const;
    [[nodiscard]] ContextID contextID() const {
        return {parts_.options.platform, AppStoreVersionStateClass::editable};
    }
    [[nodiscard]] std::vector<Kind> kinds() const;

    void requireAgreed(const ShipPlan& agreed, const ShipStep& step) const;
    [[nodiscard]] ShipStep look(Kind kind);
    /// The step as it was found, and done where it was to be done.
    [[nodiscard]] ShipStep take(Kind kind, const ShipPlan& agreed, ShipOutcome& outcome);
    [[nodiscard]] ShipStep lookAtVersion() const;
    [[nodiscard]] ShipStep lookAtPull() const;
    [[nodiscard]] ShipStep lookAtTexts();
    [[nodiscard]] ShipStep lookAtScreenshots();
    [[nodiscard]] ShipStep lookAtBuild();
    [[nodiscard]] ShipStep lookAtCompliance() const;
    [[nodiscard]] ShipStep lookAtAttachment() const;
    [[nodiscard]] ShipStep lookAtTestFlight();
    [[nodiscard]] ShipStep lookAtSubmission();
    [[nodiscard]] ShipStep lookAtReview() const;
    [[nodiscard]] ShipStep lookAtRelease() const;

    /// What became of a step; nothing when it is done as its look said.
    [[nodiscard]] std::optional<ShipStep> perform(const ShipStep& step, ShipOutcome& outcome);
    void makeVersion();
    void pull();
    [[nodiscard]] std::optional<ShipStep> pushTexts();
    [[nodiscard]] std::optional<ShipStep> pushScreenshots();
    [[nodiscard]] std::optional<ShipStep> obtainBuild(ShipOutcome& outcome);
    [[nodiscard]] std::optional<ShipStep> takeReport(const BuildRunReport& report, ShipOutcome& outcome);
    void goOnAfter(const ASCError& error, bool isLate) const;
    void declareExempt();
    void giveToTesters();
    [[nodiscard]] std::optional<ShipStep> submit();
    [[nodiscard]] std::optional<ShipStep> awaitState(Kind kind);

    [[nodiscard]] const std::vector<ASCBuildSummary>& builds();
    [[nodiscard]] std::vector<std::string> localesWithoutNotes() const;
    [[nodiscard]] BuildConfig savedConfig() const;
    [[nodiscard]] static std::string wordsOf(const Failure& failure);
    void tell(std::string text) const { parts_.progress.step({std::move(text), {}, 0}); }

    Parts parts_;
    bool hasActed_ = false;
    std::vector<ASCVersionSummary> versions_;           // of the platform
    std::optional<ASCVersionSummary> found_;            // the version that is shipped
    std::optional<ASCVersionSummary> open_;             // another one that is not released
    std::vector<ASCLocalizationSummary> localizations_; // of the version, where it takes changes
    std::optional<std::vector<ASCBuildSummary>> builds_;
    std::optional<ASCBuildSummary> build_;    // that is used
    std::optional<std::string> refusedBuild_; // the id of the one that App Store Connect turned down
    std::optional<std::string> stateBefore_;  // of the version, when it was submitted
    std::vector<std::string> testGroups_;     // ids of those that need the build
    std::optional<TextComparison> local_;     // the texts, while there is no version to compare them with
    std::optional<PushPlan> texts_;
    std::optional<ScreenshotPushPlan> screenshots_;
    std::optional<AwaitedBuildOfApp> awaited_;
    std::optional<BuildConfig> config_; // where a build is to be made
    std::optional<BuildRunPlan> buildPlan_;
    std::optional<SubmissionPlan> submission_;
    SubmissionPlan agreedSubmission_; // nothing but its items goes along with the version
};

} // namespace quorvel
