// Tools that change nothing.
#include "Quorvel/actions/BuildActions.h"
#include "Quorvel/actions/ChecklistActions.h"
#include "Quorvel/actions/CompareActions.h"
#include "Quorvel/actions/HistoryActions.h"
#include "Quorvel/actions/HomeActions.h"
#include "Quorvel/actions/ReleaseActions.h"
#include "Quorvel/actions/RevenueActions.h"
#include "Quorvel/actions/ScreenshotActions.h"
#include "Quorvel/actions/TestFlightActions.h"
#include "Quorvel/actions/TextActions.h"
#include "Quorvel/actions/TranslationActions.h"
#include "Quorvel/actions/VersionActions.h"
#include "Quorvel/assistants/Tools.h"

#include "Platform/text/Counted.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

std::string summaryOf(const ShowHome::Result& home) {
    std::string text =
        fmt::format("{}{}, {} for attention.", home.workspace ? home.workspace->name + ": " : "",
                    counted(home.apps.size(), "app"), home.attentionCount);
    if (home.apps.empty() && !home.hasRecordedApps)
        text += " No app is recorded yet: call pull with the bundle id of one.";
    if (!home.hasKey)
        text +=
            " No key for App Store Connect is set: the user runs 'quorvel auth set --key-id ID --issuer-id "
            "ID --p8 FILE', or sets ASC_KEY_ID, ASC_ISSUER_ID and ASC_PRIVATE_KEY_PATH for this server.";
    return text;
}

std::string summaryOf(const ShowChecklist::Result& result) {
    const ReleasePipeline& pipeline = result.checklist.pipeline;
    std::string text = result.checklist.app.displayName;
    if (pipeline.context)
        text += fmt::format(" {} {} ({})", pipeline.context->id(), pipeline.context->versionString,
                            pipeline.context->appStoreState);
    text += fmt::format(": next is {}.", rawValue(pipeline.next));
    for (const ReleasePipeline::Item& item : pipeline.openItems())
        text += fmt::format("\n- {}: {}", item.title, item.detail);
    return text;
}

std::string summaryOf(const DiffTexts::Result& result) {
    if (!result.wasPulled) return "Nothing was pulled yet, so it is not known what differs: call pull.";
    return fmt::format("{} of {} would be pushed or wait for a correction.",
                       counted(result.differences.size(), "change"), result.compared.context);
}

std::string summaryOf(const ShowTexts::Result& result) {
    return fmt::format("{} of {} in {}.", counted(result.texts.size(), "text"), result.context,
                       counted(result.locales.size(), "locale"));
}

std::string summaryOf(const CompareScreenshots::Result& result) {
    const ScreenshotStatus& status = result.status;
    if (!status.hasFolder) return fmt::format("There is no folder of screenshots: {}.", status.folder);
    return fmt::format("{}, {}.", counted(status.sets.size(), "set"),
                       counted(status.failures.size(), "problem"));
}

// The builds of an app, with those whose processing somebody waits for.
struct BuildsOfApp {
    AppReference app;
    std::vector<ASCBuildSummary> builds;
    std::vector<AwaitedBuildOfApp> awaited;
    QUORVEL_RECORD(BuildsOfApp, app, builds, awaited)
};

Tool buildsTool(Tool tool) {
    using Request = ListBuilds::Request;
    const JSONValue request = jsonSchema<Request>();
    tool.input = argumentsSchema(request, std::vector<std::string_view>{"app", "version"});
    tool.output = leanSchema(jsonSchema<BuildsOfApp>());
    tool.run = [request](ToolCall& call) {
        const auto wanted = decodeRequest<Request>(requestOf(call, request));
        auto listed = ListBuilds::perform(call.application, wanted, call.progress);
        BuildsOfApp result{std::move(listed.app), std::move(listed.builds), {}};
        result.awaited = ListAwaitedBuilds::perform(
                             call.application, {.app = result.app.appStoreId, .workspace = wanted.workspace})
                             .awaited;
        std::string text = fmt::format("{}, {} still being processed.",
                                       counted(result.builds.size(), "build"), result.awaited.size());
        return ToolOutcome{valueOf(result), std::move(text)};
    };
    return tool;
}

// The runs of an app, or one run with its entries.
struct PushesOfApp {
    AppReference app;
    std::vector<HistoryRun> runs;
    std::vector<ShowRun::Entry> entries; // of the run that was named
    QUORVEL_RECORD(PushesOfApp, app, runs, entries)
};

Tool historyTool(Tool tool) {
    const JSONValue ofRun = jsonSchema<ShowRun::Request>();
    tool.input = argumentsSchema(ofRun, std::vector<std::string_view>{"run", "app"});
    tool.input.erase("required");
    tool.output = leanSchema(jsonSchema<PushesOfApp>());
    tool.run = [ofRun](ToolCall& call) {
        if (call.arguments.find("run")) {
            auto shown =
                ShowRun::perform(call.application, decodeRequest<ShowRun::Request>(requestOf(call, ofRun)));
            const PushesOfApp result{std::move(shown.app), {std::move(shown.run)}, std::move(shown.entries)};
            ToolOutcome outcome{valueOf(result), counted(result.entries.size(), "field") + "."};
            outcome.list = "entries";
            return outcome;
        }
        const JSONValue all = jsonSchema<ListRuns::Request>();
        auto listed =
            ListRuns::perform(call.application, decodeRequest<ListRuns::Request>(requestOf(call, all)));
        const PushesOfApp result{std::move(listed.app), std::move(listed.runs), {}};
        return ToolOutcome{valueOf(result), counted(result.runs.size(), "run") + "."};
    };
    return tool;
}

