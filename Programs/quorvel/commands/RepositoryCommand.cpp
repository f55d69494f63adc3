#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Quorvel/actions/RepositoryActions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <filesystem>

namespace quorvel {

namespace {

// A question of init: what may be answered, and what an empty line means.
struct PartQuestion {
    std::string_view text;                // such as "Which tree of store texts?"
    std::vector<std::string> choices;     // listed with numbers; another value may be typed
    std::optional<std::string> unchanged; // taken for an empty line; nothing: left out
};

std::optional<std::string> chosenOf(const std::vector<std::string>& choices, const std::string& answer) {
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(answer.data(), answer.data() + answer.size(), number);
    const bool isNumber = error == std::errc{} && end == answer.data() + answer.size();
    if (!isNumber || choices.empty()) return answer;
    return number >= 1 && number <= choices.size() ? std::optional(choices[number - 1]) : std::nullopt;
}

std::optional<std::string> askPart(Output& output, const PartQuestion& question) {
    output.showOnTerminal([&](Output& terminal) {
        terminal.line(question.text);
        for (std::size_t place = 0; place < question.choices.size(); ++place)
            terminal.line(fmt::format("  {}  {}", place + 1, question.choices[place]));
    });
    for (;;) {
        const auto answer =
            output.ask(question.unchanged ? fmt::format("A number or another [{}]: ", *question.unchanged)
                                          : "A number or another (Enter: none): ");
        if (!answer) throw CommandError(ExitStatus::failed, "Nothing was written.");
        const std::string typed(trim(*answer));
        if (typed.empty()) return question.unchanged;
        if (auto chosen = chosenOf(question.choices, typed)) return chosen;
        output.note(fmt::format("{} is none of the numbers.", quotedWord(typed)));
    }
}

std::vector<std::string> shownPaths(const std::vector<std::string>& paths,
                                    const std::filesystem::path& from) {
    std::vector<std::string> shown;
    for (const std::string& path : paths)
        shown.push_back(std::filesystem::path(path).lexically_relative(from).string());
    return shown;
}

std::vector<std::string> namesOf(const std::vector<PlanRepository::AppName>& apps) {
    std::vector<std::string> names;
    for (const auto& app : apps)
        names.push_back(app.bundleId);
    return names;
}

// Whatever no option answered.
PlanRepository::Request askedRequest(Invocation& invocation, PlanRepository::Request request,
                                     const PlanRepository::Result& plan) {
    Output& output = invocation.output;
    const auto folder = std::filesystem::path(plan.content.file).parent_path();
    const auto shown = [&](const std::optional<std::string>& path) {
        return path ? std::optional(shownPaths({*path}, folder).front()) : std::nullopt;
    };
    if (!request.app) {
        for (const auto& app : plan.apps)
            output.note(fmt::format("{} is {}.", app.bundleId, escapeControls(app.displayName)));
        request.app =
            askPart(output, {"Which app? Its bundle id:", namesOf(plan.apps),
                             plan.content.app.empty() ? std::nullopt : std::optional(plan.content.app)});
    }
    if (!request.tree)
        request.tree =
            askPart(output, {"Where are the store texts? A folder:", shownPaths(plan.found.trees, folder),
                             shown(plan.content.tree)});
    const std::vector<std::string> everyPlatform = {"ios", "macos", "tvos", "visionos"};
    if (!request.platform)
        request.platform =
            askPart(output, {"Whose coming version is worked on? Left out, each command takes "
                             "the one that was pulled:",
                             plan.platforms.empty() ? everyPlatform : plan.platforms, std::nullopt});
    if (!request.screenshots)
        request.screenshots = askPart(
            output, {"Where are the screenshots? A folder:", shownPaths(plan.found.screenshots, folder),
                     shown(plan.content.screenshots)});
    if (!request.project)
        request.project =
            askPart(output, {"Which Xcode project is built?", shownPaths(plan.found.projects, folder),
                             shown(plan.content.project)});
    return request;
}

void requireAnswer(const std::vector<std::string>& found, const std::optional<std::string>& taken,
                   std::string_view what, std::string_view option) {
    if (taken || found.size() < 2) return;
    throw UsageError(fmt::format("there are several {}", what),
                     fmt::format("Say which with {}: {}.", option, fmt::join(found, ", ")));
}

ExitStatus init(Invocation& invocation) {
    auto request = requestOf<PlanRepository::Request>(invocation);
    const Arguments& arguments = invocation.arguments;
    request.tree = arguments.value("--tree");
    request.screenshots = arguments.value("--screenshots");
    request.project = arguments.value("--project");
    request.platform = arguments.value("--platform");
    const bool overwrite = arguments.has("--overwrite");
    const bool isDryRun = invocation.global.dryRun;
    Output& output = invocation.output;
    auto plan = perform<PlanRepository>(invocation, request);
    if (plan.exists && !overwrite && !isDryRun)
        throw CommandError(ExitStatus::failed, fmt::format("{} is there already", plan.content.file),
                           "Edit it, or replace it with --overwrite.");
    if (output.canAsk() && !invocation.global.yes && !isDryRun)
        plan = perform<PlanRepository>(invocation, askedRequest(invocation, request, plan));
    if (plan.content.app.empty())
        throw UsageError("say which app",
                         plan.apps.empty()
                             ? "Name its bundle id with --app."
                             : fmt::format("Name one with --app: {}.", fmt::join(namesOf(plan.apps), ", ")));
    if (!output.canAsk() || invocation.global.yes) {
        requireAnswer(plan.found.trees, plan.content.tree, "trees of store texts", "--tree");
        requireAnswer(plan.found.screenshots, plan.content.screenshots, "folders of screenshots",
                      "--screenshots");
        requireAnswer(plan.platforms, plan.content.context, "platforms that the texts may be of",
                      "--platform");
        requireAnswer(plan.found.projects, plan.content.project, "projects", "--project");
    }
    if (isDryRun) {
        output.document(plan);
        if (!output.isJSON()) output.raw(plan.text);
        output.note(fmt::format("Dry run: {} was not written.", plan.content.file));
        return ExitStatus::done;
    }
    output.document(perform<WriteRepository>(invocation, {plan.content, overwrite}));
    output.line(fmt::format("Wrote {}. In this folder and below, commands need no --app and no --folder.",
                            plan.content.file));
    if (!plan.ignoresPrivateFolder)
        output.note(fmt::format("Write {} into .gitignore: pulled copies and backups lie there, which belong "
                                "to one checkout alone.",
                                privateFolderPattern));
    return ExitStatus::done;
}

} // namespace

std::vector<Command> repositoryCommands() {
    return {
        {.name = "init",
         .summary = "Write a quorvel.toml that names the app of this repository",
         .arguments = {{"--tree", "DIR",
                        "The folder of store texts; a folder \"metadata\" where none is found"},
                       {"--screenshots", "DIR", "The folder of pictures"},
                       {"--project", "PATH", "The Xcode project or workspace that is built"},
                       {"--platform",
                        "PLATFORM",
                        "Whose coming version is worked on",
                        {"ios", "macos", "tvos", "visionos"}},
                       {"--overwrite", "", "Replace a quorvel.toml that is there"}},
         .heeds = {"--app", "--workspace", "--dry-run", "--yes"},
         .run = init,
         .details =
             "Every command that runs in the folder of the file or below it works with the app, the tree, the "
             "version, the pictures and the project that it names. Options go before it, then the variables "
             "QUORVEL_APP and QUORVEL_CONTEXT. On a terminal it is asked what no option says; with --yes, or "
             "where nobody can be asked, what is found is taken. The search for the file ends at the top of "
             "the repository, and at your home folder. --dry-run prints the file. "
             "For example: quorvel init --app com.example.app --tree metadata --yes"},
    };
}

} // namespace quorvel
