#include "Core/metadata/PlatformContext.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/VersionActions.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

const std::vector<std::string_view> platformChoices = {"ios", "macos", "tvos", "visionos"};

// As much of a date as a table shows, in UTC; --json has all of it as it came.
enum class Precision { day, minute };

std::string shortDate(const std::optional<std::string>& text, Precision precision) {
    const auto date = parseISO8601(text.value_or(""));
    if (!date) return text.value_or("");
    const std::string minute = shortTime(*date); // 2026-03-01 12:30Z
    return precision == Precision::day ? minute.substr(0, minute.find(' ')) : minute;
}

std::string platformName(const std::optional<std::string>& raw) {
    const auto platform = fromRawValue<ASCPlatform>(raw.value_or(""));
    return platform ? std::string(platformFolderName(*platform)) : raw.value_or("");
}

ExitStatus listVersions(Invocation& invocation) {
    auto request = requestOf<ListVersions::Request>(invocation);
    request.platform = invocation.arguments.value("--platform");
    const auto result = perform<ListVersions>(invocation, request);
    invocation.output.document(result);
    Table table{.columns = {{"Platform"},
                            {"Version"},
                            {"State"},
                            {"Release"},
                            {"Created (UTC)"},
                            {"ID", Table::Align::left, Table::Fit::cut}},
                .rows = {}};
    for (const auto& version : result.versions) {
        const auto& attributes = version.attributes;
        const std::string state = attributes.appStoreState.value_or("");
        table.rows.push_back({platformName(attributes.platform),
                              attributes.versionString.value_or(""),
                              {state, styleOfState(state)},
                              attributes.releaseType.value_or(""),
                              shortDate(attributes.createdDate, Precision::day),
                              version.id});
    }
    invocation.output.table(table);
    if (result.versions.empty())
        invocation.output.note(fmt::format("{} has no version yet. Make one with 'quorvel versions create'.",
                                           escapeControls(result.app.displayName)));
    return ExitStatus::done;
}

ExitStatus createVersion(Invocation& invocation) {
    Output& output = invocation.output;
    auto request = requestOf<PlanVersion::Request>(invocation);
    request.platform = *invocation.arguments.value("--platform");
    request.version = *invocation.arguments.value("--version");
    request.releaseType = invocation.arguments.value("--release-type");
    const auto planned = perform<PlanVersion>(invocation, request);
    if (invocation.global.dryRun) {
        output.document(planned);
        output.line(fmt::format("Would make version {} of {} for {}.", request.version,
                                escapeControls(planned.plan.app.displayName), request.platform));
        if (invocation.global.verbose) printRequests(output, {planned.plan.request});
        output.note("Dry run: nothing was sent.");
        return ExitStatus::done;
    }
    const Consent consent =
        askConsent(invocation, {fmt::format("Make version {} of {} for {}?", request.version,
                                            planned.plan.app.displayName, request.platform),
                                "Nothing was made."});
    const auto result =
        perform<CreateVersion>(invocation, {planned.plan, invocation.global.workspace}, consent);
    output.document(result);
    const auto& attributes = result.version.attributes;
    output.line(fmt::format("Made version {} of {} for {}: {}.", attributes.versionString.value_or(""),
                            escapeControls(result.app.displayName), request.platform,
                            attributes.appStoreState.value_or("state unknown")));
    return ExitStatus::done;
}

// The answer to the question on encryption.
Table::Cell encryptionCell(const ASCBuildAttributes& build) {
    if (!build.usesNonExemptEncryption) return {"not answered", Style::yellow};
    return *build.usesNonExemptEncryption ? "not exempt" : "exempt";
}

std::string stateOf(const ASCBuildAttributes& build) {
    return build.expired.value_or(false) ? "EXPIRED" : build.processingState.value_or("");
}

ExitStatus listBuilds(Invocation& invocation) {
    auto request = requestOf<ListBuilds::Request>(invocation);
    request.version = invocation.arguments.value("--version");
    request.limit = invocation.arguments.number("--limit", 1, request.mostBuilds).value_or(request.limit);
    const auto result = perform<ListBuilds>(invocation, request);
    invocation.output.document(result);
    Table table{.columns = {{"Platform"},
                            {"Version"},
                            {"Build", Table::Align::right},
                            {"State"},
                            {"Uploaded"},
                            {"Encryption"},
                            {"ID", Table::Align::left, Table::Fit::cut}},
                .rows = {}};
    for (const ASCBuildSummary& summary : result.builds) {
        const auto& attributes = summary.build.attributes;
        const std::string state = stateOf(attributes);
        const Style style = state == "VALID"        ? Style::green
                            : state == "PROCESSING" ? Style::yellow
                                                    : Style::red;
        table.rows.push_back({platformName(summary.platform),
                              summary.marketingVersion.value_or(""),
                              attributes.version.value_or(""),
                              {state, style},
                              shortDate(attributes.uploadedDate, Precision::minute),
                              encryptionCell(attributes),
                              summary.build.id});
    }
    invocation.output.table(table);
    if (result.builds.empty()) invocation.output.note("No such build.");
    return ExitStatus::done;
}

} // namespace

std::vector<Command> versionCommands() {
    return {
        {.name = "versions",
         .summary = "List the versions of an app and their states",
         .arguments = {{"--platform", "PLATFORM", "Only this platform", platformChoices}},
         .heeds = {"--app", "--workspace"},
         .run = listVersions},
        {.name = "versions create",
         .summary = "Make a new version of an app",
         .arguments = {{"--platform", "PLATFORM", "Platform of the version", platformChoices,
                        ArgumentSpec::Need::required},
                       {"--version", "VERSION", "Version, such as 1.2.0", {}, ArgumentSpec::Need::required},
                       {"--release-type",
                        "TYPE",
                        "When an approved version comes out",
                        {"MANUAL", "AFTER_APPROVAL", "SCHEDULED"}}},
         .heeds = {"--app", "--workspace", "--dry-run", "--yes"},
         .run = createVersion,
         .asksFirst = true},
        {.name = "builds",
         .summary = "List the builds of an app, newest first",
         .arguments = {{"--version", "VERSION", "Only builds of this version"},
                       {"--limit", "NUMBER", "At most so many (50)"}},
         .heeds = {"--app", "--workspace"},
         .run = listBuilds},
    };
}

} // namespace quorvel
