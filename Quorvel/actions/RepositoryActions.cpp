#include "Quorvel/actions/RepositoryActions.h"

#include "Core/asc/ASCClientProtocol.h"
#include "Core/aso/StoreLink.h"
#include "Core/build/ProjectSearch.h"
#include "Core/metadata/PlatformContext.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/application/RequestDefaults.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
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

// A folder that is missing is one that the first pull makes.
void requireFolder(const std::string& path, std::string_view what) {
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored) || std::filesystem::is_directory(path, ignored)) return;
    throw ApplicationError(FailureKind::badRequest,
                           fmt::format("{} is a file, and {} lie in a folder", quotedWord(path), what),
                           "Name the folder.");
}

void requireBundleId(const std::string& app) {
    const auto read = readStoreLink(app);
    if (read && read->bundleId == app) return;
    throw ApplicationError(FailureKind::badRequest,
                           fmt::format("{} is no bundle id, and no recorded app", quotedWord(app)),
                           "Name the app's bundle id, such as com.example.app.");
}

std::vector<std::string> platformsOfVersions(Application& application, const RequestedTarget& target) {
    std::set<ASCPlatform> found;
    try {
        const ReachedApp reached = reach(application, target);
        for (const PlatformContext& context :
             contextsOf(reached.client->listAppStoreVersions(reached.app.appStoreId)))
            if (context.stateClass == AppStoreVersionStateClass::editable) found.insert(context.platform);
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception&) { // without a key or a network nothing tells
        found.clear();
    }
    std::vector<std::string> names;
    for (const ASCPlatform platform : found)
        names.emplace_back(platformFolderName(platform));
    return names;
}

// Those that have a folder in the tree; for locales that lie directly in it those of the app.
std::vector<std::string> platformsOf(Application& application, const std::string& tree,
                                     const RequestedTarget& target) {
    const MetadataFolder folder = treeAt(tree, std::nullopt);
    if (folder.inPlace && folder.inPlace->layout == TreeLayout::locales)
        return isBlank(target.choice.app.value_or("")) ? std::vector<std::string>()
                                                       : platformsOfVersions(application, target);
    std::vector<std::string> names;
    for (const ASCPlatform platform : allPlatforms)
        for (const auto slot : {AppStoreVersionStateClass::editable, AppStoreVersionStateClass::live})
            if (const std::string name(platformFolderName(platform));
                isFolder(folder.contextFolder({platform, slot})) &&
                std::ranges::find(names, name) == names.end())
                names.push_back(name);
    return names;
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
        if (!recorded) requireBundleId(*request.app);
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
    if (plan.content.tree) requireFolder(*plan.content.tree, "store texts");
    if (plan.content.screenshots) requireFolder(*plan.content.screenshots, "screenshots");
    if (plan.content.tree && !request.platform)
        plan.platforms =
            platformsOf(application, *plan.content.tree, {{plan.content.app, request.workspace}, {}, {}});
    if (plan.platforms.size() == 1) // else an order of platforms would choose one without a word
        plan.content.context = ContextID{requirePlatform(plan.platforms.front())}.text();
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
