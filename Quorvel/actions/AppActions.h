// The apps of the account and those that are recorded.
#pragma once

#include "Quorvel/actions/AppOverview.h"

namespace quorvel {

struct ListApps {
    static constexpr ActionInfo info{"list_apps", "List the recorded apps of the workspace"};
    struct Request {
        std::optional<std::string> workspace;
        bool all = false;
        QUORVEL_RECORD(Request, workspace, all)
        static constexpr JSONMember members[] = {
            workspaceMember, {"all", "The recorded apps of all workspaces, and those of none."}};
    };
    struct Result {
        std::vector<AppOverview> apps;
        QUORVEL_RECORD(Result, apps)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ListAccountApps {
    static constexpr ActionInfo info{"list_account_apps",
                                     "List the apps of the account on App Store Connect"};
    struct Request {
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, workspace)
        static constexpr JSONMember members[] = {workspaceMember};
    };
    struct App {
        std::string id;
        std::string type;
        ASCAppAttributes attributes;
        std::string slug; // the short name that it has or would be given
        bool isRecorded = false;
        QUORVEL_RECORD(App, id, type, attributes, slug, isRecorded)
    };
    struct Result {
        std::vector<App> apps;
        QUORVEL_RECORD(Result, apps)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ImportApps {
    static constexpr ActionInfo info{"import_apps", "Record apps of the account in the workspace",
                                     Effect::localFiles};
    struct Request {
        std::vector<std::string> apps;
        bool all = false;
        std::optional<std::string> folder;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, apps, all, folder, workspace)
        static constexpr JSONMember members[] = {
            {"apps", "Bundle ids or App Store ids."},
            {"all", "All apps of the account."},
            {"folder", "The metadata folder of a single app from now on."},
            workspaceMember};
    };
    struct FailedApp {
        std::string appStoreId;
        std::string bundleId;
        Failure failure;
        QUORVEL_RECORD(FailedApp, appStoreId, bundleId, failure)
    };
    struct Result {
        std::vector<ImportedAppReport> imported;
        std::vector<FailedApp> failed;
        QUORVEL_RECORD(Result, imported, failed)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// Apps as the records have them.
struct RecordedApps {
    std::vector<ManagedApp> apps;
    QUORVEL_RECORD(RecordedApps, apps)
};

struct PlanAppRemoval {
    static constexpr ActionInfo info{"plan_app_removal",
                                     "Show which records the removal of apps would delete"};
    struct Request {
        std::vector<std::string> apps;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, apps, workspace)
        static constexpr JSONMember members[] = {{"apps", "The apps.", JSONMember::required},
                                                 workspaceMember};
    };
    using Result = RecordedApps;
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct RemoveApps {
    static constexpr ActionInfo info{"remove_apps", "Forget apps with their history; their files stay",
                                     Effect::deletion};
    struct Request {
        std::vector<ManagedApp> apps;
        QUORVEL_RECORD(Request, apps)
        static constexpr JSONMember members[] = {
            {"apps", "The apps, as plan_app_removal showed them.", JSONMember::required}};
    };
    struct Result {
        std::vector<ManagedApp> apps;
        std::vector<std::string> forgottenKeys; // ids of the apps that had a key of their own
        QUORVEL_RECORD(Result, apps, forgottenKeys)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct MoveApp {
    static constexpr ActionInfo info{"move_app", "Put an app into another workspace", Effect::localFiles};
    struct Request {
        std::string app;
        std::string toWorkspace;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, app, toWorkspace, workspace)
        static constexpr JSONMember members[] = {
            {"app", "The app.", JSONMember::required},
            {"toWorkspace", "The workspace that it is to be in.", JSONMember::required},
            workspaceMember};
    };
    struct Result {
        ManagedApp app;
        std::string workspaceName;
        QUORVEL_RECORD(Result, app, workspaceName)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
