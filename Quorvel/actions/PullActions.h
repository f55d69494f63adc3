// Copies store texts from App Store Connect into metadata folders.
#pragma once

#include "Core/metadata/MetadataPuller.h"
#include "Quorvel/actions/Target.h"
#include "Quorvel/application/Failure.h"

namespace quorvel {

struct PullTexts {
    static constexpr ActionInfo info{"pull_texts", "Copy the store texts of an app into its metadata folder",
                                     Effect::localFiles};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        bool allContexts = false;
        bool allApps = false;
        bool leaveEdits = false;
        bool replaceEdits = false;
        bool dryRun = false;
        QUORVEL_RECORD(Request, app, workspace, context, folder, allContexts, allApps, leaveEdits,
                       replaceEdits, dryRun)
        static constexpr JSONMember members[] = {
            appMember,
            workspaceMember,
            contextMember,
            folderMember,
            {"allContexts", "Every version that can be worked on, each into its own folder."},
            {"allApps", "Every recorded app of the workspace."},
            {"leaveEdits", "Leave local edits in place, also where App Store Connect changed the text."},
            {"replaceEdits", "Replace local edits by App Store Connect's texts after backing them up."},
            dryRunMember};
    };
    /// One context of one app, or an app that failed as a whole.
    struct Pull {
        AppReference app;
        std::string folder; // the app's
        std::optional<std::string> context;
        std::optional<PlatformContext> version;
        std::optional<PullResult> result;
        std::optional<Failure> failure;
        QUORVEL_RECORD(Pull, app, folder, context, version, result, failure)
    };
    struct Result {
        std::vector<Pull> pulls;
        std::vector<std::string> contexts;        // of a single app: all that it has
        std::vector<std::string> disabledLocales; // of a single app
        std::int64_t attentionCount = 0;          // versions of these apps that wait for their developer
        bool isFirst = false;                     // of a single app: nothing of it was pulled before
        std::optional<ImportedAppReport> imported;
        QUORVEL_RECORD(Result, pulls, contexts, disabledLocales, attentionCount, isFirst, imported)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
