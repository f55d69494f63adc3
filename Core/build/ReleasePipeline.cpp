#include "Core/build/ReleasePipeline.h"

#include <algorithm>
#include <array>

namespace quorvel {

namespace {

using Step = ReleasePipeline::Step;
using Item = ReleasePipeline::Item;
using Kind = Step::Kind;
using Status = Step::Status;
using Mark = Item::Mark;

// How far a state is, and what is to be done there once nothing else is open.
struct StateRow {
    std::string_view state;
    enum class Stage { preparation, submission, review, approved, live } stage;
    NextAction next;
    std::string_view detail; // of the step of the stage
};
using Stage = StateRow::Stage;

constexpr StateRow stateRows[] = {
    {"PREPARE_FOR_SUBMISSION", Stage::preparation, NextAction::submit, ""},
    {"DEVELOPER_REJECTED", Stage::preparation, NextAction::submit, ""},
    {"REJECTED", Stage::preparation, NextAction::submit, "rejected by Apple"},
    {"METADATA_REJECTED", Stage::preparation, NextAction::submit, "rejected by Apple"},
    {"INVALID_BINARY", Stage::preparation, NextAction::build, ""},
    {"READY_FOR_REVIEW", Stage::submission, NextAction::finishSubmission, ""},
    {"WAITING_FOR_REVIEW", Stage::review, NextAction::waitForReview, "waiting in queue"},
    {"IN_REVIEW", Stage::review, NextAction::waitForReview, "in review now"},
    {"WAITING_FOR_EXPORT_COMPLIANCE", Stage::review, NextAction::answerCompliance, "export compliance"},
    {"ACCEPTED", Stage::approved, NextAction::waitForRelease,
     "Apple approved it and prepares it for the App Store"},
    {"PROCESSING_FOR_APP_STORE", Stage::approved, NextAction::waitForRelease,
     "Apple approved it and prepares it for the App Store"},
    {"PENDING_CONTRACT", Stage::approved, NextAction::signAgreement,
     "Sign the agreement on App Store Connect"},
    {"PENDING_DEVELOPER_RELEASE", Stage::approved, NextAction::release,
     "Apple approved it — press Release on App Store Connect"},
    {"PENDING_APPLE_RELEASE", Stage::approved, NextAction::waitForRelease,
     "Apple approved it — it goes out at the scheduled time"},
};

constexpr StateRow onTheStore{"READY_FOR_SALE", Stage::live, NextAction::createVersion, "on the App Store"};
// A version in a state that is new to this program takes no changes; Apple has to move it.
constexpr StateRow unknownState{"", Stage::review, NextAction::waitForReview, "with Apple"};

const StateRow& rowOf(const PlatformContext& context) {
    for (const StateRow& row : stateRows)
        if (row.state == context.appStoreState) return row;
    return context.stateClass == AppStoreVersionStateClass::live ? onTheStore : unknownState;
}

constexpr std::string_view reviewerNotes = "Notes for the reviewer"; // never count

std::string counted(std::int64_t count, std::string_view rest) {
    return std::to_string(count) + std::string(rest);
}

// An item with what its check asks for while it is open.
struct Check {
    Item item;
    NextAction action;
    bool isOptional = false;
    [[nodiscard]] bool isOpen() const { return item.mark != Mark::ok && !isOptional; }
};

Item item(Kind step, std::string title, std::string detail, Mark mark) {
    return {step, std::move(title), std::move(detail), mark};
}

void addMetadataChecks(std::vector<Check>& checks, const ReleaseFacts& facts) {
    const std::string pullFirst = "Click Pull to fetch App Store Connect";
    const std::string locales = "All locales pulled";
    if (!facts.isPulled)
        checks.push_back({item(Kind::metadata, locales, pullFirst, Mark::now), NextAction::pull});
    else if (facts.missingLocales > 0)
        checks.push_back(
            {item(Kind::metadata, locales, counted(facts.missingLocales, " locales missing"), Mark::todo),
             NextAction::pull});
    else
        checks.push_back({item(Kind::metadata, locales, counted(facts.localesOnDisk, " locales on disk"),
                               facts.localesOnDisk > 0 ? Mark::ok : Mark::todo),
                          NextAction::addLocales});
    const bool isTooLong = facts.overLimit > 0;
    checks.push_back({item(Kind::metadata, "Nothing over a character limit",
                           isTooLong ? counted(facts.overLimit, " to trim before Push")
                                     : "Name 30 · Subtitle 30 · Promo 170 · Keywords 100",
                           isTooLong ? Mark::blocked : Mark::ok),
                      NextAction::trimTexts});
    const std::string pushed = "Local edits pushed";
    if (facts.waiting > 0)
        checks.push_back(
            {item(Kind::metadata, pushed, counted(facts.waiting, " waiting for Push"), Mark::now),
             NextAction::pushTexts});
    else if (facts.isPulled)
        checks.push_back({item(Kind::metadata, pushed, "Local matches App Store Connect", Mark::ok),
                          NextAction::pushTexts});
    else // nothing is known before the first pull
        checks.push_back({item(Kind::metadata, pushed, pullFirst, Mark::unknown), NextAction::pull});
}

void addScreenshotCheck(std::vector<Check>& checks, const ReleaseFacts& facts) {
    const std::string title = "Screenshots on App Store Connect";
    if (!facts.screenshots)
        checks.push_back({item(Kind::screenshots, title, "Open Screenshots → Pull to check", Mark::unknown),
                          NextAction::checkScreenshots});
    else if (facts.screenshots->localeSets > 0)
        checks.push_back({item(Kind::screenshots, title,
                               counted(facts.screenshots->localeSets, " locale sets across ") +
                                   counted(facts.screenshots->displaySizes, " display sizes"),
                               Mark::ok),
                          NextAction::pushScreenshots});
    else
        checks.push_back({item(Kind::screenshots, title, "Pull or design a set, then Push", Mark::todo),
                          NextAction::pushScreenshots});
}

void addBuildChecks(std::vector<Check>& checks, const ReleaseFacts& facts, Stage stage) {
    const std::string attached = "A processed build is attached";
    const bool isProcessed = facts.build && facts.build->isProcessed;
    if (isProcessed)
        checks.push_back(
            {item(Kind::build, attached, "Apple has finished processing it", Mark::ok), NextAction::build});
    else if (facts.build)
        checks.push_back({item(Kind::build, attached, "Apple is still processing it", Mark::now),
                          NextAction::waitForProcessing});
    else
        checks.push_back(
            {item(Kind::build, attached, "Click Release to archive, export and upload", Mark::todo),
             NextAction::build});
    const std::string compliance = "Export compliance answered";
    if (stage != Stage::preparation)
        checks.push_back({item(Kind::build, compliance, "Declared — Apple accepted the submission", Mark::ok),
                          NextAction::answerCompliance});
    else if (isProcessed && facts.build->usesNonExemptEncryption)
        checks.push_back({item(Kind::build, compliance, "Declared on the processed build", Mark::ok),
                          NextAction::answerCompliance});
    else if (isProcessed)
        checks.push_back(
            {item(Kind::build, compliance,
                  "Missing — answer the encryption question on the build in App Store Connect, or set "
                  "ITSAppUsesNonExemptEncryption in Info.plist",
                  Mark::blocked),
             NextAction::answerCompliance});
    else
        checks.push_back({item(Kind::build, compliance, "Checked once a processed build exists", Mark::todo),
                          NextAction::build});
}

std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

void addSubmitChecks(std::vector<Check>& checks, const ReleaseFacts& facts) {
    const std::string contact = "Review contact filled in";
    const std::string loading = "Checking App Store Connect…";
    const auto& info = facts.reviewInfo;
    if (!info)
        checks.push_back(
            {item(Kind::submit, contact, loading, Mark::unknown), NextAction::loadReviewDetails});
    else if (info->missingContactFields.empty())
        checks.push_back({item(Kind::submit, contact, "Name, phone and email are on the version", Mark::ok),
                          NextAction::fillReviewContact});
    else
        checks.push_back({item(Kind::submit, contact,
                               "Missing " + joined(info->missingContactFields) +
                                   " — App Store Connect → version → App Review Information",
                               Mark::blocked),
                          NextAction::fillReviewContact});
    const bool isMissing = info && info->demoAccountMissing;
    checks.push_back(
        {item(Kind::submit, "Demo account provided",
              isMissing ? "Sign-in is marked required but the demo account is empty — the most common "
                          "avoidable rejection"
              : info    ? "Sign-in details for the reviewer"
                        : loading,
              isMissing ? Mark::blocked
              : info    ? Mark::ok
                        : Mark::unknown),
         isMissing ? NextAction::fillDemoAccount : NextAction::loadReviewDetails});
    checks.push_back(
        {item(Kind::submit, std::string(reviewerNotes),
              "Optional — worth a line if anything needs explaining (hardware, paid features, region)",
              info && info->hasNotes ? Mark::ok : Mark::todo),
         NextAction::submit, true});
}

Status statusInPreparation(const std::vector<Check>& checks, Kind kind, bool isReached) {
    bool isOpen = false;
    bool isBlocked = false;
    for (const Check& check : checks) {
        if (check.item.step != kind || !check.isOpen()) continue;
        isOpen = true;
        isBlocked = isBlocked || check.item.mark == Mark::blocked;
    }
    if (isBlocked) return Status::blocked;
    if (!isOpen && kind != Kind::submit) return Status::done;
    return isReached ? Status::now : Status::todo;
}

// The step at which a version of this stage is.
Kind stepOf(Stage stage) {
    switch (stage) {
    case Stage::preparation:
        return Kind::metadata;
    case Stage::submission:
        return Kind::submit;
    case Stage::review:
        return Kind::review;
    case Stage::approved:
    case Stage::live:
        return Kind::live;
    }
    return Kind::metadata;
}

std::string detailOf(Kind kind, const StateRow& row, const std::vector<Check>& checks) {
    const std::string own(row.detail);
    if (kind == Kind::submit) {
        const bool isSubmitted = row.stage != Stage::preparation && row.stage != Stage::submission;
        return isSubmitted ? "Submitted for review"
                           : "Open Metadata → Submit when Metadata and Build are green";
    }
    if (kind == Kind::review) {
        if (row.stage == Stage::review) return "Submission is with Apple — " + own;
        if (row.stage == Stage::preparation && !own.empty())
            return own + " — Fix what Apple flagged, then submit again";
        return row.stage == Stage::approved || row.stage == Stage::live ? "Approved" : "";
    }
    if (kind == Kind::live)
        return row.stage == Stage::live ? "Released — " + own : row.stage == Stage::approved ? own : "";
    for (const Check& check : checks) // what is open first, else what is known
        if (check.item.step == kind && check.isOpen()) return check.item.detail;
    for (const Check& check : checks)
        if (check.item.step == kind) return check.item.detail;
    return {};
}

Status statusOf(Kind kind, const StateRow& row, const std::vector<Check>& checks, bool isReached) {
    if (row.state == "INVALID_BINARY" && kind == Kind::build) return Status::blocked;
    if (row.stage == Stage::preparation) {
        if (kind == Kind::review) return row.detail.empty() ? Status::todo : Status::blocked;
        return kind == Kind::live ? Status::todo : statusInPreparation(checks, kind, isReached);
    }
    if (row.stage == Stage::live || kind < stepOf(row.stage)) return Status::done;
    if (kind > stepOf(row.stage)) return Status::todo;
    const bool needsAPerson =
        row.next == NextAction::answerCompliance || row.next == NextAction::signAgreement;
    return needsAPerson ? Status::blocked : Status::now;
}

NextAction nextOf(const StateRow& row, const std::vector<Check>& checks) {
    if (row.stage != Stage::preparation) return row.next;
    for (const Check& check : checks)
        if (check.isOpen()) return check.action;
    return row.next;
}

} // namespace

std::vector<Item> ReleasePipeline::openItems() const {
    std::vector<Item> open;
    for (const Item& one : items)
        if (one.mark != Mark::ok && one.title != reviewerNotes) open.push_back(one);
    return open;
}

ReleasePipeline releasePipelineOf(const ReleaseFacts& facts) {
    const StateRow noVersion{"", Stage::preparation, NextAction::createVersion, ""};
    const StateRow& row = facts.context ? rowOf(*facts.context) : noVersion;
    std::vector<Check> checks;
    addMetadataChecks(checks, facts);
    addScreenshotCheck(checks, facts);
    addBuildChecks(checks, facts, row.stage);
    addSubmitChecks(checks, facts);

    ReleasePipeline pipeline;
    pipeline.context = facts.context;
    bool isReached = facts.context.has_value();
    for (const Kind kind :
         {Kind::metadata, Kind::screenshots, Kind::build, Kind::submit, Kind::review, Kind::live}) {
        const Status status = statusOf(kind, row, checks, isReached);
        pipeline.steps.push_back({kind, status, detailOf(kind, row, checks)});
        isReached = isReached && status == Status::done;
    }
    for (Check& check : checks)
        pipeline.items.push_back(check.item);
    pipeline.next = facts.context ? nextOf(row, checks) : NextAction::createVersion;
    return pipeline;
}

} // namespace quorvel
