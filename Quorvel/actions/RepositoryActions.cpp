#include "Quorvel/actions/RepositoryActions.h"

#include "Core/build/ProjectSearch.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>

namespace quorvel {

namespace {

// Where nothing is found: the folder that most tools call so.
constexpr std::string_view usualTreeName = "metadata";

std::vector<PlanRepository::AppName> appNamesOf(Application& application, const AppDirectory& directory) {
    std::vector<PlanRepository::AppName> names;
    for (const ManagedApp& app : directory.appsInView())
        names.push_back({app.bundleId, app.displayName});
    if (!names.empty()) return names;
    try {
        (void)application.credentials(directory.keyOwner());
    } catch (const std::exception&) { // without a key the app has to be typed
        return names;
    }
    for (const AccountApp& app : directory.accountApps())
        if (app.attributes.bundleId)
            names.push_back({*app.attributes.bundleId, app.attributes.name.value_or("")});
    return names;
}

std::optional<std::string> namedOrOnly(const Application& application,
                                       const std::optional<std::string>& named,
                                       const std::vector<std::string>& found) {
    if (named) {
        auto path = application.absolutePath(*named);
        if (!path.has_filename() && path.has_relative_path()) path = path.parent_path();
        return path.string();
    }
    return found.size() == 1 ? std::optional(found.front()) : std::nullopt;
}

void requireProject(const std::string& project) {
    std::error_code ignored;
    if (isProjectName(project) && std::filesystem::is_directory(project, ignored)) return;
    throw ApplicationError(FailureKind::badRequest, fmt::format("{} is no project", quotedWord(project)),
                           "It takes an .xcodeproj or .xcworkspace.");
}

// Only whether the usual line is there: git itself may know it from elsewhere.
bool ignoresPrivateFolder(const std::filesystem::path& folder) {
    const auto text = readFile(folder / ".gitignore");
    return text && text->find(privateFolderPattern.substr(0, privateFolderPattern.size() - 1)) != text->npos;
}

} // namespace

PlanRepository::Result PlanRepository::perform(Application& application, const Request& request,
                                               const ActionProgress& progress) {
    const auto& folder = application.options().workingFolder;
    const std::filesystem::path file = application.absolutePath(std::string(repositoryFileName));
    // Not the app of a quorvel.toml that is there: that one may be what is to be replaced.
    const AppDirectory directory(application, {request.app, request.workspace});
    progress.step({"Looking around…", {}, 0});
    Result plan{.found = findRepositoryParts(application.absolutePath(folder))};
    plan.content.file = file.string();
    if (request.app) {
        const auto recorded = directory.find(*request.app);
        plan.content.app = recorded ? recorded->bundleId : *request.app;
    } else {
        plan.apps = appNamesOf(application, directory);
        if (plan.apps.size() == 1) plan.content.app = plan.apps.front().bundleId;
    }
    plan.content.tree = namedOrOnly(application, request.tree, plan.found.trees);
    if (!plan.content.tree && plan.found.trees.empty())
        plan.content.tree = application.absolutePath(std::string(usualTreeName)).string();
    plan.content.screenshots = namedOrOnly(application, request.screenshots, plan.found.screenshots);
    plan.content.project = namedOrOnly(application, request.project, plan.found.projects);
    if (request.project) requireProject(*plan.content.project);
    if (request.platform) plan.content.context = ContextID{requirePlatform(*request.platform)}.text();
    plan.text = repositoryFileText(plan.content);
    std::error_code ignored;
    plan.exists = std::filesystem::exists(std::filesystem::symlink_status(file, ignored));
    plan.ignoresPrivateFolder = ignoresPrivateFolder(file.parent_path());
    return plan;
}

WriteRepository::Result WriteRepository::perform(Application&, const Request& request,
                                                 const ActionProgress&) {
    const std::filesystem::path file = request.content.file;
    if (file.filename() != repositoryFileName || !file.is_absolute())
        throw ApplicationError(FailureKind::badRequest,
                               fmt::format("{} is no place for this file", quotedWord(request.content.file)));
    const std::string text = repositoryFileText(request.content);
    // What could not be read again is not written.
    if (parseRepositoryFile(text, file) != request.content)
        throw ApplicationError(FailureKind::badRequest, "the file would not say what was asked for");
    const bool isWritten =
        request.overwrite ? (writeFileAtomically(file, text), true) : replaceFile(file, std::nullopt, text);
    if (!isWritten)
        throw ApplicationError(FailureKind::failed,
                               fmt::format("{} is there already", escapeControls(file.native())),
                               "Edit it, or have it overwritten.");
    return {request.content};
}

} // namespace quorvel
