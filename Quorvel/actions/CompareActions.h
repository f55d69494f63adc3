// Compares local store texts with the last pull, without asking App Store Connect.
#pragma once

#include "Core/metadata/TextComparison.h"
#include "Core/metadata/merge/FieldMerge.h"
#include "Platform/text/WordDiff.h"
#include "Quorvel/actions/AllApps.h"
#include "Quorvel/actions/Target.h"
#include "Quorvel/controllers/metadata/MetadataState.h"

#include <map>

namespace quorvel {

template <>
struct RawValues<DiffSegment::Kind> {
    using K = DiffSegment::Kind;
    static constexpr std::pair<K, std::string_view> values[] = {
        {K::same, "same"}, {K::removed, "removed"}, {K::added, "added"}};
};

/// A pending change with what it means.
struct TextChange {
    std::string locale;
    FieldType field = FieldType::name;
    std::string remote; // at the last pull
    std::string local;
    bool isOverLimit = false;
    bool isNewLocale = false;
    bool clears = false; // a push removes the text
    std::string explanation;
    std::optional<LeftOutReason> leftOut;      // why a push leaves it out by itself
    std::optional<std::string> leftOutBecause; // the same for people, and what to do
    std::optional<ReviewMark> review;          // the local text was generated and not read since
    QUORVEL_RECORD(TextChange, locale, field, remote, local, isOverLimit, isNewLocale, clears, explanation,
                   leftOut, leftOutBecause, review)
};
[[nodiscard]] std::vector<TextChange> textChangesOf(const TextComparison& texts);

/// What the texts of a context are at the moment.
struct ComparedContext {
    std::optional<AppReference> app;        // nothing over a named folder of no recorded app
    std::string folder;                     // of the context
    std::string context;                    // "ios/next"
    std::optional<PlatformContext> version; // as App Store Connect had it when the versions were listed last
    std::optional<Date> pulledAt;           // when the copies were made that are compared with
    QUORVEL_RECORD(ComparedContext, app, folder, context, version, pulledAt)
};

/// How a field beside the store texts stands.
struct FieldCount {
    std::int64_t filled = 0;  // enabled locales with a value; of the page, 1 or 0
    std::int64_t missing = 0; // enabled locales without
    std::int64_t changed = 0; // pending changes
    QUORVEL_RECORD(FieldCount, filled, missing, changed)
};

struct TextStatus {
    static constexpr ActionInfo info{
        "text_status", "Show the grid of locales and fields, what changed, and what a push would leave out"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        bool changed = false;
        QUORVEL_RECORD(Request, app, workspace, context, folder, changed)
        static constexpr JSONMember members[] = {
            appMember,
            workspaceMember,
            contextMember,
            folderMember,
            {"changed", "Leave locales without changes out of the grid."}};
    };
    struct Result {
        ComparedContext compared;
        std::optional<std::string> repositoryFile; // the quorvel.toml in force
        bool wasPulled = false;                    // else nothing is known of what App Store Connect holds
        bool interruptedPull = false;
        std::vector<std::string> locales;
        std::map<std::string, std::map<std::string, MetadataSnapshot::Cell>> cells; // locale → field
        std::map<std::string, FieldCount> fields; // those beside the store texts
        std::vector<TextChange> changes;
        std::vector<LeftOutChange> leftOut;
        std::vector<PushWarning> warnings;
        std::vector<std::string> notices; // about the copies of App Store Connect's texts
        std::int64_t waiting = 0;         // for a push, or for a correction before it
        std::int64_t overLimit = 0;
        std::vector<UnreadText> unread;    // that were generated and not read since
        std::vector<FieldKey> conflicts;   // changed here and on App Store Connect, not settled yet
        std::vector<FieldKey> fromDefault; // which have the text of all locales, for want of their own
        MetadataChecklist checklist;
        QUORVEL_RECORD(Result, compared, repositoryFile, wasPulled, interruptedPull, locales, cells, fields,
                       changes, leftOut, warnings, notices, waiting, overLimit, unread, conflicts,
                       fromDefault, checklist)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct DiffTexts {
    static constexpr ActionInfo info{"diff_texts", "Show the pending changes word by word"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        std::vector<std::string> locales;
        std::vector<FieldType> fields;
        bool dryRun = false; // leaves a tree of the older layout alone
        QUORVEL_RECORD(Request, app, workspace, context, folder, locales, fields, dryRun)
        static constexpr JSONMember members[] = {appMember,
                                                 workspaceMember,
                                                 contextMember,
                                                 folderMember,
                                                 {"locales", "Only these locales."},
                                                 {"fields", "Only these fields."},
                                                 dryRunMember};
    };
    struct Segment {
        DiffSegment::Kind kind = DiffSegment::Kind::same;
        std::string text;
        QUORVEL_RECORD(Segment, kind, text)
    };
    struct Difference {
        TextChange change;
        std::vector<Segment> segments;
        std::int64_t added = 0; // user-perceived characters
        std::int64_t removed = 0;
        QUORVEL_RECORD(Difference, change, segments, added, removed)
    };
    struct Result {
        ComparedContext compared;
        bool wasPulled = false; // else nothing is known of what App Store Connect holds
        std::vector<Difference> differences;
        std::vector<LeftOutChange> leftOut;
        std::vector<std::string> notices;
        QUORVEL_RECORD(Result, compared, wasPulled, differences, leftOut, notices)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// The segments of a word diff as a result shows them.
[[nodiscard]] std::vector<DiffTexts::Segment> segmentsOf(std::string_view before, std::string_view after);

/// A text that somebody changed since the last pull, on either side.
struct DiffRemote {
    static constexpr ActionInfo info{"diff_remote",
                                     "Show what changed on App Store Connect since the last pull, and here"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        std::vector<std::string> locales;
        std::vector<FieldType> fields;
        QUORVEL_RECORD(Request, app, workspace, context, folder, locales, fields)
        static constexpr JSONMember members[] = {appMember,
                                                 workspaceMember,
                                                 contextMember,
                                                 folderMember,
                                                 {"locales", "Only these locales."},
                                                 {"fields", "Only these fields."}};
    };
    using Segment = DiffTexts::Segment;
    /// User-perceived characters.
    struct Extent {
        std::int64_t added = 0;
        std::int64_t removed = 0;
        QUORVEL_RECORD(Extent, added, removed)
    };
    struct Difference {
        std::string locale;
        FieldType field = FieldType::name;
        ChangedBy changedBy = ChangedBy::nobody;
        bool merges = false;        // a pull merges both changes
        std::string base;           // at the last pull; empty when there was none
        std::string local;          // here
        std::string remote;         // on App Store Connect now
        std::vector<Segment> there; // base → remote; none where nothing changed there
        std::vector<Segment> here;  // base → local; none where nothing changed here, or the same
        Extent changedThere;
        Extent changedHere;
        QUORVEL_RECORD(Difference, locale, field, changedBy, merges, base, local, remote, there, here,
                       changedThere, changedHere)
    };
    struct Result {
        ComparedContext compared;
        bool wasPulled = false;
        std::vector<Difference> differences;
        std::vector<UnreadableText> unreadable; // which were not compared
        std::vector<FieldKey> conflicts;        // of earlier pulls, not settled yet
        std::vector<std::string> notices;       // about locales whose folder was removed
        QUORVEL_RECORD(Result, compared, wasPulled, differences, unreadable, conflicts, notices)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// The same for every recorded app of the workspace.
struct TextStatusOfAllApps {
    static constexpr ActionInfo info{"text_status_of_all_apps", "Show the text status of every app"};
    using Request = TextStatus::Request; // without an app or a folder
    struct Result {
        std::vector<AppOutcome<TextStatus::Result>> apps;
        QUORVEL_RECORD(Result, apps)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};
struct DiffTextsOfAllApps {
    static constexpr ActionInfo info{"diff_texts_of_all_apps", "Show the pending changes of every app"};
    using Request = DiffTexts::Request; // without an app or a folder
    struct Result {
        std::vector<AppOutcome<DiffTexts::Result>> apps;
        QUORVEL_RECORD(Result, apps)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
