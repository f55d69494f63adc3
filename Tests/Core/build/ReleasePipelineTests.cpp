#include "Core/build/ReleasePipeline.h"
#include "Core/build/VersionStateTexts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace quorvel {

namespace {

using Step = ReleasePipeline::Step;
using Status = Step::Status;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

PlatformContext contextIn(const std::string& state) {
    return {ASCPlatform::iOS, stateClassOf(state), "3.5", state, "v1"};
}

// A version that has all it needs.
ReleaseFacts readyFacts(const std::string& state = "PREPARE_FOR_SUBMISSION") {
    ReleaseFacts facts;
    facts.context = contextIn(state);
    facts.isPulled = true;
    facts.localesOnDisk = 40;
    facts.screenshots = ReleaseFacts::ScreenshotCounts{80, 2};
    facts.build = ReleaseFacts::Build{true, false};
    facts.reviewInfo = ReviewInfoReadiness{.hasNotes = true};
    return facts;
}

std::string statusesOf(const ReleasePipeline& pipeline) {
    std::string text;
    for (const Step& step : pipeline.steps)
        text += (text.empty() ? "" : " ") + std::string(rawValue(step.status));
    return text;
}

const ReleasePipeline::Item& itemOf(const ReleasePipeline& pipeline, std::string_view title) {
    for (const auto& item : pipeline.items)
        if (item.title == title) return item;
    throw std::logic_error("no such item");
}

} // namespace

TEST(ReleasePipeline, namesOneNextActionForWhatIsOpenInPreparation) {
    struct Case {
        const char* what;
        std::function<void(ReleaseFacts&)> change;
        NextAction next;
        const char* statuses;
    };
    const Case cases[] = {
        {"all ready", [](ReleaseFacts&) {}, NextAction::submit, "done done done now todo todo"},
        {"no version", [](ReleaseFacts& facts) { facts.context.reset(); }, NextAction::createVersion,
         "done done done todo todo todo"},
        {"nothing pulled", [](ReleaseFacts& facts) { facts.isPulled = false; }, NextAction::pull,
         "now done done todo todo todo"},
        {"no locale", [](ReleaseFacts& facts) { facts.localesOnDisk = 0; }, NextAction::addLocales,
         "now done done todo todo todo"},
        {"a missing locale", [](ReleaseFacts& facts) { facts.missingLocales = 2; }, NextAction::pull,
         "now done done todo todo todo"},
        {"a text too long, and edits",
         [](ReleaseFacts& facts) {
             facts.overLimit = 1;
             facts.waiting = 3;
         },
         NextAction::trimTexts, "blocked done done todo todo todo"},
        {"edits", [](ReleaseFacts& facts) { facts.waiting = 3; }, NextAction::pushTexts,
         "now done done todo todo todo"},
        {"screenshots unknown", [](ReleaseFacts& facts) { facts.screenshots.reset(); },
         NextAction::checkScreenshots, "done now done todo todo todo"},
        {"no screenshots", [](ReleaseFacts& facts) { facts.screenshots = ReleaseFacts::ScreenshotCounts{}; },
         NextAction::pushScreenshots, "done now done todo todo todo"},
        {"no build", [](ReleaseFacts& facts) { facts.build.reset(); }, NextAction::build,
         "done done now todo todo todo"},
        {"a build in processing", [](ReleaseFacts& facts) { facts.build->isProcessed = false; },
         NextAction::waitForProcessing, "done done now todo todo todo"},
        {"no answer on encryption", [](ReleaseFacts& facts) { facts.build->usesNonExemptEncryption.reset(); },
         NextAction::answerCompliance, "done done blocked todo todo todo"},
        {"review details unknown", [](ReleaseFacts& facts) { facts.reviewInfo.reset(); },
         NextAction::loadReviewDetails, "done done done now todo todo"},
        {"no telephone", [](ReleaseFacts& facts) { facts.reviewInfo->missingContactFields = {"phone"}; },
         NextAction::fillReviewContact, "done done done blocked todo todo"},
        {"an empty demo account",
         [](ReleaseFacts& facts) {
             facts.reviewInfo->demoAccountRequired = true;
             facts.reviewInfo->demoAccountMissing = true;
         },
         NextAction::fillDemoAccount, "done done done blocked todo todo"},
        {"no notes", [](ReleaseFacts& facts) { facts.reviewInfo->hasNotes = false; }, NextAction::submit,
         "done done done now todo todo"},
    };
    for (const Case& one : cases) {
        ReleaseFacts facts = readyFacts();
        one.change(facts);
        const ReleasePipeline pipeline = releasePipelineOf(facts);
        EXPECT_EQ(pipeline.next, one.next) << one.what;
        EXPECT_EQ(statusesOf(pipeline), one.statuses) << one.what;
    }
}

