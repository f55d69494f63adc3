#include "Programs/quorvel/commands/NextStep.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

struct NextStepRow {
    NextAction action;
    NextStep step;
};

using N = NextAction;

const NextStepRow nextSteps[] = {
    {N::createVersion, {"Make the next version", {"versions", "create", "--version", "VERSION"}, false}},
    {N::pull, {"Pull the texts of this version", {"pull"}, true}},
    {N::trimTexts, {"Shorten the texts that are over their limit; this shows which", {"status"}, false}},
    {N::addLocales, {"Add a locale and write its texts", {"locale", "add", "LOCALE"}, false}},
    {N::pushTexts, {"Push the changed texts", {"push"}, true}},
    {N::checkScreenshots, {"Look which screenshots App Store Connect has", {"screenshots", "pull"}, true}},
    {N::pushScreenshots,
     {"Put screenshots into the app's folder and push them", {"screenshots", "push"}, true}},
    {N::build, {"Build the app and upload it", {"build", "run"}, true}},
    {N::waitForProcessing, {"Wait until Apple has processed the build", {"build", "resume"}, true}},
    {N::answerCompliance,
     {"Answer the encryption question of the build, with --exempt or --not-exempt",
      {"builds", "compliance"},
      false}},
    {N::loadReviewDetails, {"Look again", {"checklist"}, false}},
    {N::fillReviewContact,
     {"Fill in the review contact, on App Store Connect → the version → App Review Information"}},
    {N::fillDemoAccount,
     {"Give the demo account, on App Store Connect → the version → App Review Information"}},
    {N::submit, {"Submit it for review", {"submit"}, true}},
    {N::finishSubmission, {"Finish the submission that was begun", {"submit"}, true}},
    {N::waitForReview, {"Wait: the version is with App Review"}},
    {N::signAgreement, {"Sign the agreement, on App Store Connect → Agreements"}},
    {N::release, {"Release it", {"release"}, true}},
    {N::waitForRelease, {"Wait: Apple brings the version to the App Store"}},
};
static_assert(std::size(nextSteps) == std::size(RawValues<NextAction>::values));

// Without the values that somebody has to fill in.
std::string commandNameOf(const NextStep& step) {
    std::string name;
    for (const std::string_view word : step.command) {
        if (word.starts_with('-') || (word.front() >= 'A' && word.front() <= 'Z')) break;
        name += (name.empty() ? "" : " ") + std::string(word);
    }
    return name;
}

} // namespace

NextStep nextStepOf(NextAction action) {
    return std::ranges::find(nextSteps, action, &NextStepRow::action)->step;
}

std::vector<std::string> commandWords(const NextStep& step, const std::optional<PlatformContext>& context,
                                      const GlobalOptions& global) {
    std::vector<std::string> words(step.command.begin(), step.command.end());
    const Command* command = findCommand(commandNameOf(step));
    if (!command) return words;
    const auto add = [&](std::string_view name, const std::optional<std::string>& value) {
        if (!value || std::ranges::find(command->heeds, name) == command->heeds.end()) return;
        words.emplace_back(name);
        words.push_back(*value);
    };
    add("--workspace", global.workspace);
    add("--app", global.app);
    add("--context", global.context);
    const auto platform = std::ranges::find(command->arguments, "--platform", &ArgumentSpec::name);
    const bool isNeeded =
        platform != command->arguments.end() && (platform->need == ArgumentSpec::Need::required ||
                                                 (context && context->platform != ASCPlatform::iOS));
    if (isNeeded) {
        words.emplace_back("--platform");
        words.emplace_back(context ? platformFolderName(context->platform) : "PLATFORM");
    }
    return words;
}

std::string commandText(const NextStep& step, const std::optional<PlatformContext>& context,
                        const GlobalOptions& global) {
    std::vector<std::string> words = commandWords(step, context, global);
    for (std::string& word : words)
        if (word.find(' ') != std::string::npos) word = fmt::format("\"{}\"", word);
    return fmt::format("quorvel {}", fmt::join(words, " "));
}

} // namespace quorvel
