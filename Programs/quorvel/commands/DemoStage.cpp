#include "Programs/quorvel/commands/DemoStage.h"

#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Run.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

DemoStage::DemoStage(Invocation& invocation)
    : invocation_(invocation),
      folder_("quorvel-demo-"),
      server_({.stateFolder = folder_.path() / "sandbox", .seed = sandbox::Seed::demo}),
      indented_([this](std::string_view text) { say(text); }),
      inner_(innerSurroundings()) {}

void DemoStage::Indented::write(std::string_view text) {
    std::string moved;
    for (const char character : text) {
        if (atStart_ && character != '\n') moved += "   ";
        moved += character;
        atStart_ = character == '\n';
    }
    sink_(moved);
}

void DemoStage::say(std::string_view text) {
    (invocation_.output.isJSON() ? invocation_.surroundings.streams.error
                                 : invocation_.surroundings.streams.out)(text);
}

std::string DemoStage::styled(Style style, std::string_view text) const {
    return invocation_.output.isJSON() ? std::string(text) : invocation_.output.styled(style, text);
}

void DemoStage::step(std::string_view title, std::string_view text) {
    pause();
    ++number_;
    say("\n" + styled(Style::bold, fmt::format("{}. {}", number_, title)) + "\n");
    tell(text);
}

void DemoStage::pause() {
    Output& output = invocation_.output;
    if (invocation_.global.yes || output.isJSON() || !output.canAsk() ||
        !invocation_.surroundings.streams.outIsTerminal)
        return;
    say("\n");
    const auto answer = output.ask("   Return goes on, q ends:");
    if (!answer || asciiLowercase(trim(*answer)).starts_with('q')) throw Ended();
}

void DemoStage::benefit(std::string_view word, std::string_view text) {
    constexpr std::string_view indent = "     ";
    say(fmt::format("   • {}\n", styled(Style::bold, word)));
    const std::size_t width = innerWidth() > indent.size() ? innerWidth() : 0;
    say(wrapLines(fmt::format("{}{}", indent, text), width) + "\n");
}

void DemoStage::tell(std::string_view text) {
    constexpr std::size_t readable = 96;
    const std::size_t width = innerWidth();
    for (const std::string& line : wrap(text, width ? std::min(width, readable) : readable))
        say("   " + line + "\n");
}

void DemoStage::command(const std::vector<std::string>& words) {
    std::string line = "quorvel";
    for (const std::string& word : words)
        line += word.find(' ') == std::string::npos ? " " + word : fmt::format(" \"{}\"", word);
    say("\n" + styled(Style::cyan, " $ " + line) + "\n");
    std::vector<std::string> all = words;
    if (invocation_.global.verbose) all.push_back("--verbose");
    lastOutput_.clear();
    const ExitStatus status = run(all, inner_);
    steps_.push_back({line, static_cast<std::int64_t>(status)});
    if (status == ExitStatus::interrupted) throw CancellationError();
    if (status != ExitStatus::done)
        throw CommandError(
            status, fmt::format("the demo's \"{}\" ended with status {}", line, static_cast<int>(status)));
}

// Of the commands that it plays; 0: no bound.
std::size_t DemoStage::innerWidth() const {
    const Streams& outer = invocation_.surroundings.streams;
    return outer.outIsTerminal && outer.width > 20 ? outer.width - 3 : 0;
}

Surroundings DemoStage::innerSurroundings() {
    const auto write = [this](std::string_view text) {
        lastOutput_ += text;
        indented_.write(text);
    };
    const Surroundings& outer = invocation_.surroundings;
    Surroundings inner;
    inner.streams = {
        .out = write,
        .error = [=, width = innerWidth()](std::string_view text) { write(wrapLines(text, width)); },
        .readAll = [] { return std::string(); },
        .outIsTerminal = invocation_.output.showsColours() && !invocation_.output.isJSON(),
        .errorIsTerminal = false,
        .width = innerWidth(),
        .terminal = std::nullopt};
    inner.variable = [this](std::string_view name) -> std::optional<std::string> {
        if (name == "QUORVEL_HOME") return (folder_.path() / "home").string();
        if (name == "QUORVEL_XCRUN") return tools().string();
        if (name == "TMPDIR") return folder_.path().string();
        if (name == "QUORVEL_ENDPOINTS") return server_.access().endpointsFile.string();
        return std::nullopt;
    };
    inner.workingFolder = folder_.path();
    inner.program = outer.program;
    return inner;
}

} // namespace quorvel
