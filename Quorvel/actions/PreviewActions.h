// Pulls, compares and pushes the videos that the store shows before the screenshots.
#pragma once

#include "Quorvel/actions/ScreenshotActions.h"

namespace quorvel {

struct PullPreviews {
    static constexpr ActionInfo info{
        "pull_previews", "Copy the list and the poster frames of an app's previews", Effect::localFiles};
    using Request = PullScreenshots::Request;
    using Result = PullScreenshots::Result;
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ImportPreviews {
    static constexpr ActionInfo info{"import_previews", "Take the previews of another tool's tree",
                                     Effect::localFiles};
    using Request = ImportScreenshots::Request;
    using Result = ImportScreenshots::Result;
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// Which videos a comparison is of.
struct PreviewRequest {
    std::optional<std::string> app;
    std::optional<std::string> workspace;
    std::optional<std::string> context;
    std::optional<std::string> folder;
    std::optional<ScreenshotPushMode> mode;
    std::vector<std::string> locales;
    std::vector<std::string> displayTypes;
    bool noCheck = false;
    bool prune = false;
    bool dryRun = false;
    static constexpr AssetKind kind = AssetKind::preview;
    QUORVEL_RECORD(PreviewRequest, app, workspace, context, folder, mode, locales, displayTypes, noCheck,
                   prune, dryRun)
    static constexpr JSONMember members[] = {
        appMember,
        workspaceMember,
        contextMember,
        folderMember,
        {"mode", "append: keep what is there; replace: only the local files stay."},
        {"locales", "Only these locales."},
        {"displayTypes", "Only these display types (IPHONE_67 or iphone-67)."},
        {"noCheck", "Also take videos of a wrong length, size, codec or frame rate."},
        {"prune", "With the mode replace: also empty the sets that have no local file."},
        dryRunMember};
};

struct ComparePreviews {
    static constexpr ActionInfo info{"compare_previews", "Compare the local previews with the last pull"};
    using Request = PreviewRequest; // without a mode: what would make both sides the same
    using Result = CompareScreenshots::Result;
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct PlanPreviewPush {
    static constexpr ActionInfo info{"plan_preview_push", "Show what a push of previews would do"};
    using Request = PreviewRequest; // without a mode: append
    using Result = PlanScreenshotPush::Result;
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct PushPreviews {
    static constexpr ActionInfo info{"push_previews", "Upload the local previews to App Store Connect",
                                     Effect::remote};
    using Request = PushScreenshots::Request;
    using Result = PushScreenshots::Result;
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
