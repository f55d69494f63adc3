#include "Quorvel/assistants/ToolFailures.h"

#include "Quorvel/application/Failure.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace quorvel {

namespace {

struct AssistantHint {
    FailureKind kind;
    std::string_view text;
};

using F = FailureKind;
// Kinds without a row say what to do themselves.
constexpr AssistantHint hints[] = {
    {F::operationRunning, "Wait for it and call again."},
    {F::stalePlan, "Prepare it again and show the user what changed."},
    {F::buildNotConfigured, "The user chooses project and scheme with 'quorvel build config'."},
    {F::stillProcessing, "It goes on: call builds later."},
    {F::processingWaitCancelled, "The upload stands: call builds later."},
    {F::uploadUnknown, "Call builds to see what is there."},
    {F::unknownBuild, "Call builds for the list."},
    {F::buildNotUsable, "Call builds for the state of each."},
    {F::noEditableVersion, "Call prepare_version to make one."},
    {F::missingKey,
     "The user sets a key: 'quorvel auth set --key-id ID --issuer-id ID --p8 FILE', or ASC_KEY_ID, "
     "ASC_ISSUER_ID and ASC_PRIVATE_KEY_PATH in the environment of this server."},
    {F::keyIDMissing, "The user gives it with ASC_KEY_ID or 'quorvel auth set'."},
    {F::privateKeyMissing, "The user gives its file with ASC_PRIVATE_KEY_PATH or 'quorvel auth set'."},
    {F::vendorNumberMissing, "The user stores it with 'quorvel auth set --vendor-number NUMBER'."},
    {F::keyRefused, "The user checks the key with 'quorvel auth status'."},
    {F::severalApps, "Name one in \"app\"; overview lists them."},
    {F::unknownApp, "overview lists the recorded apps; pull with the bundle id records another."},
    {F::noAppRecorded, "Call pull with the bundle id of an app of the account, which records it."},
    {F::appInOtherWorkspace, "This server works in one workspace; 'quorvel workspaces use NAME' chooses it."},
    {F::notPulled, "Call pull first."},
    {F::screenshotsNotPulled, "The user runs 'quorvel screenshots pull' first."},
    {F::previewsNotPulled, "The user runs 'quorvel previews pull' first."},
    {F::noVersions, "Call prepare_version to make one."},
    {F::unknownRun, "Call history for the list."},
    {F::readOnly, "Call prepare_version to make one that takes changes."},
    {F::notReady, "Call app_status for what is missing."},
    {F::noModelAccess,
     "The AI service is not set up on this machine; write it yourself: store texts with write_texts, replies with "
     "prepare_reply."},
};

void addSentence(std::string& text, std::string_view sentence) {
    if (sentence.empty()) return;
    if (!text.empty() && text.find_last_of(".?!") != text.size() - 1) text += '.';
    text += (text.empty() ? "" : " ") + std::string(sentence);
}

} // namespace

std::string failureText(const std::exception& error) {
    const Failure failure = failureOf(error);
    std::string text;
    addSentence(text, failure.text);
    addSentence(text, failure.advice.value_or(""));
    const auto hint = std::ranges::find(hints, failure.kind, &AssistantHint::kind);
    if (hint != std::end(hints)) addSentence(text, hint->text);
    return text;
}

} // namespace quorvel
