#include "Core/build/BuildError.h"

#include "Core/build/ToolOutput.h"

namespace quorvel {

namespace {

constexpr std::size_t shownTailLines = 40;

std::string commandText(BuildStage stage, std::int32_t exitCode, std::string_view tail) {
    std::string text = "The build failed while " + std::string(rawValue(stage)) + " (exit code " +
                       std::to_string(exitCode) + ").";
    const auto causes = causesIn(tail);
    for (const std::string& cause : causes)
        text += "\n" + cause;
    const std::string last = lastLines(tail, causes.empty() ? shownTailLines : 10);
    if (!last.empty()) text += (causes.empty() ? "\n" : "\n\nThe last lines:\n") + last;
    return text;
}

} // namespace

BuildError::BuildError(Kind kind, BuildStage stage, const std::string& text, std::int32_t exitCode,
                       std::string tail)
    : std::runtime_error(text), kind_(kind), stage_(stage), exitCode_(exitCode), tail_(std::move(tail)) {}

BuildError BuildError::toolMissing(std::string text) {
    return {Kind::toolMissing, BuildStage::preflight, text};
}

BuildError BuildError::commandFailed(BuildStage stage, std::int32_t exitCode, std::string tail) {
    const std::string text = commandText(stage, exitCode, tail);
    return {Kind::commandFailed, stage, text, exitCode, std::move(tail)};
}

BuildError BuildError::noArtefact(BuildStage stage, std::string text) {
    return {Kind::noArtefact, stage, text};
}

BuildError BuildError::uploadRefused(std::string text) {
    return {Kind::uploadRefused, BuildStage::uploading, text};
}

BuildError BuildError::stopped(Kind kind, BuildStage stage, std::string text) {
    return {kind, stage, text};
}

} // namespace quorvel
