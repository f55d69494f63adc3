#include "Core/build/BuildPipeline.h"

#include "Core/asc/KeyVariables.h"
#include "Core/build/AltoolVerdict.h"
#include "Core/build/ExportOptions.h"
#include "Core/build/SchemeList.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"

#include <unistd.h>

#include <algorithm>
#include <array>

namespace quorvel {

namespace {

using Arguments = std::vector<std::string>;

// What a tool says of a failure, whatever its exit code.
constexpr std::array<std::string_view, 2> failureMarks = {"** ARCHIVE FAILED **", "** EXPORT FAILED **"};

std::filesystem::path archivePath(const BuildPlan& plan) {
    return plan.workdir / (plan.scheme + "-" + std::string(namesOf(plan.platform).altoolType) + ".xcarchive");
}

std::filesystem::path exportPath(const BuildPlan& plan) {
    return plan.workdir / ("export-" + std::string(namesOf(plan.platform).altoolType));
}

// The newest artefact; one with the scheme's name goes before others.
std::optional<std::filesystem::path> findArtefact(const BuildPlan& plan,
                                                  const BuildPipeline::LogHandler& onLog) {
    struct Found {
        std::filesystem::path path;
        bool hasSchemeName = false;
        std::filesystem::file_time_type written;
    };
    const std::string extension = "." + std::string(namesOf(plan.platform).artefactExtension);
    std::vector<Found> found;
    for (const FolderEntry& entry : listFolder(exportPath(plan)).value_or(std::vector<FolderEntry>{})) {
        const std::filesystem::path path = exportPath(plan) / entry.name;
        std::error_code ignored;
        if (path.extension() == extension)
            found.push_back(
                {path, path.stem() == plan.scheme, std::filesystem::last_write_time(path, ignored)});
    }
    if (found.empty()) return std::nullopt;
    const auto best = std::ranges::max_element(
        found, {}, [](const Found& one) { return std::pair(one.hasSchemeName, one.written); });
    if (found.size() > 1)
        onLog("The export folder holds " + std::to_string(found.size()) +
                  " files of this kind; taking the newest, " + best->path.filename().string(),
              BuildStage::exporting);
    return best->path;
}

std::string both(const ProcessRunner::Result& result) {
    return result.stdoutTail + (result.stdoutTail.empty() || result.stderrTail.empty() ? "" : "\n") +
           result.stderrTail;
}

} // namespace

BuildPipeline::BuildPipeline(std::filesystem::path xcrun)
    : xcrun_(std::move(xcrun)), logger_("BuildPipeline") {}

std::string projectFlagOf(const std::filesystem::path& project) {
    return project.extension() == ".xcworkspace" ? "-workspace" : "-project";
}

std::vector<std::string> BuildPipeline::listSchemes(const std::filesystem::path& project) const {
    preflight([](const std::string&, BuildStage) {});
    const auto result =
        ProcessRunner::run({.executable = xcrun_,
                            .arguments = {"xcodebuild", "-list", projectFlagOf(project), project},
                            .environment = withoutKeyTexts()});
    if (!result.succeeded())
        throw BuildError::commandFailed(BuildStage::preflight, result.exitCode, both(result));
    return schemesIn(result.stdoutTail);
}

void BuildPipeline::preflight(const LogHandler& onLog) const {
    if (::access(xcrun_.c_str(), X_OK) != 0)
        throw BuildError::toolMissing("xcrun not found at " + xcrun_.string() +
                                      " — install Xcode command-line tools.");
    onLog("Using xcrun at " + xcrun_.string(), BuildStage::preflight);
}

std::filesystem::path BuildPipeline::archive(const BuildPlan& plan, const LogHandler& onLog) const {
    createFolders(plan.workdir);
    const std::filesystem::path archive = archivePath(plan);
    if (plan.cleanWorkdir) {
        std::error_code ignored;
        std::filesystem::remove_all(archive, ignored);
        std::filesystem::remove_all(exportPath(plan), ignored);
    }
    onLog("Starting archive of " + plan.scheme, BuildStage::archiving);
    static_cast<void>(
        runTool({.executable = xcrun_,
                 .arguments = {"xcodebuild", projectFlagOf(plan.projectURL), plan.projectURL, "-scheme",
                               plan.scheme, "-configuration", plan.configuration, "-destination",
                               std::string(namesOf(plan.platform).xcodebuildDestination), "-archivePath",
                               archive, "archive", "-quiet", "-disableAutomaticPackageResolution"}},
                BuildStage::archiving, onLog));
    std::error_code unreachable;
    if (!std::filesystem::exists(archive, unreachable))
        throw BuildError::noArtefact(BuildStage::archiving,
                                     "Archive command exited 0 but no .xcarchive at " + archive.string());
    onLog("Archive created at " + archive.string(), BuildStage::archiving);
    return archive;
}

std::filesystem::path BuildPipeline::exportArchive(const BuildPlan& plan,
                                                   const std::filesystem::path& archive,
                                                   const LogHandler& onLog) const {
    const std::filesystem::path options = plan.workdir / "ExportOptions.plist";
    writeFileAtomically(options, exportOptionsPlist(plan.exportMethod));
    onLog("Exporting ." + std::string(namesOf(plan.platform).artefactExtension) + " using " +
              plan.exportMethod + " method (" + std::string(rawValue(plan.platform)) + ")",
          BuildStage::exporting);
    static_cast<void>(
        runTool({.executable = xcrun_,
                 .arguments = {"xcodebuild", "-exportArchive", "-archivePath", archive, "-exportPath",
                               exportPath(plan), "-exportOptionsPlist", options, "-quiet"}},
                BuildStage::exporting, onLog));
    const auto artefact = findArtefact(plan, onLog);
    if (!artefact)
        throw BuildError::noArtefact(BuildStage::exporting,
                                     "Export command exited 0 but no ." +
                                         std::string(namesOf(plan.platform).artefactExtension) + " in " +
                                         exportPath(plan).string());
    return *artefact;
}

void BuildPipeline::upload(const BuildPlan& plan, const std::filesystem::path& artefact, const UploadKey& key,
                           const LogHandler& onLog) const {
    onLog("Uploading " + artefact.filename().string() + " to App Store Connect…", BuildStage::uploading);
    auto environment = withoutKeyTexts();
    environment["API_PRIVATE_KEYS_DIR"] = key.keyFolder;
    const auto result =
        ProcessRunner::run({.executable = xcrun_,
                            .arguments = {"altool", "--upload-app", "-f", artefact, "-t",
                                          std::string(namesOf(plan.platform).altoolType), "--apiKey",
                                          key.keyID, "--apiIssuer", key.issuerID, "--output-format", "json"},
                            .environment = std::move(environment)},
                           [&](std::string_view line, ProcessRunner::Stream) {
                               onLog(std::string(line), BuildStage::uploading);
                           });
    if (const auto failure = uploadFailureIn(result.stdoutTail, result.stderrTail))
        throw BuildError::uploadRefused(*failure);
    if (!result.succeeded())
        throw BuildError::commandFailed(BuildStage::uploading, result.exitCode, both(result));
    onLog("Upload to ASC complete.", BuildStage::uploading);
}

ProcessRunner::Result BuildPipeline::runTool(ProcessRunner::Command command, BuildStage stage,
                                             const LogHandler& onLog) const {
    logger_.info("running " + command.arguments.front() + " for " + std::string(rawValue(stage)));
    command.environment = withoutKeyTexts();
    bool saysItFailed = false;
    auto result = ProcessRunner::run(command, [&](std::string_view line, ProcessRunner::Stream) {
        saysItFailed = saysItFailed || std::ranges::find(failureMarks, trim(line)) != failureMarks.end();
        onLog(std::string(line), stage);
    });
    if (!result.succeeded() || saysItFailed)
        throw BuildError::commandFailed(stage, result.exitCode, both(result));
    return result;
}

} // namespace quorvel
