// Tells before a push what App Store Connect would refuse, without asking it.
#pragma once

#include "Core/metadata/check/CheckFinding.h"
#include "Quorvel/actions/Target.h"
#include "Quorvel/application/Failure.h"

namespace quorvel {

struct CheckTexts {
    static constexpr ActionInfo info{
        "check_texts", "Find in the files what App Store Connect or a push would refuse; asks nobody"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        bool allApps = false;
        std::vector<std::string> locales;
        std::vector<FieldType> fields;
        QUORVEL_RECORD(Request, app, workspace, context, folder, allApps, locales, fields)
        static constexpr JSONMember members[] = {appMember,
                                                 workspaceMember,
                                                 contextMember,
                                                 folderMember,
                                                 {"allApps", "Every recorded app of the workspace."},
                                                 {"locales", "Only findings of these locales."},
                                                 {"fields", "Only findings of these fields."}};
    };
    /// One app's, or why it could not be checked.
    struct Check {
        std::optional<AppReference> app;       // nothing over a named folder of no recorded app
        std::string folder;                    // of the app; the findings' files are relative to it
        std::optional<std::string> repository; // of git, that holds the folder: its top
        std::string context;                   // "ios/next"
        std::optional<PlatformContext> version;
        std::vector<CheckFinding> findings; // errors first
        std::int64_t texts = 0;             // files that were asked for
        std::int64_t pictures = 0;
        std::optional<Failure> failure;
        QUORVEL_RECORD(Check, app, folder, repository, context, version, findings, texts, pictures, failure)
    };
    struct Result {
        std::vector<Check> checks;
        std::int64_t errors = 0; // of all
        std::int64_t warnings = 0;
        QUORVEL_RECORD(Result, checks, errors, warnings)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
