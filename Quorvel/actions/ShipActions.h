// A whole release as one job.
#pragma once

#include "Quorvel/actions/ShipPlan.h"
#include "Quorvel/actions/Target.h"

namespace quorvel {

struct PlanShip {
    static constexpr ActionInfo info{"plan_ship", "Show what a whole release would do"};
    struct Request {
        std::string version;
        std::optional<ShipUntil> until;
        std::optional<ScreenshotPushMode> screenshots;
        bool allowClear = false;
        bool allowUnreviewed = false;
        bool exempt = false;
        std::vector<std::string> testFlightGroups;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        bool dryRun = false;
        QUORVEL_RECORD(Request, version, until, screenshots, allowClear, allowUnreviewed, exempt,
                       testFlightGroups, app, workspace, context, folder, dryRun)
        static constexpr JSONMember members[] = {
            {"version", "The version, such as 1.2.0.", JSONMember::required},
            {"until", "How far: build, submit, review (when left out) or live."},
            {"screenshots", "append (when left out) or replace."},
            {"allowClear", "Also send changes that remove a text."},
            {"allowUnreviewed", "Also send texts that were generated and not read since."},
            {"exempt", "Declare that the build uses no encryption that needs a declaration."},
            {"testFlightGroups", "Give the build to these TestFlight groups."},
            appMember,
            workspaceMember,
            contextMember,
            folderMember,
            dryRunMember};
    };
    struct Result {
        ShipPlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// Does each step only where App Store Connect or the disk says that it is not done, and ends at the first
/// one that only a person can do. Nothing of its progress is kept: performed again it goes on from there.
struct Ship {
    static constexpr ActionInfo info{"ship", "Do a whole release", Effect::remote};
    struct Request {
        ShipPlan plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_ship made it.", JSONMember::required}, workspaceMember};
    };
    struct Result {
        ShipPlan plan;
        ShipOutcome outcome;
        std::optional<ImportedAppReport> imported;
        QUORVEL_RECORD(Result, plan, outcome, imported)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
