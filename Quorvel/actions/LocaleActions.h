// The locales of an app.
#pragma once

#include "Quorvel/actions/Target.h"

namespace quorvel {

struct AddLocale {
    static constexpr ActionInfo info{
        "add_locale", "Add a locale; the next push creates it on App Store Connect", Effect::localFiles};
    struct Request {
        std::string locale;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        bool dryRun = false;
        QUORVEL_RECORD(Request, locale, app, workspace, context, folder, dryRun)
        static constexpr JSONMember members[] = {
            {"locale", "The locale, such as pt-BR.", JSONMember::required},
            appMember,
            workspaceMember,
            contextMember,
            folderMember,
            dryRunMember};
    };
    struct Result {
        MetadataController::AddedLocale added;
        std::optional<ImportedAppReport> imported;
        QUORVEL_RECORD(Result, added, imported)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ListLocales {
    static constexpr ActionInfo info{"list_locales", "List an app's locales and what is missing of each"};
    using Request = FolderRequest;
    struct Result {
        std::optional<AppReference> app;     // nothing over a named folder of no recorded app
        std::vector<ManagedLocale> locales;  // by the records
        std::optional<LocaleOverview> texts; // nothing where the context has no folder
        QUORVEL_RECORD(Result, app, locales, texts)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct SwitchLocales {
    static constexpr ActionInfo info{
        "switch_locales", "Let locales take part in pull and push, or leave them out", Effect::localFiles};
    struct Request {
        std::vector<std::string> locales;
        bool enabled = true;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, locales, enabled, app, workspace)
        static constexpr JSONMember members[] = {{"locales", "The locales.", JSONMember::required},
                                                 {"enabled", "Whether they take part.", JSONMember::required},
                                                 appMember,
                                                 workspaceMember};
    };
    struct Result {
        AppReference app;
        std::vector<ManagedLocale> locales; // that were switched
        QUORVEL_RECORD(Result, app, locales)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct PlanLocaleRemoval {
    static constexpr ActionInfo info{"plan_locale_removal",
                                     "Show what removing locales would lose here and on App Store Connect"};
    struct Request {
        std::vector<std::string> locales;
        RemovalPlace place = RemovalPlace::everywhere;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        bool dryRun = false;
        QUORVEL_RECORD(Request, locales, place, app, workspace, context, folder, dryRun)
        static constexpr JSONMember members[] = {
            {"locales", "The locales.", JSONMember::required},
            {"place", "Where they are removed; everywhere when left out."},
            appMember,
            workspaceMember,
            contextMember,
            folderMember,
            dryRunMember};
    };
    struct Result {
        LocaleRemovalPlan plan;
        QUORVEL_RECORD(Result, plan)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct RemoveLocales {
    static constexpr ActionInfo info{
        "remove_locales", "Remove locales here, into a backup, and on App Store Connect", Effect::remote};
    struct Request {
        LocaleRemovalPlan plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_locale_removal made it.", JSONMember::required}, workspaceMember};
    };
    struct Result {
        LocaleRemovalReport report;
        std::optional<ImportedAppReport> imported;
        QUORVEL_RECORD(Result, report, imported)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// How generated texts of locales are made.
struct SetLocales {
    static constexpr ActionInfo info{"set_locales", "Say how texts of locales are generated",
                                     Effect::localFiles};
    struct Request {
        std::vector<std::string> locales;
        std::optional<bool> safeMode;
        std::optional<std::string> script;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, locales, safeMode, script, app, workspace)
        static constexpr JSONMember members[] = {
            {"locales", "The locales.", JSONMember::required},
            {"safeMode", "Whether a text that is there is never replaced by a generated one."},
            {"script",
             "The script to write in, by its four-letter code or its English name, such as Latn; empty to "
             "forget it."},
            appMember,
            workspaceMember};
    };
    using Result = SwitchLocales::Result; // those that were set
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