TEST(ReleasePipeline, followsTheStateOfAVersionThatWasSubmitted) {
    struct Case {
        const char* state;
        NextAction next;
        const char* statuses;
        const char* detail; // of the step that the state is at
    };
    const Case cases[] = {
        {"DEVELOPER_REJECTED", NextAction::submit, "done done done now todo todo", "Submit when"},
        {"REJECTED", NextAction::submit, "done done done now blocked todo",
         "Fix what Apple flagged, then submit again"},
        {"METADATA_REJECTED", NextAction::submit, "done done done now blocked todo", "rejected by Apple"},
        {"INVALID_BINARY", NextAction::build, "done done blocked todo todo todo", ""},
        {"READY_FOR_REVIEW", NextAction::finishSubmission, "done done done now todo todo", "Submit when"},
        {"WAITING_FOR_REVIEW", NextAction::waitForReview, "done done done done now todo", "waiting in queue"},
        {"IN_REVIEW", NextAction::waitForReview, "done done done done now todo", "in review now"},
        {"WAITING_FOR_EXPORT_COMPLIANCE", NextAction::answerCompliance, "done done done done blocked todo",
         "export compliance"},
        {"ACCEPTED", NextAction::waitForRelease, "done done done done done now", "Apple approved it"},
        {"PROCESSING_FOR_APP_STORE", NextAction::waitForRelease, "done done done done done now",
         "Apple approved it"},
        {"PENDING_CONTRACT", NextAction::signAgreement, "done done done done done blocked", "agreement"},
        {"PENDING_DEVELOPER_RELEASE", NextAction::release, "done done done done done now", "press Release"},
        {"PENDING_APPLE_RELEASE", NextAction::waitForRelease, "done done done done done now",
         "scheduled time"},
        {"READY_FOR_SALE", NextAction::createVersion, "done done done done done done", "on the App Store"},
        {"READY_FOR_DISTRIBUTION", NextAction::createVersion, "done done done done done done", "Released"},
        {"REMOVED_FROM_SALE", NextAction::createVersion, "done done done done done done", ""},
        {"SOME_NEW_STATE", NextAction::waitForReview, "done done done done now todo", "with Apple"},
    };
    for (const Case& one : cases) {
        const ReleasePipeline pipeline = releasePipelineOf(readyFacts(one.state));
        EXPECT_EQ(pipeline.next, one.next) << one.state;
        EXPECT_EQ(statusesOf(pipeline), one.statuses) << one.state;
        std::string details;
        for (const Step& step : pipeline.steps)
            details += step.detail + "\n";
        EXPECT_THAT(details, HasSubstr(one.detail)) << one.state;
    }
    EXPECT_EQ(itemOf(releasePipelineOf(readyFacts("IN_REVIEW")), "Export compliance answered").detail,
              "Declared — Apple accepted the submission");
}

TEST(ReleasePipeline, readsWhatTheReviewerNeeds) {
    AppStoreReviewDetailAttributes detail{
        .contactFirstName = "Ada", .contactPhone = " ", .contactEmail = "a@b.example"};
    detail.demoAccountRequired = true;
    detail.demoAccountName = "demo";
    const ReviewInfoReadiness readiness = readinessOf(detail);
    EXPECT_THAT(readiness.missingContactFields, ElementsAre("last name", "phone"));
    EXPECT_TRUE(readiness.demoAccountMissing) << "it has no password";
    EXPECT_FALSE(readiness.hasNotes);
    EXPECT_THAT(readinessOf(std::nullopt).missingContactFields,
                ElementsAre("first name", "last name", "phone", "email"));
    ReleaseFacts facts = readyFacts();
    facts.reviewInfo = readiness;
    EXPECT_EQ(itemOf(releasePipelineOf(facts), "Review contact filled in").detail,
              "Missing last name, phone — App Store Connect → version → App Review Information");
}

TEST(VersionStateTexts, explainWhyAVersionIsLocked) {
    EXPECT_EQ(lockedExplanation("PREPARE_FOR_SUBMISSION"), std::nullopt);
    EXPECT_EQ(lockedExplanation("REJECTED"), std::nullopt);
    EXPECT_EQ(lockedExplanation("ACCEPTED"), lockedExplanation("PROCESSING_FOR_APP_STORE"));
    EXPECT_EQ(lockedExplanation("READY_FOR_SALE"), lockedExplanation("READY_FOR_DISTRIBUTION"));
    EXPECT_EQ(lockedExplanation("READY_FOR_SALE"), lockedExplanation("PROCESSING_FOR_DISTRIBUTION"));
    EXPECT_EQ(lockedExplanation("REPLACED_WITH_NEW_VERSION"),
              "This version is REPLACED_WITH_NEW_VERSION on App Store Connect and can't be edited.");
    EXPECT_EQ(statePill("DEVELOPER_REMOVED_FROM_SALE"), "Removed from Sale");
    EXPECT_EQ(statePill("SOME_NEW_STATE"), "Some New State");
    for (const auto& [state, raw] : RawValues<AppStoreVersionState>::values) {
        EXPECT_EQ(lockedExplanation(raw).has_value(), !isEditableState(raw)) << raw;
        EXPECT_FALSE(statePill(raw).empty()) << raw;
    }
}

} // namespace quorvel
