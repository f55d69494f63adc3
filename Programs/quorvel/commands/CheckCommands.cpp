#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/Wording.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Quorvel/actions/CheckActions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace quorvel {

namespace {

using Check = CheckTexts::Check;
using Findings = std::span<const CheckFinding>;

std::filesystem::path wholePath(const Check& check, const CheckFinding& finding) {
    return (std::filesystem::path(check.folder) / finding.file).lexically_normal();
}

// As somebody in the current folder names the file; one that lies far away by its whole path.
std::string nearestPath(const Invocation& invocation, const Check& check, const CheckFinding& finding) {
    const auto whole = wholePath(check, finding);
    const auto relative = whole.lexically_relative(invocation.surroundings.workingFolder);
    return relative.empty() || relative.native().size() > whole.native().size() ? whole.native()
                                                                                : relative.native();
}

// As a service that shows the repository names the file.
std::string pathInRepository(const Invocation& invocation, const Check& check, const CheckFinding& finding) {
    if (!check.repository) return nearestPath(invocation, check, finding);
    const auto relative = wholePath(check, finding).lexically_relative(*check.repository);
    return relative.empty() || *relative.begin() == ".." ? nearestPath(invocation, check, finding)
                                                         : relative.native();
}

std::string placeSuffix(const CheckFinding& finding) {
    return finding.line ? fmt::format(":{}:{}", *finding.line, finding.column.value_or(1)) : std::string();
}

// Of a workflow command: what would end the text, or a property of it, is written as "%XX".
std::string escapedForWorkflow(std::string_view text, std::string_view special) {
    std::string escaped;
    for (const char character : text)
        if (special.find(character) != std::string_view::npos)
            escaped += fmt::format("%{:02X}", static_cast<unsigned char>(character));
        else
            escaped += character;
    return escapeControls(escaped);
}

std::string workflowCommand(const Invocation& invocation, const Check& check, const CheckFinding& finding) {
    constexpr std::string_view ofProperties = "%\r\n:,";
    std::string command =
        fmt::format("::{} file={}", rawValue(finding.severity),
                    escapedForWorkflow(pathInRepository(invocation, check, finding), ofProperties));
    if (finding.line) command += fmt::format(",line={},col={}", *finding.line, finding.column.value_or(1));
    return fmt::format("{},title={}::{}", command, rawValue(finding.rule),
                       escapedForWorkflow(inCommands(finding.text), "%\r\n"));
}

std::string styledSeverity(const Output& output, CheckSeverity severity) {
    return severity == CheckSeverity::error ? output.styled(Style::red, "error")
                                            : output.styled(Style::yellow, "warning");
}

void printFinding(Invocation& invocation, const Check& check, const CheckFinding& finding) {
    Output& output = invocation.output;
    output.styledLine(fmt::format("{}{}: {}: {} [{}]",
                                  escapeControls(nearestPath(invocation, check, finding)),
                                  placeSuffix(finding), styledSeverity(output, finding.severity),
                                  escapeControls(inCommands(finding.text)), rawValue(finding.rule)));
}

// The locales of the findings behind the first, or their files where they are of none.
std::string placesOf(const Invocation& invocation, const Check& check, Findings alike) {
    std::vector<std::string> places;
    for (const CheckFinding& finding : alike.subspan(1)) {
        const std::string place =
            finding.locale.empty() ? nearestPath(invocation, check, finding) : finding.locale;
        if (std::ranges::find(places, place) == places.end()) places.push_back(place);
    }
    return fmt::format("{}", fmt::join(places, ", "));
}

// Findings that say the same of one file of many locales are one line that names all of them.
void printAlike(Invocation& invocation, const Check& check, Findings alike) {
    constexpr std::size_t eachAtMost = 4;
    if (alike.size() <= eachAtMost || invocation.global.verbose) {
        for (const CheckFinding& finding : alike)
            printFinding(invocation, check, finding);
        return;
    }
    const CheckFinding& first = alike.front();
    invocation.output.styledLine(fmt::format(
        "{}{} and {} more ({}): {}: {} [{}]", escapeControls(nearestPath(invocation, check, first)),
        placeSuffix(first), alike.size() - 1, escapeControls(placesOf(invocation, check, alike)),
        styledSeverity(invocation.output, first.severity), escapeControls(inCommands(first.text)),
        rawValue(first.rule)));
}

// Puts what says the same side by side, where the first of it stands.
std::vector<std::vector<CheckFinding>> groupsOfAlike(const std::vector<CheckFinding>& findings) {
    std::vector<std::vector<CheckFinding>> groups;
    std::map<std::tuple<CheckSeverity, CheckRule, std::optional<FieldType>, std::string_view>, std::size_t>
        known;
    for (const CheckFinding& finding : findings) {
        const auto [group, isNew] =
            known.try_emplace({finding.severity, finding.rule, finding.field, finding.text}, groups.size());
        if (isNew) groups.emplace_back();
        groups[group->second].push_back(finding);
    }
    return groups;
}

void printCheck(Invocation& invocation, const Check& check) {
    Output& output = invocation.output;
    if (check.failure) {
        output.warning(
            fmt::format("{}: {}", check.app ? check.app->displayName : "", reportOf(*check.failure).text));
        return;
    }
    for (const auto& alike : groupsOfAlike(check.findings))
        printAlike(invocation, check, alike);
    output.line(fmt::format("{}{}: {} and {} checked.",
                            check.app ? fmt::format("{} ", check.app->displayName) : "", check.context,
                            counted(static_cast<std::size_t>(check.texts), "text"),
                            counted(static_cast<std::size_t>(check.pictures), "picture")));
}

// An app that could not be checked tells how the program ends where nothing is refused.
ExitStatus exitStatusOf(const CheckTexts::Result& result, bool isStrict) {
    if (result.errors > 0 || (isStrict && result.warnings > 0)) return ExitStatus::failed;
    std::vector<ExitStatus> reasons;
    for (const Check& check : result.checks)
        if (check.failure) reasons.push_back(statusOf(check.failure->kind));
    if (reasons.empty()) return ExitStatus::done;
    if (reasons.size() < result.checks.size()) return ExitStatus::partlyDone;
    const bool shared = std::ranges::count(reasons, reasons.front()) == std::ranges::ssize(reasons);
    return shared ? reasons.front() : ExitStatus::failed;
}

void printSummary(Output& output, const CheckTexts::Result& result) {
    if (result.errors == 0 && result.warnings == 0) return output.line("Nothing would be refused.");
    output.line(fmt::format("{}, {}.{}", counted(static_cast<std::size_t>(result.errors), "error"),
                            counted(static_cast<std::size_t>(result.warnings), "warning"),
                            result.errors == 0 ? " Nothing would be refused." : ""));
}

ExitStatus check(Invocation& invocation) {
    Output& output = invocation.output;
    auto request = requestOf<CheckTexts::Request>(invocation);
    request.allApps = invocation.arguments.has("--all-apps");
    request.locales = listOf(invocation.arguments, "--locale");
    for (const std::string& field : invocation.arguments.values("--field"))
        request.fields.push_back(*fromRawValue<FieldType>(field));
    const std::string format =
        invocation.arguments.value("--format").value_or(output.isJSON() ? "json" : "text");
    if (output.isJSON() && format != "json")
        throw UsageError(fmt::format("--json and --format {} exclude each other", format));
    if (request.allApps && request.app) throw UsageError("--all-apps and --app exclude each other");
    if (request.allApps && request.folder) throw UsageError("--folder is for the check of a single app");
    const auto result = perform<CheckTexts>(invocation, request);
    const ExitStatus status = exitStatusOf(result, invocation.arguments.has("--strict"));
    output.document(result);
    if (format == "json") {
        if (!output.isJSON())
            output.raw(
                escapeControlsInJSON(encodeJSON(result, {JSONLayout::pretty, JSONKeyOrder::declared})) +
                "\n");
        return status;
    }
    if (format == "github") {
        for (const Check& checked : result.checks) {
            for (const CheckFinding& finding : checked.findings)
                output.raw(workflowCommand(invocation, checked, finding) + "\n");
            if (checked.failure)
                output.raw(fmt::format("::error::{}\n",
                                       escapedForWorkflow(reportOf(*checked.failure).text, "%\r\n")));
        }
        return status;
    }
    for (const Check& checked : result.checks)
        printCheck(invocation, checked);
    printSummary(output, result);
    return status;
}

} // namespace

std::vector<Command> checkCommands() {
    return {
        {.name = "check",
         .summary = "Find in the files what App Store Connect or a push would refuse, without asking it",
         .arguments =
             {folderArgument(),
              {"--locale",
               "LOCALE",
               "Only this locale",
               {},
               ArgumentSpec::Need::optional,
               ArgumentSpec::Count::repeated},
              fieldOption(Fields::all),
              {"--format",
               "FORMAT",
               "text, json as --json prints it, or github: workflow commands, which mark the files in "
               "a pull request",
               {"text", "json", "github"}},
              {"--strict", "", "End with status 1 for warnings too"},
              {"--all-apps", "", "Every recorded app of the workspace"}},
         .heeds = {"--app", "--workspace", "--context"},
         .run = check,
         .details =
             "Needs no key, no account and no network: 'quorvel check --folder metadata --format github' is a "
             "step for a pipeline. An error is what App Store Connect refuses or a push leaves out; a warning "
             "is taken, though hardly meant. Ends with status 1 when there is an error, else with 0."},
    };
}

} // namespace quorvel