// The sums of some days.
struct RevenueOfDays {
    std::string firstDay;
    std::string lastDay;
    std::string currency;
    double proceeds = 0;
    double previousProceeds = 0; // of as many days before
    std::int64_t downloads = 0;
    std::int64_t previousDownloads = 0;
    std::vector<ShowRevenue::Day> days;
    std::vector<ShowRevenue::AppShare> apps;
    std::optional<std::string> problem; // why not all of it is known
    QUORVEL_RECORD(RevenueOfDays, firstDay, lastDay, currency, proceeds, previousProceeds, downloads,
                   previousDownloads, days, apps, problem)
};

Tool revenueTool(Tool tool) {
    const JSONValue request = jsonSchema<ShowRevenue::Request>();
    tool.list = "days";
    tool.input = argumentsSchema(request, std::vector<std::string_view>{"days", "apps"});
    tool.output = leanSchema(jsonSchema<RevenueOfDays>());
    tool.run = [request](ToolCall& call) {
        auto shown = ShowRevenue::perform(
            call.application, decodeRequest<ShowRevenue::Request>(requestOf(call, request)), call.progress);
        RevenueOfDays result{std::move(shown.firstDay),
                             std::move(shown.lastDay),
                             std::move(shown.currency),
                             shown.proceeds,
                             shown.previousProceeds,
                             shown.downloads,
                             shown.previousDownloads,
                             std::move(shown.days),
                             std::move(shown.apps),
                             shown.failure ? std::move(shown.failure) : std::move(shown.ratesProblem)};
        std::string text = fmt::format(
            "{} to {}: {:.2f} {} and {}.", result.firstDay, result.lastDay, result.proceeds, result.currency,
            counted(static_cast<std::size_t>(std::max<std::int64_t>(0, result.downloads)),
                    "first-time download"));
        return ToolOutcome{valueOf(result), std::move(text)};
    };
    return tool;
}

} // namespace

std::vector<Tool> lookingTools() {
    return {
        actionTool<ShowHome>({.name = "overview",
                              .title = "Overview",
                              .description =
                                  "The workspace and its apps: what needs attention, is in review, is live, "
                                  "is not pushed. Start here.",
                              .asksServices = false,
                              .holdsForeignTexts = true,
                              .list = "apps"},
                             {"app"}, "", [](const auto& result) { return summaryOf(result); }),
        actionTool<ShowChecklist>(
            {.name = "app_status",
             .title = "App status",
             .description =
                 "What an app's coming version still needs: steps, open checks, next action, review state.",
             .holdsForeignTexts = true},
            {"app", "context"}, "checklist", [](const auto& result) { return summaryOf(result); }),
        actionTool<ListVersions>(
            {.name = "review_state",
             .title = "Review states",
             .description = "All versions of an app with their states, such as IN_REVIEW or REJECTED.",
             .holdsForeignTexts = true,
             .list = "versions"},
            {"app", "platform"}, "",
            [](const auto& result) { return counted(result.versions.size(), "version") + "."; }),
        actionTool<ShowTexts>(
            {.name = "read_texts",
             .title = "Read store texts",
             .description =
                 "The local store texts with length and limit. Give locales and fields to get less.",
             .asksServices = false,
             .holdsForeignTexts = true,
             .list = "texts"},
            {"app", "context", "locales", "fields"}, "",
            [](const auto& result) { return summaryOf(result); }),
        actionTool<DiffTexts>(
            {.name = "pending_changes",
             .title = "Pending changes",
             .description =
                 "Local store texts against the last pull, word by word, and what a push would leave out and why.",
             .asksServices = false,
             .holdsForeignTexts = true,
             .list = "differences"},
            {"app", "context"}, "", [](const auto& result) { return summaryOf(result); }),
        actionTool<CompareScreenshots>(
            {.name = "screenshots_status",
             .title = "Screenshots",
             .description = "Local screenshots against the last pull, with problems of the pictures.",
             .asksServices = false,
             .list = "sets"},
            {"app", "context", "locales", "displayTypes"}, "status",
            [](const auto& result) { return summaryOf(result); }),
        buildsTool({.name = "builds",
                    .title = "Builds",
                    .description = "An app's uploaded builds and their processing, newest first.",
                    .holdsForeignTexts = true,
                    .list = "builds"}),
        actionTool<ListTestGroups>(
            {.name = "testflight_groups",
             .title = "TestFlight groups",
             .description = "The groups of testers of an app: members, builds, newest build.",
             .holdsForeignTexts = true,
             .list = "groups"},
            {"app"}, "", [](const auto& result) { return counted(result.groups.size(), "group") + "."; }),
        actionTool<ShowPhasedRelease>(
            {.name = "phased_release",
             .title = "Phased release",
             .description = "How far the phased release of an app's versions is.",
             .holdsForeignTexts = true,
             .list = "versions"},
            {"app", "platform"}, "",
            [](const auto& result) { return counted(result.versions.size(), "version") + "."; }),
        historyTool({.name = "history",
                     .title = "Pushes so far",
                     .description = "What was pushed, the newest run first; with run each text before and "
                                    "after.",
                     .asksServices = false,
                     .holdsForeignTexts = true,
                     .list = "runs"}),
        revenueTool({.name = "revenue",
                     .title = "Revenue",
                     .description = "Proceeds and first-time downloads per day and app, against the days "
                                    "before.",
                     .holdsForeignTexts = true}),
        actionTool<ShowCosts>({.name = "costs",
                               .title = "AI costs",
                               .description = "What requests to the AI service cost.",
                               .asksServices = false},
                              {"days"}, "",
                              [](const auto& result) { return fmt::format("${:.4f}.", result.costUSD); }),
    };
}

} // namespace quorvel
