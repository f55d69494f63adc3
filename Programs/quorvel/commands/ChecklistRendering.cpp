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

std::size_t widestTitle(const std::vector<Item>& items) {
    std::size_t widest = 0;
    for (const Item& item : items)
        widest = std::max(widest, displayWidth(item.title));
    return widest;
}

// What a check would have to be done for says nothing about a step that is behind.
std::string detailOf(const Step& step, const ReleasePipeline& pipeline) {
    const bool isBehind = step.status == Step::Status::done && step.kind < Step::Kind::submit;
    const auto open = pipeline.openItems();
    return isBehind && std::ranges::find(open, step.kind, &Item::step) != open.end() ? "" : step.detail;
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
    constexpr std::size_t stepWidth = 11; // "Screenshots"
    for (const Step& step : pipeline.steps) {
        const bool hasItems =
            step.kind <= Step::Kind::submit && pipeline.context && pipeline.context->takesPushes();
        const Sign sign = signOf(step.status);
        printMarked(output, {.mark = sign.mark,
                             .markStyle = sign.style,
                             .title = titleOf(step.kind),
                             .titleStyle = Style::bold,
                             .titleWidth = stepWidth,
                             .detail = hasItems && step.kind != Step::Kind::submit
                                           ? ""
                                           : inCommands(detailOf(step, pipeline))});
        if (!hasItems) continue;
        for (const Item& item : pipeline.items)
            if (item.step == step.kind)
                printMarked(output, {.mark = signOf(item.mark).mark,
                                     .markStyle = signOf(item.mark).style,
                                     .title = item.title,
                                     .titleWidth = widestTitle(pipeline.items),
                                     .detail = inCommands(item.detail),
                                     .indent = 2});
    }
    output.line();
    if (const auto missing = checklist.localesWithoutNotes.size();
        missing > 0 && pipeline.context && pipeline.context->takesPushes())
        output.line(
            fmt::format("{} {} no release notes yet, without which App Store Connect takes no update.",
                        counted(missing, "locale"), missing == 1 ? "has" : "have"));
    printNextAction(invocation, pipeline);
}

void printMarked(Output& output, const MarkedLine& line) {
    const Streams& streams = output.streams();
    const std::size_t width = streams.outIsTerminal ? streams.width : 0; // 0: no bound
    const std::string detail = escapeControls(line.detail);
    const std::string start =
        fmt::format("{:{}}{} {}", "", line.indent, output.styled(line.markStyle, line.mark),
                    output.styled(line.titleStyle, escapeControls(line.title)));
    if (detail.empty()) return output.styledLine(start);
    const std::size_t at = line.indent + 2 + line.titleWidth + 2;
    if (width == 0 || at + displayWidth(detail) <= width) {
        const std::size_t gap = at - line.indent - 2 - std::min(displayWidth(line.title), line.titleWidth);
        return output.styledLine(fmt::format("{}{:{}}{}", start, "", gap, output.styled(Style::dim, detail)));
    }
    output.styledLine(start);
    const std::size_t below = line.indent + 4;
    for (const std::string& piece : wrap(detail, width > below + 10 ? width - below : 10))
        output.styledLine(fmt::format("{:{}}{}", "", below, output.styled(Style::dim, piece)));
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
