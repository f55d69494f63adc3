#include "Quorvel/actions/NotesActions.h"

#include "Quorvel/application/Application.h"
#include "Quorvel/application/BuildRuns.h"

#include <algorithm>

namespace quorvel {

namespace {

// As messages show it.
std::filesystem::path folderPath(const Application& application, const std::filesystem::path& folder) {
    const auto path = application.absolutePath(folder);
    return path.has_filename() ? path : path.parent_path();
}

// Where the project of an app lies that is built here, as assistants were told it.
std::vector<std::filesystem::path> projectFolders(Application& application, const ManagedApp& app) {
    std::vector<std::filesystem::path> folders;
    for (const TargetPlatform platform : allTargetPlatforms)
        if (const auto config = buildConfigOf(application, app, platform, BuildConfigOrigin::handedOver);
            config && !config->projectPath.empty())
            folders.push_back(std::filesystem::path(config->projectPath).parent_path());
    return folders;
}

} // namespace

PlanReleaseNotes::Result PlanReleaseNotes::perform(Application& application, const Request& request,
                                                   const ActionProgress& progress) {
    const OpenedApp opened = openRecorded(application, targetOf(request));
    progress.step({"Reading the commits…", {}, 0});
    ReleaseNotesOrder order{.context = request.context,
                            .repository = std::nullopt,
                            .places = {},
                            .home = {},
                            .from = request.from,
                            .to = request.to,
                            .include = request.include,
                            .exclude = request.exclude,
                            .mustBeWritable = request.mustBeWritable,
                            .dryRun = dryRunOf(request)};
    if (request.ownFoldersOnly) {
        order.places = projectFolders(application, opened.app);
        order.home = application.home().root;
    } else {
        order.places = {folderPath(application, ".")};
    }
    if (request.repository) order.repository = folderPath(application, *request.repository);
    return {opened.session->notes->plan(order)};
}

DraftReleaseNotes::Result DraftReleaseNotes::perform(Application& application, const Request& request,
                                                     const ActionProgress& progress) {
    const OpenedApp opened =
        openRecorded(application, {{request.plan.app.id, request.workspace}, request.folder});
    // What no draft can be made from is refused before the service is asked for.
    if (std::ranges::none_of(request.plan.commits, &ClassifiedCommit::include))
        throw ReleaseNotesError::noUserRelevantCommits();
    const auto stack = application.aiStack();
    progress.step({"Asking for a draft…", {}, 0});
    return {opened.session->notes->draft(request.plan, stack.client,
                                         request.fresh ? KeptAnswers::renewed : KeptAnswers::taken)};
}

WriteReleaseNotes::Result WriteReleaseNotes::perform(Application& application, const Request& request,
                                                     const ActionProgress& progress) {
    const OpenedApp opened = openRecorded(application, targetOf(request));
    const ToldOperations told(*opened.session, progress);
    return {opened.session->notes->write(
        {.context = request.context, .draft = request.draft, .replaceEdits = request.replaceEdits})};
}

} // namespace quorvel
