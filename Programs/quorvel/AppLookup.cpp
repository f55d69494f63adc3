#include "Programs/quorvel/AppLookup.h"

#include "Core/records/AppImporter.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Spelling.h"
#include "Programs/quorvel/Workspaces.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>

namespace quorvel {

namespace {

constexpr std::size_t namedAtMost = 20;
constexpr std::string_view importHint = "Import one with 'quorvel apps import BUNDLE_ID'.";

std::string listing(std::vector<std::string> names) {
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
    return listing(std::move(names));
}

std::string listing(const std::vector<ManagedApp>& apps) {
    if (apps.empty()) return std::string(importHint);
    std::vector<std::string> names;
    for (const ManagedApp& app : apps)
        names.push_back(fmt::format("{} ({})", app.bundleId, app.displayName));
    return listing(std::move(names));
}

void requireInWorkspace(Invocation& invocation, const ManagedApp& app) {
    if (!invocation.global.workspace) return;
    const ManagedWorkspace meant = requireWorkspace(invocation, *invocation.global.workspace);
    if (app.workspace == meant.id) return;
    const auto other =
        app.workspace ? invocation.composition.workspaces().find(*app.workspace) : std::nullopt;
    throw CommandError(ExitStatus::notFound,
                       fmt::format("{} is not in the workspace \"{}\"", app.displayName, meant.name),
                       fmt::format("It is in {}; 'quorvel apps move' moves it.",
                                   other ? fmt::format("\"{}\"", other->name) : "none"));
}

std::optional<ManagedApp> findByName(const std::vector<ManagedApp>& apps, std::string_view name) {
    const std::string lowered = asciiLowercase(name);
    std::optional<ManagedApp> found;
    for (const ManagedApp& app : apps) {
        if (asciiLowercase(app.displayName) != lowered) continue;
        if (found)
            throw UsageError(fmt::format("several apps are named {}", quotedWord(name)),
                             fmt::format("Say {} or {}.", found->bundleId, app.bundleId));
        found = app;
    }
    return found;
}

// The app of --app, or the only one in view.
std::optional<ManagedApp> meantRecord(Invocation& invocation) {
    if (invocation.global.app) return findRecordedApp(invocation, *invocation.global.app);
    const auto apps = appsInView(invocation);
    if (apps.size() > 1) throw UsageError("say which app with --app", listing(apps));
    return apps.empty() ? std::nullopt : std::optional(apps.front());
}

AccountApp locateOnAccount(Invocation& invocation) {
    const auto apps = invocation.composition.client(currentKeyOwner(invocation))->listApps();
    return locateAmong(apps, invocation.global.app.value_or(""));
}

} // namespace

KeyOwner ownerOf(const ManagedApp& app) {
    return {app.id, app.workspace};
}

std::vector<ManagedApp> appsInView(Invocation& invocation) {
    const auto workspace = currentWorkspace(invocation);
    if (!invocation.composition.hasRecords()) return {};
    const AppRecords apps = invocation.composition.apps();
    return workspace ? apps.inWorkspace(workspace->id) : apps.all();
}

std::optional<ManagedApp> findRecordedApp(Invocation& invocation, std::string_view wanted) {
    if (!invocation.composition.hasRecords()) return std::nullopt;
    const AppRecords apps = invocation.composition.apps();
    std::optional<ManagedApp> found = apps.locate(wanted);
    if (!found) found = findByName(appsInView(invocation), wanted);
    if (!found && !invocation.global.workspace) found = findByName(apps.all(), wanted);
    if (found) requireInWorkspace(invocation, *found);
    return found;
}

ManagedApp requireRecordedApp(Invocation& invocation, std::string_view wanted) {
    if (auto found = findRecordedApp(invocation, wanted)) return *found;
    const auto apps = appsInView(invocation);
    std::vector<std::string_view> known;
    for (const ManagedApp& app : apps)
        known.insert(known.end(), {app.bundleId, app.slug});
    const auto nearest = nearestSpelling(wanted, known);
    throw CommandError(ExitStatus::notFound, fmt::format("no app {} is recorded", quotedWord(wanted)),
                       nearest ? fmt::format("Did you mean {}?", *nearest) : listing(apps));
}

ManagedApp requireRecordedApp(Invocation& invocation) {
    if (auto found = meantRecord(invocation)) return *found;
    if (invocation.global.app) return requireRecordedApp(invocation, *invocation.global.app);
    throw CommandError(ExitStatus::notFound, "no app is recorded here", std::string(importHint));
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
    if (wanted.empty()) throw UsageError("say which app with --app", listing(apps));
    const auto slugs = slugsOf(apps);
    const auto search = [&](const auto& matches) -> const AccountApp* {
        for (std::size_t index = 0; index < apps.size(); ++index)
            if (matches(index)) return &apps[index];
        return nullptr;
    };
    const std::string lowered = asciiLowercase(wanted);
    const AccountApp* found =
        search([&](std::size_t index) { return apps[index].attributes.bundleId.value_or("") == wanted; });
    if (!found) found = search([&](std::size_t index) { return apps[index].id == wanted; });
    if (!found) found = search([&](std::size_t index) { return slugs[index] == wanted; });
    if (!found)
        found = search([&](std::size_t index) {
            return asciiLowercase(apps[index].attributes.name.value_or("")) == lowered;
        });
    if (found) return *found;
    std::vector<std::string_view> known(slugs.begin(), slugs.end());
    for (const AccountApp& app : apps)
        if (app.attributes.bundleId) known.push_back(*app.attributes.bundleId);
    const auto nearest = nearestSpelling(wanted, known);
    const std::string there = listing(apps);
    throw CommandError(ExitStatus::notFound, fmt::format("there is no app {}", quotedWord(wanted)),
                       nearest ? fmt::format("Did you mean {}? {}", *nearest, there) : there);
}

ManagedApp importAccountApp(Invocation& invocation, const AccountApp& app) {
    Composition& composition = invocation.composition;
    // A recorded app stays in its workspace unless another is named.
    const auto recorded = composition.apps().locate(app.id);
    std::optional<std::string> workspaceID;
    if (!recorded || invocation.global.workspace) workspaceID = workspaceForImport(invocation).id;
    const KeyOwner owner = recorded ? ownerOf(*recorded) : KeyOwner{{}, workspaceID};
    const ImportedApp imported =
        AppImporter(*composition.client(owner), composition.apps(), composition.home())
            .importApp(app, workspaceID);
    const auto workspace =
        imported.app.workspace ? composition.workspaces().find(*imported.app.workspace) : std::nullopt;
    const bool moved = recorded && recorded->workspace != imported.app.workspace;
    invocation.output.note(fmt::format(
        "{} {}{}.", imported.wasThere ? "Updated" : "Imported", imported.app.displayName,
        workspace ? fmt::format("{} the workspace \"{}\"", moved ? ", moved to" : " in", workspace->name)
                  : ""));
    if (imported.avoidedFolder && !invocation.arguments.has("--folder"))
        invocation.output.warning(
            fmt::format("{} holds the texts of another app, so those of {} go into {}",
                        imported.avoidedFolder->rootURL.string(), imported.app.displayName,
                        defaultAppFolder(composition.home(), imported.app.slug).rootURL.string()));
    return imported.app;
}

ManagedApp recordedOrImportedApp(Invocation& invocation) {
    if (auto found = meantRecord(invocation)) return *found;
    return importAccountApp(invocation, locateOnAccount(invocation));
}

AppReference referencedApp(Invocation& invocation) {
    if (const auto found = meantRecord(invocation))
        return {found->appStoreId, found->displayName, ownerOf(*found)};
    const AccountApp app = locateOnAccount(invocation);
    return {app.id, app.attributes.name.value_or(""), currentKeyOwner(invocation)};
}

} // namespace quorvel
