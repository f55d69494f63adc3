// Sends changed store texts to App Store Connect.
#pragma once

#include "Quorvel/actions/AllApps.h"
#include "Quorvel/actions/Target.h"
#include "Quorvel/controllers/metadata/PushPlan.h"

namespace quorvel {

struct PlanPush {
    static constexpr ActionInfo info{"plan_push", "Show what a push of store texts would do"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        std::vector<std::string> locales;
        std::vector<FieldType> fields;
        bool allowClear = false;
        bool allowUnreviewed = false;
        bool overwrite = false;
        bool withRequests = false;
        bool dryRun = false;
        QUORVEL_RECORD(Request, app, workspace, context, folder, locales, fields, allowClear, allowUnreviewed,
                       overwrite, withRequests, dryRun)
        static constexpr JSONMember members[] = {
            appMember,
            workspaceMember,
            contextMember,
            folderMember,
            {"locales", "Only these locales."},
            {"fields", "Only these fields."},
            {"allowClear", "Also send changes that remove a text."},
            {"allowUnreviewed", "Also send texts that were generated and not read since."},
            {"overwrite",
             "Where nothing was pulled, compare with what App Store Connect holds and replace it."},
            {"withRequests", "Ask App Store Connect for its texts and show the requests and the conflicts."},
            dryRunMember};
    };
    struct Result {
        PushPlan plan;
        bool leavesWaiting = false; // something stays behind until the user does something about it
        QUORVEL_RECORD(Result, plan, leavesWaiting)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct PushTexts {
    static constexpr ActionInfo info{"push_texts", "Send changed store texts to App Store Connect",
                                     Effect::remote};
    struct Request {
        PushPlan plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_push made it.", JSONMember::required}, workspaceMember};
    };
    struct Result {
        PushReport report;
        std::optional<ImportedAppReport> imported;
        QUORVEL_RECORD(Result, report, imported)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// The same for every recorded app of the workspace.
struct PlanPushOfAllApps {
    static constexpr ActionInfo info{"plan_push_of_all_apps",
                                     "Show what a push of the store texts of every app would do"};
    using Request = PlanPush::Request; // without an app or a folder
    struct Result {
        std::vector<AppOutcome<PlanPush::Result>> apps;
        QUORVEL_RECORD(Result, apps)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};
struct PushTextsOfAllApps {
    static constexpr ActionInfo info{"push_texts_of_all_apps",
                                     "Send changed store texts of every app to App Store Connect",
                                     Effect::remote};
    struct Request {
        std::vector<AppOutcome<PlanPush::Result>> apps;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, apps, workspace)
        static constexpr JSONMember members[] = {
            {"apps", "The plans, as plan_push_of_all_apps made them.", JSONMember::required},
            workspaceMember};
    };
    struct Result {
        std::vector<AppOutcome<PushTexts::Result>> apps; // in the order of the plans, failed ones too
        QUORVEL_RECORD(Result, apps)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
