// Drafts release notes from the commits of an app's project.
#pragma once

#include "Quorvel/actions/Target.h"
#include "Quorvel/controllers/notes/ReleaseNotesPlan.h"

namespace quorvel {

struct PlanReleaseNotes {
    static constexpr ActionInfo info{
        "plan_release_notes", "Show the commits that release notes would be drafted from, and the cost"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        std::optional<std::string> repository;
        std::optional<std::string> from;
        std::optional<std::string> to;
        std::vector<std::string> include;
        std::vector<std::string> exclude;
        bool mustBeWritable = false;
        bool dryRun = false;
        bool ownFoldersOnly = false;
        QUORVEL_RECORD(Request, app, workspace, context, folder, repository, from, to, include, exclude,
                       mustBeWritable, dryRun, ownFoldersOnly)
        static constexpr JSONMember members[] = {
            appMember,
            workspaceMember,
            contextMember,
            folderMember,
            {"repository",
             "A folder in the git repository; that of the working folder when left out, else that of "
             "the app's metadata folder."},
            {"from",
             "The tag or commit that the range begins after; the tag of the version before when left out."},
            {"to", "The last commit; HEAD when left out."},
            {"include",
             "Commits that are taken in though their kind is left out, by their hashes or the beginnings "
             "of them."},
            {"exclude", "Commits that are left out, in the same form."},
            {"mustBeWritable", "Refuse now what could not be written afterwards."},
            dryRunMember,
            {"ownFoldersOnly",
             "Look for the repository in the project of the build configuration that was handed over to "
             "assistants and in the app's metadata folder, not in the working folder."}};
    };
    struct Result {
        ReleaseNotesPlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct DraftReleaseNotes {
    static constexpr ActionInfo info{"draft_release_notes", "Draft release notes from commits"};
    struct Request {
        ReleaseNotesPlan plan;
        std::optional<std::string> workspace;
        std::optional<std::string> folder;
        bool fresh = false;
        QUORVEL_RECORD(Request, plan, workspace, folder, fresh)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_release_notes made it; \"include\" of its commits may be changed.",
             JSONMember::required},
            workspaceMember,
            folderMember,
            {"fresh", "Ask the model again, also where an answer of it is kept."}};
    };
    struct Result {
        ReleaseNotesReport report;
        QUORVEL_RECORD(Result, report)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct WriteReleaseNotes {
    static constexpr ActionInfo info{
        "write_release_notes", "Write release notes into the texts of the source locale", Effect::localFiles};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        ReleaseNotesDraft draft;
        bool replaceEdits = false;
        QUORVEL_RECORD(Request, app, workspace, context, folder, draft, replaceEdits)
        static constexpr JSONMember members[] = {
            appMember,
            workspaceMember,
            contextMember,
            folderMember,
            {"draft", "The two texts; a blank one is left out.", JSONMember::required},
            {"replaceEdits", "Also edits that were not pushed; they are backed up."}};
    };
    struct Result {
        WrittenNotes notes;
        QUORVEL_RECORD(Result, notes)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
