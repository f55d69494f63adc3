// Shows and settles the texts that were changed here and on App Store Connect and could not be merged.
#pragma once

#include "Core/metadata/merge/ConflictSettling.h"
#include "Quorvel/actions/CompareActions.h"

namespace quorvel {

/// Which conflicts of a context are meant; empty lists stand for all.
struct ConflictsRequest {
    std::optional<std::string> app;
    std::optional<std::string> workspace;
    std::optional<std::string> context;
    std::optional<std::string> folder;
    std::vector<std::string> locales;
    std::vector<FieldType> fields;
    QUORVEL_RECORD(ConflictsRequest, app, workspace, context, folder, locales, fields)
    static constexpr JSONMember members[] = {appMember,
                                             workspaceMember,
                                             contextMember,
                                             folderMember,
                                             {"locales", "Only these locales."},
                                             {"fields", "Only these fields."}};
};

struct ListConflicts {
    static constexpr ActionInfo info{"list_conflicts",
                                     "Show the texts that were changed here and on App Store Connect"};
    using Request = ConflictsRequest;
    struct Conflict {
        std::string locale;
        FieldType field = FieldType::name;
        std::string base;                   // what both sides began with
        std::string ours;                   // the local text, as it was or as it was edited since
        std::string theirs;                 // App Store Connect's
        std::optional<Date> since;          // the pull that met it
        bool isEdited = false;              // the local file was edited after that pull
        std::optional<std::string> problem; // why the texts are not known
        std::vector<DiffTexts::Segment> here;
        std::vector<DiffTexts::Segment> there;
        QUORVEL_RECORD(Conflict, locale, field, base, ours, theirs, since, isEdited, problem, here, there)
    };
    struct Result {
        std::optional<AppReference> app; // nothing over a named folder of no recorded app
        std::string folder;              // of the context
        std::string context;             // "ios/next"
        std::vector<Conflict> conflicts;
        QUORVEL_RECORD(Result, app, folder, context, conflicts)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ResolveConflicts {
    static constexpr ActionInfo info{"resolve_conflicts",
                                     "Settle conflicts with the local texts or App Store Connect's",
                                     Effect::localFiles};
    struct Request {
        ConflictSide side = ConflictSide::ours;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        std::vector<std::string> locales;
        std::vector<FieldType> fields;
        QUORVEL_RECORD(Request, side, app, workspace, context, folder, locales, fields)
        static constexpr JSONMember members[] = {
            {"side", "Whose text stands: ours, the local one, or theirs, App Store Connect's.",
             JSONMember::required},
            appMember,
            workspaceMember,
            contextMember,
            folderMember,
            {"locales", "Only these locales."},
            {"fields", "Only these fields."}};
    };
    struct Settled {
        std::string locale;
        FieldType field = FieldType::name;
        bool isPending = false;                    // the next push sends the text
        std::optional<std::string> kept;           // where an edit lies that was replaced
        std::optional<LeftOutReason> leftOut;      // why a push leaves the text out by itself
        std::optional<std::string> leftOutBecause; // the same for people, and what to do
        QUORVEL_RECORD(Settled, locale, field, isPending, kept, leftOut, leftOutBecause)
    };
    struct Result {
        std::optional<AppReference> app;
        std::string context;
        std::vector<Settled> settled;
        std::int64_t open = 0; // conflicts that are left
        QUORVEL_RECORD(Result, app, context, settled, open)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// A text in conflict.
struct ConflictRequest {
    std::string locale;
    FieldType field = FieldType::name;
    std::optional<std::string> app;
    std::optional<std::string> workspace;
    std::optional<std::string> context;
    std::optional<std::string> folder;
    QUORVEL_RECORD(ConflictRequest, locale, field, app, workspace, context, folder)
    static constexpr JSONMember members[] = {{"locale", "The text's locale.", JSONMember::required},
                                             {"field", "The text's field.", JSONMember::required},
                                             appMember,
                                             workspaceMember,
                                             contextMember,
                                             folderMember};
};

/// Writes both texts of a conflict into a file to be edited.
struct PrepareConflictEdit {
    static constexpr ActionInfo info{"prepare_conflict_edit",
                                     "Write both texts of a conflict into a file to be edited",
                                     Effect::localFiles};
    using Request = ConflictRequest;
    struct Result {
        std::string file;
        QUORVEL_RECORD(Result, file)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// Settles the conflict with the text that was edited.
struct FinishConflictEdit {
    static constexpr ActionInfo info{"finish_conflict_edit", "Settle a conflict with the edited text",
                                     Effect::localFiles};
    using Request = ConflictRequest;
    using Result = ResolveConflicts::Result;
    /// Throws while nothing was edited or a mark is left; the conflict is open then.
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
