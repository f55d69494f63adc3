// Pulls, compares and pushes the store screenshots.
#pragma once

#include "Quorvel/actions/Target.h"
#include "Quorvel/controllers/screenshots/ScreenshotPlans.h"

namespace quorvel {

struct PullScreenshots {
    static constexpr ActionInfo info{
        "pull_screenshots", "Copy the list and the thumbnails of an app's screenshots", Effect::localFiles};
    using Request = FolderRequest;
    struct Result {
        ScreenshotsPull pull;
        std::optional<ImportedAppReport> imported;
        QUORVEL_RECORD(Result, pull, imported)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// Which pictures a comparison is of.
struct ScreenshotRequest {
    std::optional<std::string> app;
    std::optional<std::string> workspace;
    std::optional<std::string> context;
    std::optional<std::string> folder;
    std::optional<ScreenshotPushMode> mode;
    std::vector<std::string> locales;
    std::vector<std::string> displayTypes;
    bool noCheck = false;
    bool flatten = false;
    bool prune = false;
    bool dryRun = false;
    static constexpr AssetKind kind = AssetKind::screenshot;
    QUORVEL_RECORD(ScreenshotRequest, app, workspace, context, folder, mode, locales, displayTypes, noCheck,
                   flatten, prune, dryRun)
    static constexpr JSONMember members[] = {
        appMember,
        workspaceMember,
        contextMember,
        folderMember,
        {"mode", "append: keep what is there; replace: only the local files stay."},
        {"locales", "Only these locales."},
        {"displayTypes", "Only these display types (APP_IPHONE_67 or iphone-67)."},
        {"noCheck", "Also take pictures of a wrong size, format or with an alpha channel."},
        {"flatten", "Send opaque pictures that have an alpha channel as copies without it."},
        {"prune", "With the mode replace: also empty the sets that have no local file."},
        dryRunMember};
};

struct ImportScreenshots {
    static constexpr ActionInfo info{"import_screenshots", "Take the screenshots of another tool's tree",
                                     Effect::localFiles};
    struct Request {
        std::string tree;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        bool dryRun = false;
        QUORVEL_RECORD(Request, tree, app, workspace, context, folder, dryRun)
        static constexpr JSONMember members[] = {
            {"tree", "The tree's folder, such as one of <locale>/*.png.", JSONMember::required},
            appMember,
            workspaceMember,
            contextMember,
            folderMember,
            dryRunMember};
    };
    struct Result {
        ScreenshotImport import;
        QUORVEL_RECORD(Result, import)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct CompareScreenshots {
    static constexpr ActionInfo info{"compare_screenshots",
                                     "Compare the local screenshots with the last pull"};
    using Request = ScreenshotRequest; // without a mode: what would make both sides the same
    struct Result {
        ScreenshotStatus status;
        QUORVEL_RECORD(Result, status)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct PlanScreenshotPush {
    static constexpr ActionInfo info{"plan_screenshot_push", "Show what a push of screenshots would do"};
    using Request = ScreenshotRequest; // without a mode: append
    struct Result {
        ScreenshotPushPlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct PushScreenshots {
    static constexpr ActionInfo info{"push_screenshots", "Upload the local screenshots to App Store Connect",
                                     Effect::remote};
    struct Request {
        ScreenshotPushPlan plan;
        bool noWait = false;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, noWait, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as the planning action made it.", JSONMember::required},
            {"noWait", "Do not wait until App Store Connect has processed the uploads."},
            workspaceMember};
    };
    struct Result {
        ScreenshotPushReport report;
        std::optional<ImportedAppReport> imported;
        QUORVEL_RECORD(Result, report, imported)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
