// Builds an app with the developer tools, uploads it, and connects builds with versions.
#pragma once

#include "Quorvel/actions/BuildChoice.h"
#include "Quorvel/application/BuildRuns.h"

namespace quorvel {

inline constexpr JSONMember buildPlatformMember{"platform", "ios or macos; ios when left out."};

struct ListSchemes {
    static constexpr ActionInfo info{"list_schemes", "List the schemes of an app's project"};
    struct Request {
        std::optional<std::string> project;
        std::optional<std::string> platform;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, project, platform, app, workspace)
        static constexpr JSONMember members[] = {
            {"project", "The .xcodeproj or .xcworkspace; the app's own when left out."},
            buildPlatformMember,
            appMember,
            workspaceMember};
    };
    struct Result {
        std::string project;
        std::vector<std::string> schemes;
        QUORVEL_RECORD(Result, project, schemes)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ShowBuildConfig {
    static constexpr ActionInfo info{"show_build_config", "Show how an app is built"};
    struct Request {
        std::optional<std::string> platform;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, platform, app, workspace)
        static constexpr JSONMember members[] = {buildPlatformMember, appMember, workspaceMember};
    };
    struct Result {
        AppReference app;
        ChosenBuildConfig chosen;
        QUORVEL_RECORD(Result, app, chosen)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// A request that may want a configuration otherwise than it is saved.
struct BuildConfigRequest {
    std::optional<std::string> platform;
    BuildConfigChanges config;
    std::optional<std::string> app;
    std::optional<std::string> workspace;
    bool ownFoldersOnly = false;
    QUORVEL_RECORD(BuildConfigRequest, platform, config, app, workspace, ownFoldersOnly)
    static constexpr JSONMember members[] = {
        buildPlatformMember,
        {"config", "What is to be otherwise than it is saved.", JSONMember::optional},
        appMember,
        workspaceMember,
        {"ownFoldersOnly",
         "Take the configuration that was handed over to assistants, and look for no project."}};
    [[nodiscard]] BuildConfigOrigin origin() const {
        return ownFoldersOnly ? BuildConfigOrigin::handedOver : BuildConfigOrigin::settings;
    }
};

struct SaveBuildConfig {
    static constexpr ActionInfo info{"save_build_config", "Save how an app is built", Effect::localFiles};
    using Request = BuildConfigRequest;
    using Result = ShowBuildConfig::Result;
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct PlanBuild {
    static constexpr ActionInfo info{"plan_build", "Show what a build of an app would do"};
    using Request = BuildConfigRequest;
    struct Result {
        BuildRunPlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct RunBuild {
    static constexpr ActionInfo info{"run_build", "Build an app, upload it and wait until it is processed",
                                     Effect::remote};
    struct Request {
        BuildRunPlan plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_build made it.", JSONMember::required}, workspaceMember};
    };
    struct Result {
        BuildRunReport report;
        std::optional<ImportedAppReport> imported;
        QUORVEL_RECORD(Result, report, imported)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ListAwaitedBuilds {
    static constexpr ActionInfo info{"list_awaited_builds",
                                     "List the uploaded builds whose processing is still awaited"};
    struct Request {
        std::optional<std::string> platform;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, platform, app, workspace)
        static constexpr JSONMember members[] = {
            {"platform", "Only this platform: ios or macos."},
            {"app", "Only this app: bundle id, App Store id, short name or name."},
            workspaceMember};
    };
    struct Result {
        std::vector<AwaitedBuildOfApp> awaited; // newest first
        QUORVEL_RECORD(Result, awaited)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ResumeBuild {
    static constexpr ActionInfo info{"resume_build", "Go on with a build whose run was cut off",
                                     Effect::remote};
    struct Request {
        AwaitedBuildOfApp plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The build, as list_awaited_builds told it.", JSONMember::required}, workspaceMember};
    };
    struct Result {
        BuildRunReport report;
        QUORVEL_RECORD(Result, report)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// The version and the build number of a project.
struct ProjectVersion {
    std::optional<std::string> marketingVersion; // nothing: the project does not tell it
    std::optional<std::string> buildNumber;
    QUORVEL_RECORD(ProjectVersion, marketingVersion, buildNumber)
    bool operator==(const ProjectVersion&) const = default;
};

struct BumpVersion {
    static constexpr ActionInfo info{"bump_version", "Set the version or the build number of a project",
                                     Effect::localFiles};
    /// Without a version and a number the build number goes up by one.
    struct Request {
        std::optional<std::string> version;
        std::optional<std::string> number;
        bool increment = false;
        std::optional<std::string> project;
        std::optional<std::string> platform;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        bool dryRun = false;
        QUORVEL_RECORD(Request, version, number, increment, project, platform, app, workspace, dryRun)
        static constexpr JSONMember members[] = {
            {"version", "The marketing version, such as 1.2.0."},
            {"number", "The build number."},
            {"increment", "Let the build number go up by one, beside a new version."},
            {"project", "The .xcodeproj or .xcworkspace; the app's own when left out."},
            buildPlatformMember,
            appMember,
            workspaceMember,
            dryRunMember};
    };
    struct Result {
        std::string project;
        ProjectVersion before;
        ProjectVersion after;
        std::vector<std::string> remarks;
        QUORVEL_RECORD(Result, project, before, after, remarks)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// A build that is to be attached to the version that is being prepared.
struct BuildAttachmentPlan {
    AppReference app;
    ASCBuildSummary build;
    std::string versionID;
    std::string versionString;
    QUORVEL_RECORD(BuildAttachmentPlan, app, build, versionID, versionString)
};

struct PlanBuildAttachment {
    static constexpr ActionInfo info{"plan_build_attachment",
                                     "Show which build would be attached to the version that is prepared"};
    /// Refuses a build that is not processed or has expired, and one of another version than the one that is
    /// prepared.
    using Request = BuildRequest;
    struct Result {
        BuildAttachmentPlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct AttachBuild {
    static constexpr ActionInfo info{"attach_build", "Attach a build to the version that is prepared",
                                     Effect::remote};
    struct Request {
        BuildAttachmentPlan plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_build_attachment made it.", JSONMember::required}, workspaceMember};
    };
    struct Result {
        BuildAttachmentPlan attached;
        QUORVEL_RECORD(Result, attached)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// The answer to a build's question on encryption.
struct ComplianceAnswerPlan {
    AppReference app;
    ASCBuildSummary build; // with the answer that it has now
    bool usesNonExemptEncryption = false;
    QUORVEL_RECORD(ComplianceAnswerPlan, app, build, usesNonExemptEncryption)
    /// Whether the build has this answer already.
    [[nodiscard]] bool isGiven() const {
        return build.build.attributes.usesNonExemptEncryption == usesNonExemptEncryption;
    }
};

struct PlanComplianceAnswer {
    static constexpr ActionInfo info{"plan_compliance_answer",
                                     "Show for which build the question on encryption would be answered"};
    struct Request {
        bool usesNonExemptEncryption = false;
        std::optional<std::string> build;
        std::optional<std::string> version;
        std::optional<std::string> platform;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, usesNonExemptEncryption, build, version, platform, app, workspace)
        static constexpr JSONMember members[] = {
            {"usesNonExemptEncryption",
             "Whether the build uses encryption that is not exempt from export documentation.",
             JSONMember::required},
            buildMember,
            buildVersionMember,
            buildOfPlatformMember,
            appMember,
            workspaceMember};
    };
    struct Result {
        ComplianceAnswerPlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct AnswerCompliance {
    static constexpr ActionInfo info{"answer_compliance", "Answer a build's question on encryption",
                                     Effect::remote};
    struct Request {
        ComplianceAnswerPlan plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_compliance_answer made it.", JSONMember::required}, workspaceMember};
    };
    struct Result {
        ComplianceAnswerPlan answered;
        QUORVEL_RECORD(Result, answered)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
