// What was pushed, and the way back.
#pragma once

#include "Core/records/Records.h"
#include "Quorvel/actions/Target.h"
#include "Quorvel/controllers/metadata/RunReverter.h"

namespace quorvel {

/// One push of store texts.
struct HistoryRun {
    std::string run;
    std::string shortName; // the beginning of `run` that no other run of the app shares
    Date started;
    Date finished;
    std::string context; // "ios/next", as far as it is known
    std::optional<std::string> platform;
    std::optional<std::string> stateClass;
    std::optional<std::string> versionString;
    std::int64_t fields = 0; // tried
    std::int64_t failed = 0;
    std::int64_t unknown = 0; // the answer was lost; App Store Connect may have taken them
    std::int64_t locales = 0;
    QUORVEL_RECORD(HistoryRun, run, shortName, started, finished, context, platform, stateClass,
                   versionString, fields, failed, unknown, locales)
};

inline constexpr JSONMember runMember{"run", "Its identifier, the beginning of that, or last.",
                                      JSONMember::required};

struct ListRuns {
    static constexpr ActionInfo info{"list_runs", "List what was pushed, the newest run first"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        static constexpr std::int64_t mostRuns = 100'000;
        std::int64_t limit = 20;
        QUORVEL_RECORD(Request, app, workspace, limit)
        static constexpr JSONMember members[] = {
            appMember, workspaceMember, {"limit", "At most so many runs; 20 when left out."}};
    };
    struct Result {
        AppReference app;
        std::vector<HistoryRun> runs;
        QUORVEL_RECORD(Result, app, runs)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ShowRun {
    static constexpr ActionInfo info{"show_run",
                                     "Show each field of a run with its previous and its new text"};
    struct Request {
        std::string run;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, run, app, workspace)
        static constexpr JSONMember members[] = {runMember, appMember, workspaceMember};
    };
    struct Entry {
        Date finished;
        std::string locale;
        std::string field;
        std::string previous;
        std::string sent;
        bool success = false;
        bool isUnknown = false; // the answer was lost; App Store Connect may have taken it
        std::optional<std::string> error;
        QUORVEL_RECORD(Entry, finished, locale, field, previous, sent, success, isUnknown, error)
    };
    struct Result {
        AppReference app;
        HistoryRun run;
        std::vector<Entry> entries; // by locale and field
        QUORVEL_RECORD(Result, app, run, entries)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct RevertRun {
    static constexpr ActionInfo info{
        "revert_run", "Write the texts back into local files that a run replaced", Effect::localFiles};
    struct Request {
        std::string run;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> folder;
        bool dryRun = false;
        QUORVEL_RECORD(Request, run, app, workspace, folder, dryRun)
        static constexpr JSONMember members[] = {runMember, appMember, workspaceMember, folderMember,
                                                 dryRunMember};
    };
    struct Result {
        RevertReport report;
        bool clearsTexts = false;                 // a push removes some on App Store Connect
        std::vector<std::string> disabledLocales; // of the run
        QUORVEL_RECORD(Result, report, clearsTexts, disabledLocales)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
