#include "Quorvel/application/AppDirectory.h"

#include "Core/records/RecordError.h"
#include "Platform/text/Spelling.h"
#include "Platform/text/Text.h"
#include "Quorvel/application/AssistantHandoff.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/application/RequestDefaults.h"
#include "Quorvel/workspace/AppFolder.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>

namespace quorvel {

namespace {

constexpr std::string_view firstWorkspaceName = "My apps";

std::string thereAre(std::vector<std::string> names) {
    constexpr std::size_t namedAtMost = 20;
    if (names.size() > namedAtMost) {
        const std::size_t more = names.size() - namedAtMost;
        names.resize(namedAtMost);
        names.push_back(fmt::format("{} more", more));
    }
    return fmt::format("There are {}.", fmt::join(names, ", "));
}

std::string listing(const std::vector<AccountApp>& apps) {
    if (apps.empty()) return "The account has no app that this key may see.";
    std::vector<std::string> names;
    for (const AccountApp& app : apps)
        names.push_back(
            fmt::format("{} ({})", app.attributes.bundleId.value_or(""), app.attributes.name.value_or("")));
    return thereAre(std::move(names));
}

std::string listing(const std::vector<ManagedApp>& apps) {
    std::vector<std::string> names;
    for (const ManagedApp& app : apps)
        names.push_back(fmt::format("{} ({})", app.bundleId, app.displayName));
    return thereAre(std::move(names));
}

std::string didYouMean(std::string_view nearest) {
    return fmt::format("Did you mean {}?", nearest);
}

std::optional<ManagedApp> findByName(const std::vector<ManagedApp>& apps, std::string_view name) {
    const std::string lowered = asciiLowercase(name);
    std::optional<ManagedApp> found;
    for (const ManagedApp& app : apps) {
        if (asciiLowercase(app.displayName) != lowered) continue;
        if (found)
            throw ApplicationError(FailureKind::badRequest,
                                   fmt::format("several apps are named {}", quotedWord(name)),
                                   fmt::format("Say {} or {}.", found->bundleId, app.bundleId));
        found = app;
    }
    return found;
}

// Another process may make its first import at the same time.
ManagedWorkspace createUnlessMade(const WorkspaceRecords& workspaces, std::string_view name) {
    try {
        return workspaces.create(name);
    } catch (const RecordError&) {
        if (auto made = workspaces.locate(name)) return *made;
        throw;
    }
}

ManagedApp unrecorded(const AccountApp& app) {
    const std::string name = app.attributes.name.value_or("");
    const std::string bundleID = app.attributes.bundleId.value_or("");
    return {.slug = slugOf(name, bundleID),
            .displayName = name,
            .bundleId = bundleID,
            .appStoreId = app.id,
            .sourceLocale = app.attributes.primaryLocale.value_or("")};
}

} // namespace

KeyOwner ownerOf(const ManagedApp& app) {
    return {app.id, app.workspace};
}

ManagedWorkspace AppDirectory::requireWorkspace(std::string_view wanted) const {
    std::vector<ManagedWorkspace> known;
    if (application_.hasRecords()) {
        if (auto found = application_.workspaces().locate(wanted)) return *found;
        known = application_.workspaces().all();
    }
    std::vector<std::string_view> names;
    for (const ManagedWorkspace& workspace : known)
        names.push_back(workspace.name);
    const auto nearest = nearestSpelling(wanted, names);
    throw ApplicationError(FailureKind::unknownWorkspace,
                           fmt::format("there is no workspace {}", quotedWord(wanted)),
                           nearest         ? didYouMean(*nearest)
                           : names.empty() ? ""
                                           : fmt::format("There are {}.", fmt::join(names, ", ")));
}

std::optional<ManagedWorkspace> AppDirectory::workspace() const {
    if (choice_.workspace) return requireWorkspace(*choice_.workspace);
    if (!application_.hasRecords()) return std::nullopt;
    const auto all = application_.workspaces().all();
    if (const auto active = application_.activeWorkspace().id())
        for (const ManagedWorkspace& workspace : all)
            if (workspace.id == *active) return workspace;
    return all.size() == 1 ? std::optional(all.front()) : std::nullopt;
}

AppDirectory::Destination AppDirectory::workspaceForImport() const {
    if (auto current = workspace()) return {*current};
    const WorkspaceRecords workspaces = application_.workspaces();
    if (!workspaces.all().empty())
        throw ApplicationError(FailureKind::severalWorkspaces, "say into which workspace");
    Destination made{createUnlessMade(workspaces, firstWorkspaceName), true};
    application_.activeWorkspace().choose(made.workspace.id);
    refreshAssistantHandoff(application_);
    return made;
}

KeyOwner AppDirectory::keyOwner() const {
    const auto current = workspace();
    return {.appID = {}, .workspaceID = current ? std::optional(current->id) : std::nullopt};
}

std::vector<ManagedApp> AppDirectory::appsInView() const {
    const auto current = workspace();
    if (!application_.hasRecords()) return {};
    const AppRecords apps = application_.apps();
    return current ? apps.inWorkspace(current->id) : apps.all();
}

void AppDirectory::requireInWorkspace(const ManagedApp& app) const {
    if (!choice_.workspace) return;
    const ManagedWorkspace meant = requireWorkspace(*choice_.workspace);
    if (app.workspace == meant.id) return;
    const auto other = app.workspace ? application_.workspaces().find(*app.workspace) : std::nullopt;
    throw ApplicationError(FailureKind::appInOtherWorkspace,
                           fmt::format("{} is not in the workspace \"{}\"", app.displayName, meant.name),
                           fmt::format("It is in {}.", other ? fmt::format("\"{}\"", other->name) : "none"));
}

std::optional<ManagedApp> AppDirectory::find(std::string_view wanted) const {
    if (!application_.hasRecords()) return std::nullopt;
    const AppRecords apps = application_.apps();
    std::optional<ManagedApp> found = apps.locate(wanted);
    if (!found) found = findByName(appsInView(), wanted);
    if (!found && !choice_.workspace) found = findByName(apps.all(), wanted);
    if (found) requireInWorkspace(*found);
    return found;
}

ManagedApp AppDirectory::require(std::string_view wanted) const {
    if (auto found = find(wanted)) return *found;
    const auto apps = appsInView();
    std::vector<std::string_view> known;
    for (const ManagedApp& app : apps)
        known.insert(known.end(), {app.bundleId, app.slug});
    const auto nearest = nearestSpelling(wanted, known);
    throw ApplicationError(apps.empty() ? FailureKind::noAppRecorded : FailureKind::unknownApp,
                           fmt::format("no app {} is recorded", quotedWord(wanted)),
                           nearest        ? didYouMean(*nearest)
                           : apps.empty() ? ""
                                          : listing(apps));
}

std::optional<std::string> AppDirectory::wanted() const {
    return choice_.app ? choice_.app : usualApp(application_);
}

// The app that is wanted, or the only one in view.
std::optional<ManagedApp> AppDirectory::meantApp() const {
    if (!wanted())
        if (const auto apps = appsInView(); apps.size() > 1)
            throw ApplicationError(FailureKind::severalApps, "say which app", listing(apps));
    return findMeant();
}

std::optional<ManagedApp> AppDirectory::findMeant() const {
    if (const auto app = wanted()) return find(*app);
    const auto apps = appsInView();
    return apps.size() == 1 ? std::optional(apps.front()) : std::nullopt;
}

ManagedApp AppDirectory::requireApp() const {
    if (auto found = meantApp()) return *found;
    if (const auto app = wanted()) return require(*app);
    throw ApplicationError(FailureKind::noAppRecorded, "no app is recorded here");
}

std::vector<AccountApp> AppDirectory::accountApps() const {
    return application_.client(keyOwner())->listApps();
}

// An account may hold hundreds of apps, and what a repository names is a bundle id.
AccountApp AppDirectory::locateOnAccount() const {
    const auto app = wanted();
    if (app && !choice_.app)
        for (AccountApp& found : application_.client(keyOwner())->listApps(*app))
            if (found.attributes.bundleId == app) return std::move(found);
    return locateAmong(accountApps(), app.value_or(""));
}

LocatedApp AppDirectory::locate() const {
    if (auto found = meantApp()) return {*found, ownerOf(*found), std::nullopt};
    const AccountApp app = locateOnAccount();
    return {unrecorded(app), keyOwner(), app};
}

ImportedAppReport AppDirectory::import(const AccountApp& app) const {
    // A recorded app stays in its workspace unless another is named.
    const auto recorded = application_.apps().locate(app.id);
    ImportedAppReport report;
    std::optional<std::string> workspaceID;
    if (!recorded || choice_.workspace) {
        const Destination destination = workspaceForImport();
        workspaceID = destination.workspace.id;
        report.madeWorkspace = destination.made;
    }
    const KeyOwner owner = recorded ? ownerOf(*recorded) : KeyOwner{{}, workspaceID};
    const auto client = application_.client(owner);
    const ImportedApp imported =
        AppImporter(*client, application_.apps(), application_.home()).importApp(app, workspaceID);
    report.app = imported.app;
    report.wasRecorded = imported.wasThere;
    report.wasMoved = recorded && recorded->workspace != imported.app.workspace;
    if (imported.app.workspace)
        if (const auto workspace = application_.workspaces().find(*imported.app.workspace))
            report.workspaceName = workspace->name;
    report.isActiveWorkspace = imported.app.workspace == application_.activeWorkspace().id();
    if (imported.avoidedFolder) report.avoidedFolder = imported.avoidedFolder->rootURL.string();
    report.folder = application_.folderOf(imported.app)
                        .value_or(defaultAppFolder(application_.home(), imported.app.slug))
                        .rootURL.string();
    return report;
}

std::vector<std::string> slugsOf(const std::vector<AccountApp>& apps) {
    std::vector<std::string> slugs;
    std::map<std::string, int> uses;
    for (const AccountApp& app : apps) {
        slugs.push_back(slugOf(app.attributes.name.value_or(""), app.attributes.bundleId.value_or("")));
        ++uses[slugs.back()];
    }
    for (std::size_t index = 0; index < apps.size(); ++index)
        if (slugs[index].empty() || uses[slugs[index]] > 1)
            slugs[index] += (slugs[index].empty() ? "app-" : "-") + slugOf(apps[index].id, "");
    return slugs;
}

AccountApp locateAmong(const std::vector<AccountApp>& apps, std::string_view wanted) {
    if (wanted.empty()) throw ApplicationError(FailureKind::severalApps, "say which app", listing(apps));
    const auto slugs = slugsOf(apps);
    const std::string lowered = asciiLowercase(wanted);
    const auto rank = [&](std::size_t index) {
        const auto& attributes = apps[index].attributes;
        if (attributes.bundleId.value_or("") == wanted) return 0;
        if (apps[index].id == wanted) return 1;
        if (slugs[index] == wanted) return 2;
        return asciiLowercase(attributes.name.value_or("")) == lowered ? 3 : 4;
    };
    int best = 4;
    std::optional<std::size_t> found;
    for (std::size_t index = 0; index < apps.size(); ++index)
        if (rank(index) < best) {
            best = rank(index);
            found = index;
        }
    if (found) return apps[*found];
    std::vector<std::string_view> known(slugs.begin(), slugs.end());
    for (const AccountApp& app : apps)
        if (app.attributes.bundleId) known.push_back(*app.attributes.bundleId);
    const auto nearest = nearestSpelling(wanted, known);
    throw ApplicationError(FailureKind::unknownApp, fmt::format("there is no app {}", quotedWord(wanted)),
                           (nearest ? didYouMean(*nearest) + " " : "") + listing(apps));
}

} // namespace quorvel
