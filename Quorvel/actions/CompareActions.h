// Compares local store texts with the last pull, without asking App Store Connect.
#pragma once

#include "Core/metadata/TextComparison.h"
#include "Platform/text/WordDiff.h"
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

struct TextStatus {
    static constexpr ActionInfo info{
        "text_status", "Show the grid of locales and fields, what changed, and what a push would leave out"};
    using Request = FolderRequest;
    struct Result {
        ComparedContext compared;
        bool wasPulled = false; // else nothing is known of what App Store Connect holds
        bool interruptedPull = false;
        std::vector<std::string> locales;
        std::map<std::string, std::map<std::string, MetadataSnapshot::Cell>> cells; // locale → field
        std::vector<TextChange> changes;
        std::vector<LeftOutChange> leftOut;
        std::vector<PushWarning> warnings;
        std::vector<std::string> notices; // about the copies of App Store Connect's texts
        std::int64_t waiting = 0;         // for a push, or for a correction before it
        std::int64_t overLimit = 0;
        std::vector<UnreadText> unread;    // that were generated and not read since
        std::vector<FieldKey> fromDefault; // which have the text of all locales, for want of their own
        MetadataChecklist checklist;
        QUORVEL_RECORD(Result, compared, wasPulled, interruptedPull, locales, cells, changes, leftOut,
                       warnings, notices, waiting, overLimit, unread, fromDefault, checklist)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct DiffTexts {
    static constexpr ActionInfo info{"diff_texts", "Show the pending changes word by word"};
    using Request = FolderChangeRequest; // a dry run leaves a tree of the older layout alone
    struct Segment {
        DiffSegment::Kind kind = DiffSegment::Kind::same;
        std::string text;
        QUORVEL_RECORD(Segment, kind, text)
    };
    struct Difference {
        TextChange change;
        std::vector<Segment> segments;
        QUORVEL_RECORD(Difference, change, segments)
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

} // namespace quorvel
