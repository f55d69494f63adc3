#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/LiveLines.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/Wording.h"
#include "Programs/quorvel/commands/BuildOptions.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/BuildActions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace quorvel {

namespace {

const std::vector<std::string_view> buildPlatformChoices = {"ios", "macos"};

// A flag and the one that means the opposite.
std::optional<bool> switchOf(const Arguments& arguments, std::string_view on, std::string_view off) {
    if (arguments.has(on) && arguments.has(off))
        throw UsageError(fmt::format("{} and {} are opposites", on, off));
    if (arguments.has(on)) return true;
    return arguments.has(off) ? std::optional(false) : std::nullopt;
}

BuildConfigRequest buildConfigRequestOf(const Invocation& invocation) {
    const Arguments& arguments = invocation.arguments;
    auto request = requestOf<BuildConfigRequest>(invocation);
    request.platform = arguments.value("--platform");
    request.config = {.projectPath = arguments.value("--project"),
                      .scheme = arguments.value("--scheme"),
                      .configuration = arguments.value("--configuration"),
                      .exportMethod = arguments.value("--export-method"),
                      .autoDeclareEncryptionExempt =
                          switchOf(arguments, "--exempt-encryption", "--no-exempt-encryption"),
                      .autoAttachBuildToVersion = switchOf(arguments, "--attach", "--no-attach"),
                      .autoIncrementBuildNumber = switchOf(arguments, "--increment", "--no-increment")};
    return request;
}

std::string_view platformTag(TargetPlatform platform) {
    return namesOf(platform).altoolType;
}

ExitStatus listSchemes(Invocation& invocation) {
    auto request = requestOf<ListSchemes::Request>(invocation);
    request.project = invocation.arguments.value("--project");
    request.platform = invocation.arguments.value("--platform");
    const auto result = perform<ListSchemes>(invocation, request);
    invocation.output.document(result);
    for (const std::string& scheme : result.schemes)
        invocation.output.line(scheme);
    invocation.output.note(result.schemes.empty()
                               ? fmt::format("{} has no scheme.", result.project)
                               : fmt::format("These are the schemes of {}.", result.project));
    return ExitStatus::done;
}

void printBuildConfig(Output& output, const BuildConfig& config) {
    const auto print = [&](std::string_view name, std::string_view value) {
        output.line(fmt::format("{:<15}{}", name, value.empty() ? "(not chosen)" : escapeControls(value)));
    };
    print("Platform", platformTag(config.platform));
    print("Project", config.projectPath);
    print("Scheme", config.scheme);
    print("Configuration", config.configuration);
    print("Export method", config.exportMethod);
    print("Build number", config.autoIncrementBuildNumber ? "goes up by itself" : "stays as it is");
    print("Encryption",
          config.autoDeclareEncryptionExempt ? "declared exempt after the upload" : "not declared by itself");
    print("Version", config.autoAttachBuildToVersion ? "gets the processed build" : "is left to you");
}

ExitStatus configureBuild(Invocation& invocation) {
    const auto request = buildConfigRequestOf(invocation);
    const bool changes = request.config != BuildConfigChanges{};
    const auto result =
        changes ? perform<SaveBuildConfig>(invocation, request)
                : perform<ShowBuildConfig>(invocation, {request.platform, request.app, request.workspace});
    Output& output = invocation.output;
    output.document(result);
    printBuildConfig(output, result.chosen.config);
    for (const std::string& remark : result.chosen.remarks)
        output.note(remark);
    if (changes) output.note(buildConfigSavedText);
    return ExitStatus::done;
}

// "1.2 → 3.5", or the one that stays.
std::string change(const std::optional<std::string>& before, const std::optional<std::string>& after) {
    const std::string from = escapeControls(before.value_or("(unknown)"));
    return before == after ? from : fmt::format("{} → {}", from, escapeControls(after.value_or("(unknown)")));
}

std::vector<std::string> followUpsOf(const BuildConfig& config) {
    std::vector<std::string> steps;
    if (config.autoDeclareEncryptionExempt) steps.emplace_back("declare that it uses only exempt encryption");
    if (config.autoAttachBuildToVersion)
        steps.emplace_back("attach it to the version that is being prepared");
    return steps;
}

void printBuildPlan(Output& output, const BuildRunPlan& plan) {
    const BuildNumbers& numbers = plan.numbers;
    output.line(fmt::format("{} for {}, from {}", escapeControls(plan.app.displayName),
                            platformTag(plan.config.platform), escapeControls(plan.config.projectPath)));
    const auto print = [&](std::string_view name, const std::string& value) {
        output.line(fmt::format("  {:<9}{}", name, value));
    };
    print("Version", change(numbers.projectVersion, numbers.marketingVersion) +
                         (numbers.editableVersion ? ", which is being prepared" : ""));
    print("Build", change(numbers.projectNumber, numbers.buildNumber) +
                       (numbers.highestNumber ? fmt::format(" (the highest on App Store Connect is {})",
                                                            escapeControls(*numbers.highestNumber))
                                              : ""));
    print("Archive", fmt::format("scheme {}, {}, into {}", escapeControls(plan.config.scheme),
                                 plan.config.configuration, plan.workdir));
    print("Upload", fmt::format("exported with {}, with the key {}", plan.config.exportMethod, plan.keyID));
    auto steps = followUpsOf(plan.config);
    steps.insert(steps.begin(), "wait until it is processed");
    print("Then", fmt::format("{}", fmt::join(steps, ", ")));
}

void warnAll(Output& output, const std::vector<std::string>& remarks) {
    for (const std::string& remark : remarks)
        output.warning(remark);
}

LiveLines::Form formOfLines(const Invocation& invocation) {
    if (invocation.global.quiet) return LiveLines::Form::silent;
    const Streams& streams = invocation.output.streams();
    return streams.errorIsTerminal && streams.takesSequences ? LiveLines::Form::live : LiveLines::Form::lines;
}

template <typename Action>
typename Action::Result performLive(Invocation& invocation, const typename Action::Request& request,
                                    const Consent& consent) {
    // What these two stages say is all ours, and short.
    LiveLines lines(invocation.output.streams(), formOfLines(invocation), {"preflight", "attaching"});
    ActionProgress progress;
    progress.line = [&](const ActionProgress::Line& line) { lines.line(line.stage, line.text); };
    return perform<Action>(invocation, request, consent, progress);
}

// The first line, then what matters, then where the rest is.
void printBuildFailure(Output& output, const BuildRunReport& report) {
    const Failure& failure = *report.failure;
    std::string text = inCommands(failure.text);
    const std::size_t end = text.find('\n');
    output.error(text.substr(0, end), "");
    if (!report.causes.empty()) {
        for (const std::string& cause : report.causes)
            output.detail(fmt::format("  {}", escapeControls(cause)));
    } else if (end != std::string::npos) {
        for (std::string_view rest = std::string_view(text).substr(end + 1); !rest.empty();) {
            const std::size_t lineEnd = std::min(rest.find('\n'), rest.size());
            if (lineEnd > 0) output.detail(fmt::format("  {}", escapeControls(rest.substr(0, lineEnd))));
            rest.remove_prefix(std::min(lineEnd + 1, rest.size()));
        }
    }
    output.detail(fmt::format("The log is {}", report.log));
    if (const auto hint = reportOf(failure).hint; !hint.empty()) output.detail(hint);
}

ExitStatus printBuildReport(Output& output, const BuildRunReport& report) {
    warnAll(output, report.run.remarks);
    if (report.savedConfig) output.note(buildConfigSavedText);
    if (report.failure) {
        printBuildFailure(output, report);
        return statusOf(report.failure->kind);
    }
    output.line(fmt::format("Build is ready for review (v{}, build {}).",
                            escapeControls(report.run.marketingVersion.value_or("?")),
                            escapeControls(report.run.readyBuildVersion.value_or("?"))));
    output.note(fmt::format("The log is {}", report.log));
    return report.run.failedFollowUps > 0 ? ExitStatus::partlyDone : ExitStatus::done;
}

ExitStatus runBuildCommand(Invocation& invocation) {
    Output& output = invocation.output;
    const auto planned = perform<PlanBuild>(invocation, buildConfigRequestOf(invocation));
    const BuildRunPlan& plan = planned.plan;
    for (const std::string& choice : plan.choices)
        output.note(choice);
    if (invocation.global.dryRun) {
        output.document(planned);
        printBuildPlan(output, plan);
        warnAll(output, plan.remarks);
        output.note("Dry run: nothing was built or uploaded.");
        return ExitStatus::done;
    }
    if (plan.awaited)
        output.note(fmt::format("Nobody waits any more for build {} ({}), which was uploaded before.",
                                plan.awaited->buildNumber, plan.awaited->marketingVersion));
    const Consent consent = askConsent(
        invocation, {fmt::format("Build {} {} ({}) for {} and upload it to App Store Connect?",
                                 plan.app.displayName, plan.numbers.marketingVersion.value_or("?"),
                                 plan.numbers.buildNumber.value_or("?"), platformTag(plan.config.platform)),
                     "Nothing was built.", [&](Output& terminal) {
                         printBuildPlan(terminal, plan);
                         warnAll(terminal, plan.remarks);
                     }});
    const auto result = performLive<RunBuild>(invocation, {plan, invocation.global.workspace}, consent);
    output.document(result);
    return printBuildReport(output, result.report);
}

AwaitedBuildOfApp requireOneAwaited(const ListAwaitedBuilds::Result& listed) {
    if (listed.awaited.empty())
        throw CommandError(statusOf(FailureKind::noAwaitedBuild), "no build is awaited",
                           "'quorvel builds' shows the state of each build.");
    if (listed.awaited.size() == 1) return listed.awaited.front();
    std::vector<std::string> all;
    for (const AwaitedBuildOfApp& one : listed.awaited)
        all.push_back(fmt::format("{} for {}", one.app.bundleId, platformTag(one.build.config.platform)));
    throw UsageError("several builds are awaited",
                     fmt::format("Say which with --app and --platform: {}.", fmt::join(all, ", ")));
}

ExitStatus resumeBuildCommand(Invocation& invocation) {
    Output& output = invocation.output;
    auto request = requestOf<ListAwaitedBuilds::Request>(invocation);
    request.platform = invocation.arguments.value("--platform");
    const AwaitedBuildOfApp awaited = requireOneAwaited(perform<ListAwaitedBuilds>(invocation, request));
    const AwaitedBuild& build = awaited.build;
    const std::string what =
        fmt::format("build {} ({}) of {} for {}", build.buildNumber, build.marketingVersion,
                    awaited.app.displayName, platformTag(build.config.platform));
    const auto steps = followUpsOf(build.config);
    const Consent consent =
        steps.empty()
            ? consentToNothing()
            : askConsent(invocation, {fmt::format("Wait for {}, then {}?", what, fmt::join(steps, " and ")),
                                      "Nothing was changed."});
    output.note(fmt::format("Waiting for {}, uploaded {}.", what,
                            relativeTime(build.uploadedAt, invocation.application.clock()())));
    const auto result = performLive<ResumeBuild>(invocation, {awaited, invocation.global.workspace}, consent);
    output.document(result);
    return printBuildReport(output, result.report);
}

ExitStatus bumpVersion(Invocation& invocation) {
    const Arguments& arguments = invocation.arguments;
    auto request = requestOf<BumpVersion::Request>(invocation);
    request.version = arguments.value("--version");
    request.number = arguments.value("--number");
    request.increment = arguments.has("--increment");
    request.project = arguments.value("--project");
    request.platform = arguments.value("--platform");
    if (request.number && request.increment) throw UsageError("--number and --increment are opposites");
    const auto result = perform<BumpVersion>(invocation, request);
    Output& output = invocation.output;
    output.document(result);
    output.line(fmt::format("{}version {}, build {} in {}", invocation.global.dryRun ? "Would set: " : "",
                            change(result.before.marketingVersion, result.after.marketingVersion),
                            change(result.before.buildNumber, result.after.buildNumber), result.project));
    for (const std::string& remark : result.remarks)
        output.note(remark);
    return ExitStatus::done;
}

std::string shownBuild(const ASCBuildSummary& build) {
    return fmt::format("{} ({})", build.build.attributes.version.value_or("?"),
                       build.marketingVersion.value_or("?"));
}

ExitStatus attachBuild(Invocation& invocation) {
    Output& output = invocation.output;
    const auto planned =
        perform<PlanBuildAttachment>(invocation, buildRequestOf<BuildRequest>(invocation, "BUILD"));
    const BuildAttachmentPlan& plan = planned.plan;
    const std::string what = fmt::format("build {} to version {} of {}", shownBuild(plan.build),
                                         plan.versionString, plan.app.displayName);
    if (invocation.global.dryRun) {
        output.document(planned);
        output.line(fmt::format("Would attach {}.", what));
        return ExitStatus::done;
    }
    const Consent consent =
        askConsent(invocation, {fmt::format("Attach {}?", what), "Nothing was attached."});
    const auto result = perform<AttachBuild>(invocation, {plan, invocation.global.workspace}, consent);
    output.document(result);
    output.line(fmt::format("Attached {}.", what));
    return ExitStatus::done;
}

ExitStatus answerCompliance(Invocation& invocation) {
    Output& output = invocation.output;
    const auto isExempt = switchOf(invocation.arguments, "--exempt", "--not-exempt");
    if (!isExempt)
        throw UsageError("\"builds compliance\" needs --exempt or --not-exempt",
                         "See 'quorvel builds compliance --help'.");
    auto request = buildRequestOf<PlanComplianceAnswer::Request>(invocation, "BUILD");
    request.usesNonExemptEncryption = !*isExempt;
    const auto planned = perform<PlanComplianceAnswer>(invocation, request);
    const ComplianceAnswerPlan& plan = planned.plan;
    const std::string what = fmt::format("build {} of {} uses {} encryption", shownBuild(plan.build),
                                         plan.app.displayName, *isExempt ? "only exempt" : "non-exempt");
    if (invocation.global.dryRun || plan.isGiven()) {
        output.document(planned);
        output.line(plan.isGiven() ? fmt::format("App Store Connect has this answer: {}.", what)
                                   : fmt::format("Would declare that {}.", what));
        return ExitStatus::done;
    }
    const Consent consent = askConsent(
        invocation, {fmt::format("Declare that {}? It cannot be changed.", what), "Nothing was declared."});
    const auto result = perform<AnswerCompliance>(invocation, {plan, invocation.global.workspace}, consent);
    output.document(result);
    output.line(fmt::format("Declared that {}.", what));
    return ExitStatus::done;
}

ArgumentSpec projectOption() {
    return {"--project", "FILE", "The .xcodeproj or .xcworkspace"};
}

ArgumentSpec buildPlatformOption() {
    return {"--platform", "PLATFORM", "Build for this platform", buildPlatformChoices};
}

std::vector<ArgumentSpec> configArguments() {
    using Need = ArgumentSpec::Need;
    using Count = ArgumentSpec::Count;
    return {buildPlatformOption(),
            projectOption(),
            {"--scheme", "NAME", "The scheme to archive"},
            {"--configuration",
             "NAME",
             "The build configuration (Release)",
             {},
             Need::optional,
             Count::once,
             {"Release", "Debug"}},
            {"--export-method",
             "METHOD",
             "The method of the export options (app-store)",
             {},
             Need::optional,
             Count::once,
             {"app-store", "app-store-connect"}},
            {"--increment", "", "Give the build the next build number"},
            {"--no-increment", "", "Leave the build number as it is"},
            {"--attach", "", "Attach the processed build to the version that is being prepared"},
            {"--no-attach", "", "Attach it to no version"},
            {"--exempt-encryption", "", "Declare that the build uses only exempt encryption"},
            {"--no-exempt-encryption", "", "Declare nothing on encryption"}};
}

std::vector<ArgumentSpec> buildArguments(std::vector<ArgumentSpec> more = {}) {
    std::vector<ArgumentSpec> arguments = {
        {"BUILD", "BUILD", "The build's number or ID; the newest processed one when left out"},
        {"--version", "VERSION", "Only builds of this version"},
        {"--platform", "PLATFORM", "Only builds for this platform", {"ios", "macos", "tvos", "visionos"}}};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

} // namespace

std::vector<Command> buildCommands() {
    return {
        {.name = "builds attach",
         .summary = "Attach a build to the version that is being prepared",
         .arguments = buildArguments(),
         .heeds = {"--app", "--workspace", "--dry-run", "--yes"},
         .run = attachBuild,
         .details =
             "'quorvel builds attach 42' attaches build 42. A version takes processed builds of its own "
             "number.",
         .asksFirst = true},
        {.name = "builds compliance",
         .summary = "Answer a build's question on encryption",
         .arguments = buildArguments({{"--exempt", "", "The build uses only encryption that is exempt"},
                                      {"--not-exempt", "", "The build uses encryption that is not exempt"}}),
         .heeds = {"--app", "--workspace", "--dry-run", "--yes"},
         .run = answerCompliance,
         .details = "App Store Connect takes one answer for each build; testers and App Review get no build "
                    "without it.",
         .asksFirst = true},
        {.name = "build", .summary = "Build an app with Apple's developer tools and upload it"},
        {.name = "build schemes",
         .summary = "List the schemes of an app's project",
         .arguments = {projectOption(), buildPlatformOption()},
         .heeds = {"--app", "--workspace"},
         .run = listSchemes},
        {.name = "build config",
         .summary = "Show how an app is built, or save it",
         .arguments = configArguments(),
         .heeds = {"--app", "--workspace"},
         .run = configureBuild,
         .details =
             "Each app has one configuration for each platform. Until one is saved the project is the only "
             "one at or above the working folder, and the scheme the project's only one."},
        {.name = "build run",
         .summary = "Build an app, upload it and wait until it is processed",
         .arguments = configArguments(),
         .heeds = {"--app", "--workspace", "--dry-run", "--yes"},
         .run = runBuildCommand,
         .details =
             "'quorvel build run --project App.xcodeproj --scheme App --yes' is all that a first build needs; the "
             "options are saved for the next ones ('quorvel build config' shows them). The project's version "
             "follows the version that is being prepared, and its build number goes past those on App Store "
             "Connect. A run that was cut off after its upload began goes on with 'quorvel build resume'. All "
             "that the tools print is kept in a log, whose path is shown.",
         .asksFirst = true},
        {.name = "build bump",
         .summary = "Set the version or the build number of a project",
         .arguments = {{"--version", "VERSION", "The marketing version, such as 1.2.0"},
                       {"--number", "NUMBER", "The build number"},
                       {"--increment", "", "Let the build number go up by one, beside a new version"},
                       projectOption(),
                       buildPlatformOption()},
         .heeds = {"--app", "--workspace", "--dry-run"},
         .run = bumpVersion,
         .details = "'quorvel build bump' counts the build number up. Only the project's own files change."},
        {.name = "build resume",
         .summary = "Go on with a build whose run was cut off after its upload began",
         .arguments = {buildPlatformOption()},
         .heeds = {"--app", "--workspace", "--yes"},
         .run = resumeBuildCommand,
         .details =
             "Waits until App Store Connect has processed the build, and then does what its configuration "
             "wants. Nothing is built or uploaded again.",
         .asksFirst = true},
    };
}

} // namespace quorvel
