// Tools that change local files and records, and send nothing.
#include "Quorvel/actions/HistoryActions.h"
#include "Quorvel/actions/NotesActions.h"
#include "Quorvel/actions/PullActions.h"
#include "Quorvel/actions/TextActions.h"
#include "Quorvel/actions/TranslationActions.h"
#include "Quorvel/assistants/Tools.h"

#include "Platform/text/Counted.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

std::string summaryOf(const PullTexts::Result& result) {
    std::string text;
    for (const PullTexts::Pull& pull : result.pulls) {
        text += fmt::format("{}{} {}: ", text.empty() ? "" : "\n", pull.app.displayName,
                            pull.context.value_or(""));
        text += pull.failure ? pull.failure->text : "pulled.";
        if (pull.result && !pull.result->conflicts.empty())
            text += fmt::format(" In conflict, with the local edits kept aside: {}.",
                                pull.result->conflicts.size());
    }
    return text;
}

std::string summaryOf(const WriteTexts::Result& result) {
    const auto count = [&](WriteOutcome outcome) {
        return static_cast<std::size_t>(
            std::ranges::count(result.texts, outcome, &WriteTexts::Text::outcome));
    };
    std::string text =
        fmt::format("Wrote {} of {}.", counted(count(WriteOutcome::written), "text"), result.texts.size());
    if (const auto over = count(WriteOutcome::overLimit); over > 0)
        text += fmt::format(" {} above the limit and not written: shorten and write again.", over);
    return text + " A person has to read and accept them before a push takes them.";
}

std::string summaryOf(const RevertRun::Result& result) {
    return fmt::format("{} took their previous text; nothing is sent before a push.",
                       counted(result.report.reverted.size(), "text"));
}

// Plans and performs one after the other: what it costs is money of the AI service, but nothing is sent.
template <typename Plan, typename Perform>
Tool chainTool(Tool tool, std::vector<std::string_view> shown, std::string_view member,
               std::function<ToolOutcome(const typename Perform::Result&)> outcome) {
    const JSONValue request = jsonSchema<typename Plan::Request>();
    tool.input = argumentsSchema(request, shown);
    tool.output = leanSchema(memberSchema(jsonSchema<typename Perform::Result>(), member));
    tool.run = [request, outcome = std::move(outcome)](ToolCall& call) {
        typename Perform::Request wanted;
        wanted.plan =
            Plan::perform(call.application, decodeRequest<typename Plan::Request>(requestOf(call, request)),
                          call.progress)
                .plan;
        wanted.workspace = call.workspace;
        return outcome(Perform::perform(call.application, wanted, call.progress));
    };
    return tool;
}

ToolOutcome translated(const TranslateTexts::Result& result) {
    const auto failed = static_cast<std::size_t>(std::ranges::count_if(
        result.report.texts, [](const TranslatedText& text) { return text.error.has_value(); }));
    std::string text =
        fmt::format("Translated {} for ${:.4f}{}. A person has to read and accept them before a "
                    "push takes them.",
                    counted(result.report.texts.size() - failed, "text"), result.report.costUSD,
                    failed > 0 ? fmt::format("; {} failed", failed) : "");
    return {valueOf(result.report), std::move(text), failed > 0};
}

ToolOutcome drafted(const DraftReleaseNotes::Result& result) {
    return {valueOf(result.report),
            "A draft, written nowhere yet: show it to the user, then write it with write_texts."};
}

} // namespace

std::vector<Tool> editingTools() {
    return {
        actionTool<PullTexts>(
            {.name = "pull",
             .title = "Pull",
             .description =
                 "Copy an app's store texts from App Store Connect into its local folder; records the app "
                 "first where it is new. Merges local edits, or leaves them with leaveEdits.",
             .reach = ToolReach::edits,
             .holdsForeignTexts = true,
             .list = "pulls"},
            {"app", "context", "allContexts", "leaveEdits"}, "",
            [](const auto& result) { return summaryOf(result); }),
        actionTool<WriteTexts>(
            {.name = "write_texts",
             .title = "Write store texts",
             .description =
                 "Write local store texts, several at once; one above its limit is not written. What is replaced is backed up.",
             .reach = ToolReach::edits,
             .asksServices = false,
             .list = "texts"},
            {"texts", "app", "context"}, "", [](const auto& result) { return summaryOf(result); }),
        actionTool<AcceptTexts>(
            {.name = "accept_texts",
             .title = "Accept texts",
             .description = "Mark generated texts as read by the user, so that a push takes them.",
             .reach = ToolReach::edits,
             .asksServices = false},
            {"app", "context", "locales", "fields"}, "texts",
            [](const auto& result) {
                return fmt::format("Accepted {}.", counted(result.texts.accepted.size(), "text"));
            }),
        chainTool<PlanTranslation, TranslateTexts>(
            {.name = "translate",
             .title = "Translate",
             .description =
                 "Translate missing or outdated local store texts from one locale to others with the AI service. Costs money.",
             .reach = ToolReach::edits,
             .holdsForeignTexts = true,
             .list = "texts"},
            {"app", "context", "to", "from", "fields", "all"}, "report", translated),
        actionTool<ExpandEnglishKeywords>(
            {.name = "keywords",
             .title = "Coordinate keywords",
             .description =
                 "Spread keywords over the four English locales without repeats, with the AI service. Costs money.",
             .reach = ToolReach::edits,
             .holdsForeignTexts = true},
            {"app", "context", "all"}, "keywords",
            [](const auto& result) {
                return fmt::format("{} for ${:.4f}.", counted(result.keywords.entries.size(), "locale"),
                                   result.keywords.costUSD);
            }),
        chainTool<PlanReleaseNotes, DraftReleaseNotes>(
            {.name = "draft_release_notes",
             .title = "Draft release notes",
             .description =
                 "Draft release notes from git commits (from, to: tags or commits; else since the last version). Writes nothing; costs money.",
             .reach = ToolReach::edits,
             .holdsForeignTexts = true},
            {"app", "context", "from", "to", "include", "exclude"}, "report", drafted),
        actionTool<RevertRun>(
            {.name = "revert_run",
             .title = "Revert a push",
             .description = "Write back locally what a push replaced (see history); prepare_push sends it.",
             .reach = ToolReach::edits,
             .asksServices = false},
            {"run", "app"}, "report", [](const auto& result) { return summaryOf(result); }),
    };
}

} // namespace quorvel
