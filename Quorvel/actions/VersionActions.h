// The versions and builds of an app on App Store Connect.
#pragma once

#include "Core/metadata/MetadataPusher.h"
#include "Quorvel/actions/Target.h"

namespace quorvel {

/// Throws `ApplicationError` for what is not up to three numbers with points between them.
void requireVersionNumber(std::string_view text);

struct ListVersions {
    static constexpr ActionInfo info{"list_versions", "List the versions of an app and their states"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> platform;
        QUORVEL_RECORD(Request, app, workspace, platform)
        static constexpr JSONMember members[] = {
            appMember, workspaceMember, {"platform", "Only this platform: ios, macos, tvos or visionos."}};
    };
    struct Result {
        AppReference app;
        ASCList<AppStoreVersionAttributes> versions;
        QUORVEL_RECORD(Result, app, versions)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// A version that is to be made, and the request that makes it.
struct VersionPlan {
    AppReference app;
    ASCPlatform platform = ASCPlatform::iOS;
    std::string versionString;
    std::optional<std::string> releaseType;
    PlannedRequest request;
    QUORVEL_RECORD(VersionPlan, app, platform, versionString, releaseType, request)
};

struct PlanVersion {
    static constexpr ActionInfo info{"plan_version", "Show how a new version of an app would be made"};
    /// Refuses a version that is no number, one that there is already, and one beside another that is open.
    struct Request {
        std::string platform;
        std::string version;
        std::optional<std::string> releaseType;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, platform, version, releaseType, app, workspace)
        static constexpr JSONMember members[] = {
            {"platform", "ios, macos, tvos or visionos.", JSONMember::required},
            {"version", "The version, such as 1.2.0.", JSONMember::required},
            {"releaseType", "When an approved version comes out: MANUAL, AFTER_APPROVAL or SCHEDULED."},
            appMember,
            workspaceMember};
    };
    struct Result {
        VersionPlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct CreateVersion {
    static constexpr ActionInfo info{"create_version", "Make a new version of an app", Effect::remote};
    struct Request {
        VersionPlan plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_version made it.", JSONMember::required}, workspaceMember};
    };
    struct Result {
        AppReference app;
        ASCResource<AppStoreVersionAttributes> version;
        QUORVEL_RECORD(Result, app, version)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ListBuilds {
    static constexpr ActionInfo info{"list_builds", "List the builds of an app, newest first"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> version;
        static constexpr std::int64_t mostBuilds = 100'000;
        std::int64_t limit = 50;
        QUORVEL_RECORD(Request, app, workspace, version, limit)
        static constexpr JSONMember members[] = {appMember,
                                                 workspaceMember,
                                                 {"version", "Only builds of this version."},
                                                 {"limit", "At most so many; 50 when left out."}};
    };
    struct Result {
        AppReference app;
        std::vector<ASCBuildSummary> builds;
        QUORVEL_RECORD(Result, app, builds)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
