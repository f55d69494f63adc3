#include "Programs/quorvel/commands/AppOverviews.h"

#include "Core/metadata/MetadataDiff.h"
#include "Platform/task/ParallelMap.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/commands/MetadataRecords.h"
#include "Quorvel/workspace/AppFolder.h"

#include <fmt/format.h>

#include <array>
#include <map>
#include <tuple>

namespace quorvel {

namespace {

struct PendingCount {
    std::optional<std::int64_t> count;
    std::optional<std::string> problem;
};

// An app whose texts cannot be read is still listed.
PendingCount countPending(const MetadataFolder& folder, const std::vector<PlatformContext>& contexts) {
    try {
        std::int64_t count = 0;
        for (const PlatformContext& context : contexts)
            if (context.takesPushes())
                count += static_cast<std::int64_t>(
                    MetadataDiff::compare(MetadataStore(folder.contextFolder(context.contextID()))).size());
        return {count, {}};
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception& error) {
        return {{}, reportOf(error).text};
    }
}

std::optional<MetadataFolder> folderOf(Invocation& invocation, const ManagedApp& app) {
    try {
        return appFolderOf(app, invocation.composition.home(), invocation.composition.apps());
    } catch (const std::exception&) { // a lost folder: the list shows that there is none
        return std::nullopt;
    }
}

void countPending(std::vector<AppOverview>& overviews) {
    constexpr std::size_t width = 8;
    const auto counts = parallelMap(overviews, width, [](const AppOverview& overview) {
        return overview.folder.empty() ? PendingCount()
                                       : countPending(MetadataFolder{overview.folder}, overview.contexts);
    });
    for (std::size_t index = 0; index < overviews.size(); ++index)
        std::tie(overviews[index].pendingChanges, overviews[index].problem) =
            std::tie(counts[index].count, counts[index].problem);
}

} // namespace

std::vector<AppOverview> overviewsOf(Invocation& invocation, const std::vector<ManagedApp>& apps,
                                     PendingChanges pending) {
    std::vector<AppOverview> overviews;
    if (apps.empty()) return overviews;
    std::map<std::string, std::string> names; // of workspaces, by id
    for (const ManagedWorkspace& workspace : invocation.composition.workspaces().all())
        names[workspace.id] = workspace.name;
    const auto state = invocation.composition.index().state();
    for (const ManagedApp& app : apps) {
        AppOverview overview{app.id, app.slug, app.displayName, app.bundleId, app.appStoreId};
        overview.workspace = app.workspace;
        if (app.workspace) overview.workspaceName = names[*app.workspace];
        if (const auto folder = folderOf(invocation, app)) overview.folder = folder->rootURL.string();
        if (const auto found = state->summaries.find(app.id); found != state->summaries.end()) {
            const WorkspaceIndex::Summary& summary = found->second;
            overview.bucket = summary.bucket();
            overview.attentionCount = summary.attentionCount();
            overview.headline = summary.headline;
            overview.contexts = summary.contexts;
            overview.lastUpdated = summary.lastUpdated;
        }
        overviews.push_back(std::move(overview));
    }
    if (pending == PendingChanges::count) countPending(overviews);
    return overviews;
}

std::string relativeTime(Date then, Date now) {
    struct Unit {
        std::chrono::seconds length;
        std::string_view name;
    };
    static constexpr std::array<Unit, 6> units = {{{std::chrono::hours(24 * 365), "year"},
                                                   {std::chrono::hours(24 * 30), "month"},
                                                   {std::chrono::hours(24 * 7), "week"},
                                                   {std::chrono::hours(24), "day"},
                                                   {std::chrono::hours(1), "hour"},
                                                   {std::chrono::minutes(1), "minute"}}};
    for (const Unit& unit : units)
        if (const auto count = (now - then) / unit.length; count > 0)
            return fmt::format("{} ago", counted(static_cast<std::size_t>(count), unit.name));
    return "just now";
}

std::string shortTime(Date date) {
    std::string text = formatISO8601(date); // 2026-03-01T12:30:00Z
    text[text.find('T')] = ' ';
    return text.substr(0, text.rfind(':')) + "Z";
}

Style styleOfState(std::string_view state) {
    if (isEditableState(state)) return Style::cyan;
    if (state.starts_with("REPLACED") || state.ends_with("REMOVED_FROM_SALE")) return Style::dim;
    return stateClassOf(state) == AppStoreVersionStateClass::live ? Style::green : Style::yellow;
}

Table::Cell contextCell(const PlatformContext& context) {
    return {fmt::format("{} {} {}", context.id(), context.versionString, context.appStoreState),
            styleOfState(context.appStoreState)};
}

std::string attentionText(std::int64_t count) {
    if (count == 0) return {};
    return fmt::format("{} {} attention", counted(static_cast<std::size_t>(count), "version"),
                       count == 1 ? "needs" : "need");
}

} // namespace quorvel
