#include "Quorvel/actions/AppOverview.h"

#include "Core/metadata/TextComparison.h"
#include "Platform/task/Task.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/RequestDefaults.h"
#include "Quorvel/repository/RepositoryFile.h"
#include "Quorvel/workspace/AppFolder.h"

#include <iterator>
#include <map>

namespace quorvel {

namespace {

// An app whose texts cannot be read is still listed.
void countPending(AppOverview& overview, const std::optional<MetadataFolder>& found,
                  const LocaleSet& disabledLocales) {
    if (!found) return;
    const MetadataFolder& folder = *found;
    try {
        std::int64_t count = 0;
        std::int64_t conflicts = 0;
        const TextRules rules(disabledLocales, finalLineBreakOf(folder));
        for (const PlatformContext& context : overview.contexts)
            if (context.takesPushes()) {
                const auto texts = compareTexts(
                    MetadataStore(folder.contextFolder(context.contextID())), context.contextID(), rules,
                    {.release = releaseOf(context.contextID(), overview.contexts)});
                count += static_cast<std::int64_t>(texts.waiting());
                conflicts += std::ssize(texts.conflicts);
                if (!texts.unreadable.empty() && !overview.problem)
                    overview.problem = {FailureKind::failed, texts.unreadable.front().explanation, {}};
            }
        overview.pendingChanges = count;
        overview.openConflicts = conflicts;
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception& error) {
        overview.problem = failureOf(error);
    }
}

} // namespace

std::vector<AppOverview> overviewsOf(Application& application, const std::vector<ManagedApp>& apps,
                                     PendingChanges pending) {
    std::vector<AppOverview> overviews;
    if (apps.empty()) return overviews;
    std::map<std::string, std::string> names; // of workspaces, by id
    for (const ManagedWorkspace& workspace : application.workspaces().all())
        names[workspace.id] = workspace.name;
    const auto state = application.index().state();
    std::map<std::string, std::optional<MetadataFolder>> folders; // by the app's id
    for (const ManagedApp& app : apps) {
        AppOverview overview{.id = app.id,
                             .slug = app.slug,
                             .displayName = app.displayName,
                             .bundleId = app.bundleId,
                             .appStoreId = app.appStoreId,
                             .workspace = app.workspace};
        if (app.workspace) overview.workspaceName = names[*app.workspace];
        const RepositoryFile* file = repositoryFor(application, app);
        const auto tree = file ? treeOf(*file) : std::nullopt;
        const auto& folder = folders[app.id] = tree ? tree : application.folderOf(app);
        if (folder) overview.folder = folder->rootURL.string();
        const auto found = state->summaries.find(app.id);
        if (tree || found != state->summaries.end()) {
            // The index knows the app's own folder only.
            const WorkspaceIndex::Summary summary =
                tree ? WorkspaceIndex::summarize(app.id, ContextsStore(*tree, application.clock()).load())
                     : found->second;
            overview.bucket = summary.bucket();
            overview.attentionCount = summary.attentionCount();
            overview.headline = summary.headline;
            overview.contexts = summary.contexts;
            overview.lastUpdated = summary.lastUpdated;
        }
        overviews.push_back(std::move(overview));
    }
    if (pending == PendingChanges::leave) return overviews;
    constexpr std::size_t width = 8;
    const AppRecords records = application.apps();
    return parallelMap(overviews, width, [&](AppOverview overview) {
        countPending(overview, folders.at(overview.id), records.disabledLocales(overview.id));
        return overview;
    });
}

} // namespace quorvel
