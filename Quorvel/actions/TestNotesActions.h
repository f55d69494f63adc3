// What the testers of a build are told to test.
#pragma once

#include "Core/asc/services/TestFlightService.h"
#include "Quorvel/actions/BuildChoice.h"
#include "Quorvel/application/Failure.h"

#include <map>

namespace quorvel {

struct ShowTestNotes {
    static constexpr ActionInfo info{"show_test_notes", "Show what testers are told to test"};
    using Request = BuildRequest;
    struct Result {
        AppReference app;
        ASCBuildSummary build;
        std::vector<std::string> remarks;
        std::map<std::string, std::string> notes; // by locale
        QUORVEL_RECORD(Result, app, build, remarks, notes)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct TestNotesPlan {
    AppReference app;
    ASCBuildSummary build;
    std::vector<TestNotesChange> changes;
    std::vector<std::string> unchanged; // locales
    std::vector<std::string> remarks;
    QUORVEL_RECORD(TestNotesPlan, app, build, changes, unchanged, remarks)
};

struct PlanTestNotes {
    static constexpr ActionInfo info{"plan_test_notes", "Show how what to test would change"};
    /// The texts come from one of `text`, `tree` and `releaseNotes`.
    struct Request {
        std::optional<std::string> text;
        std::vector<std::string> locales;
        std::optional<std::string> tree;
        bool releaseNotes = false;
        std::optional<std::string> build;
        std::optional<std::string> version;
        std::optional<std::string> platform;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        QUORVEL_RECORD(Request, text, locales, tree, releaseNotes, build, version, platform, app, workspace,
                       context, folder)
        static constexpr JSONMember members[] = {
            {"text", "The same text for each of the locales."},
            {"locales", "Only these locales; for a text the app's primary one when left out."},
            {"tree", "A folder with a file for each locale, such as de-DE.txt; or a file for the locales."},
            {"releaseNotes", "Take the release notes of the app's store texts."},
            buildMember,
            buildVersionMember,
            buildOfPlatformMember,
            appMember,
            workspaceMember,
            contextMember,
            folderMember};
    };
    struct Result {
        TestNotesPlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct WriteTestNotes {
    static constexpr ActionInfo info{"write_test_notes", "Tell testers what to test", Effect::remote};
    struct Request {
        TestNotesPlan plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_test_notes made it.", JSONMember::required}, workspaceMember};
    };
    struct Outcome {
        std::string locale;
        std::optional<Failure> failure; // nothing: the notes are written
        QUORVEL_RECORD(Outcome, locale, failure)
    };
    struct Result {
        AppReference app;
        ASCBuildSummary build;
        std::vector<Outcome> outcomes;
        QUORVEL_RECORD(Result, app, build, outcomes)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
