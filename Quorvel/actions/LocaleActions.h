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
    static constexpr ActionInfo info{"list_locales", "List the locales that an app manages"};
    using Request = AppRequest;
    struct Result {
        AppReference app;
        std::vector<ManagedLocale> locales;
        QUORVEL_RECORD(Result, app, locales)
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
    using Result = ListLocales::Result; // those that were switched
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
    using Result = ListLocales::Result; // those that were set
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
