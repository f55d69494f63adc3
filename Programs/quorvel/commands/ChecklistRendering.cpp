#include "Programs/quorvel/commands/ChecklistRendering.h"

#include "Core/build/VersionStateTexts.h"
#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Wording.h"
#include "Programs/quorvel/commands/NextStep.h"
#include "Programs/quorvel/commands/TextReports.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

using Step = ReleasePipeline::Step;
using Item = ReleasePipeline::Item;

struct Sign {
    std::string_view mark;
    Style style;
};

// The marks tell the statuses apart without colours, too.
Sign signOf(Step::Status status) {
    switch (status) {
    case Step::Status::done:
        return {"✓", Style::green};
    case Step::Status::now:
        return {"▸", Style::yellow};
    case Step::Status::todo:
        return {"○", Style::dim};
    case Step::Status::blocked:
        return {"✗", Style::red};
    }
    return {" ", Style::plain};
}

Sign signOf(Item::Mark mark) {
    switch (mark) {
    case Item::Mark::ok:
        return signOf(Step::Status::done);
    case Item::Mark::now:
        return signOf(Step::Status::now);
    case Item::Mark::todo:
        return signOf(Step::Status::todo);
    case Item::Mark::blocked:
        return signOf(Step::Status::blocked);
    case Item::Mark::unknown:
        return {"?", Style::dim};
    }
    return {" ", Style::plain};
}

std::string_view titleOf(Step::Kind kind) {
    switch (kind) {
    case Step::Kind::metadata:
        return "Metadata";
    case Step::Kind::screenshots:
        return "Screenshots";
    case Step::Kind::build:
        return "Build";
    case Step::Kind::submit:
        return "Submit";
    case Step::Kind::review:
        return "Review";
    case Step::Kind::live:
        return "Live";
    }
    return {};
}

// A mark, a title and a detail: on one line where that fits, else the detail below.
class ChecklistLines {
  public:
    explicit ChecklistLines(Output& output)
        : output_(output),
          width_(output.streams().outIsTerminal && output.streams().width > 0 ? output.streams().width : 0) {}

    void print(std::size_t indent, const Sign& sign, std::string_view title, std::size_t titleWidth,
               const std::string& detail, Style titleStyle) const {
        const std::string start = fmt::format("{:{}}{} {}", "", indent, output_.styled(sign.style, sign.mark),
                                              output_.styled(titleStyle, title));
        if (detail.empty()) return output_.styledLine(start);
        const std::size_t at = indent + 2 + titleWidth + 2;
        if (width_ == 0 || at + displayWidth(detail) <= width_) {
            output_.styledLine(fmt::format("{}{:{}}{}", start, "", titleWidth - displayWidth(title) + 2,
                                           output_.styled(Style::dim, detail)));
            return;
        }
        output_.styledLine(start);
        const std::size_t below = indent + 4;
        for (const std::string& line : wrap(detail, width_ > below + 10 ? width_ - below : 10))
            output_.styledLine(fmt::format("{:{}}{}", "", below, output_.styled(Style::dim, line)));
    }

  private:
    Output& output_;
    std::size_t width_;
};

std::size_t widestTitle(const std::vector<Item>& items) {
    std::size_t widest = 0;
    for (const Item& item : items)
        widest = std::max(widest, displayWidth(item.title));
    return widest;
}

} // namespace

void printChecklist(Invocation& invocation, const ReleaseChecklist& checklist) {
    Output& output = invocation.output;
    const ReleasePipeline& pipeline = checklist.pipeline;
    const std::string name = output.styled(Style::bold, escapeControls(checklist.app.displayName));
    if (const auto& context = pipeline.context) {
        output.styledLine(name);
        output.styledLine(fmt::format(
            "{} {}  {}", context->id(), escapeControls(context->versionString),
            output.styled(styleOfState(context->appStoreState), statePill(context->appStoreState))));
        if (const auto locked = lockedExplanation(context->appStoreState)) output.line(*locked);
    } else {
        output.styledLine(name + "  no version is being prepared");
    }
    output.line();
    const ChecklistLines lines(output);
    constexpr std::size_t stepWidth = 11; // "Screenshots"
    for (const Step& step : pipeline.steps) {
        const bool hasItems =
            step.kind <= Step::Kind::submit && pipeline.context && pipeline.context->takesPushes();
        lines.print(0, signOf(step.status), titleOf(step.kind), stepWidth,
                    hasItems && step.kind != Step::Kind::submit ? "" : inCommands(step.detail), Style::bold);
        if (!hasItems) continue;
        for (const Item& item : pipeline.items)
            if (item.step == step.kind)
                lines.print(2, signOf(item.mark), item.title, widestTitle(pipeline.items),
                            inCommands(item.detail), Style::plain);
    }
    output.line();
    if (const auto missing = checklist.localesWithoutNotes.size();
        missing > 0 && pipeline.context && pipeline.context->takesPushes())
        output.line(
            fmt::format("{} {} no release notes yet, without which App Store Connect takes no update.",
                        counted(missing, "locale"), missing == 1 ? "has" : "have"));
    printNextAction(invocation, pipeline);
}

void printNextAction(Invocation& invocation, const ReleasePipeline& pipeline) {
    const NextStep step = nextStepOf(pipeline.next);
    const std::string word = invocation.output.styled(Style::bold, "Next");
    const Streams& streams = invocation.output.streams();
    const std::string line = fmt::format(
        "{}: {}{}", word, step.sentence,
        step.command.empty() ? "." : ": " + commandText(step, pipeline.context, invocation.global));
    invocation.output.styledLine(wrapLines(line, streams.outIsTerminal ? streams.width : 0));
}

} // namespace quorvel
