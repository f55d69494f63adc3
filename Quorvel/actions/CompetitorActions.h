// Other makers' apps that an app is compared with.
#pragma once

#include "Core/records/Models.h"
#include "Quorvel/actions/Target.h"
#include "Quorvel/application/Failure.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

struct AddCompetitors {
    static constexpr ActionInfo info{"add_competitors", "Follow other makers' apps", Effect::localFiles};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::vector<std::string> competitors;
        std::vector<std::string> countries;
        std::optional<std::string> note;
        QUORVEL_RECORD(Request, app, workspace, competitors, countries, note)
        static constexpr JSONMember members[] = {
            appMember,
            workspaceMember,
            {"competitors", "App Store ids, bundle ids or links to the store.", JSONMember::required},
            {"countries", "The storefronts, by their two letters; those of the links when empty."},
            {"note", "Why it is followed."}};
    };
    struct Outcome {
        std::string given;
        std::string country;
        std::optional<TrackedCompetitor> competitor; // nothing where it failed
        bool wasKnown = false;
        std::optional<Failure> failure;
        QUORVEL_RECORD(Outcome, given, country, competitor, wasKnown, failure)
    };
    struct Result {
        std::string app;
        std::vector<Outcome> outcomes;
        QUORVEL_RECORD(Result, app, outcomes)
    };
    /// Each costs one request to the store. One that fails stops no other.
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// How a competitor's page changed between two snapshots.
struct CompetitorChange {
    std::string member; // "name", "subtitle", "version" or "price"
    std::string before;
    std::string after;
    Date noticedAt;
    QUORVEL_RECORD(CompetitorChange, member, before, after, noticedAt)
};

struct ListCompetitors {
    static constexpr ActionInfo info{"list_competitors", "List the followed apps and what they changed"};
    static constexpr int changeDays = 30;
    using Request = AppRequest;
    struct Row {
        TrackedCompetitor competitor;
        std::int64_t snapshots = 0;
        std::optional<CompetitorSnapshot> newest;
        std::vector<CompetitorChange> changes; // of the last 30 days, the newest first
        QUORVEL_RECORD(Row, competitor, snapshots, newest, changes)
    };
    struct Result {
        std::string app;
        std::vector<Row> competitors;
        QUORVEL_RECORD(Result, app, competitors)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct PlanCompetitorRemoval {
    static constexpr ActionInfo info{"plan_competitor_removal",
                                     "Show what would be forgotten with competitors"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::vector<std::string> competitors;
        std::vector<std::string> countries;
        QUORVEL_RECORD(Request, app, workspace, competitors, countries)
        static constexpr JSONMember members[] = {
            appMember,
            workspaceMember,
            {"competitors", "App Store ids, bundle ids, links or names.", JSONMember::required},
            {"countries", "Only these storefronts, by their two letters such as us; all when empty."}};
    };
    struct Result {
        std::string app;
        std::vector<ListCompetitors::Row> competitors;
        QUORVEL_RECORD(Result, app, competitors)
    };
    /// Throws `ApplicationError` for one that is not followed.
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct RemoveCompetitors {
    static constexpr ActionInfo info{
        "remove_competitors", "Follow apps no longer and forget what was captured of them", Effect::deletion};
    struct Request {
        std::vector<TrackedCompetitor> competitors;
        QUORVEL_RECORD(Request, competitors)
        static constexpr JSONMember members[] = {{"competitors",
                                                  "The competitors, as plan_competitor_removal showed them.",
                                                  JSONMember::required}};
    };
    struct Result {
        std::vector<TrackedCompetitor> competitors; // those that were still there
        QUORVEL_RECORD(Result, competitors)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
