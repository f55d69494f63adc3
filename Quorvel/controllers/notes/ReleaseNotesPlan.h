// What a draft of release notes would take, and what came of it.
#pragma once

#include "Core/build/notes/ReleaseNotesGenerator.h"
#include "Core/metadata/DryRun.h"
#include "Quorvel/controllers/metadata/PushPlan.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// Which commits a draft is to be made from.
struct ReleaseNotesOrder {
    std::optional<std::string> context = {};              // the one to work on when empty
    std::optional<std::filesystem::path> repository = {}; // a folder in it; see `plan` when empty
    std::vector<std::filesystem::path> places = {};       // folders to look in before the app's own
    std::filesystem::path home = {};                      // a repository around it is no app's
    std::optional<std::string> from = {};                 // a tag or commit; the resolver's when empty
    std::optional<std::string> to = {};                   // HEAD when empty
    std::vector<std::string> include = {};                // hashes or their beginnings
    std::vector<std::string> exclude = {};
    bool mustBeWritable = false; // the texts are to be written, so a context must have been pulled
    DryRun dryRun = DryRun::no;  // leaves a tree of the older layout alone
};

struct ReleaseNotesPlan {
    AppReference app;
    std::optional<std::string> context; // "ios/next"; nothing when none was pulled
    std::optional<std::string> version; // in preparation, where it is known
    std::string locale;                 // the source locale
    std::string repository;             // its root
    VersionRange range;
    std::vector<ClassifiedCommit> commits; // the newest first
    bool isTruncated = false;              // the range has more commits, older ones
    bool isShallow = false;                // the clone lacks older history
    bool isFirstVersion = false;           // takes no release notes
    std::vector<FieldType> edits; // of these texts were not pushed; they are not replaced unless told
    std::int64_t whatsNewLimit = 0;
    std::int64_t promotionalTextLimit = 0;
    std::string model;
    std::optional<ReleaseNotesPrompt> prompt; // the first one; none when no commit is included
    double estimatedCostUSD = 0;              // of one answer; retries come on top
    bool costIsAtMost = false;                // the model's price is not known, and the highest was taken
    QUORVEL_RECORD(ReleaseNotesPlan, app, context, version, locale, repository, range, commits, isTruncated,
                   isShallow, isFirstVersion, edits, whatsNewLimit, promotionalTextLimit, model, prompt,
                   estimatedCostUSD, costIsAtMost)
};

/// One of the two texts.
struct DraftedText {
    FieldType field = FieldType::releaseNotes;
    std::string text;
    std::int64_t length = 0; // in user-perceived characters, as the limit
    std::int64_t limit = 0;
    std::optional<std::string> problem; // it is over the limit
    QUORVEL_RECORD(DraftedText, field, text, length, limit, problem)
    bool operator==(const DraftedText&) const = default;
};

struct ReleaseNotesReport {
    AppReference app;
    std::optional<std::string> context;
    std::optional<std::string> version;
    std::string locale;
    std::string repository;
    VersionRange range;
    std::vector<ClassifiedCommit> commits;
    std::vector<DraftedText> texts; // the release notes, then the promotional text
    std::int64_t attempts = 0;
    double costUSD = 0;
    bool costIsAtMost = false;
    QUORVEL_RECORD(ReleaseNotesReport, app, context, version, locale, repository, range, commits, texts,
                   attempts, costUSD, costIsAtMost)
};

/// Why a text was written or not.
enum class NoteOutcome {
    written,
    unchanged,    // the file holds this text
    edited,       // it holds an edit that was not pushed
    safeMode,     // it holds a text, which the locale's safe mode keeps
    firstVersion, // takes no release notes
};

template <>
struct RawValues<NoteOutcome> {
    using N = NoteOutcome;
    static constexpr std::pair<N, std::string_view> values[] = {{N::written, "written"},
                                                                {N::unchanged, "unchanged"},
                                                                {N::edited, "edited"},
                                                                {N::safeMode, "safeMode"},
                                                                {N::firstVersion, "firstVersion"}};
};

/// Which texts are to be written.
struct NotesToWrite {
    std::optional<std::string> context = {}; // the one to work on when empty
    ReleaseNotesDraft draft;                 // a blank text is left out
    bool replaceEdits = false;               // also edits that were not pushed; they are backed up
};

struct WrittenNotes {
    struct Text {
        DraftedText draft;
        NoteOutcome outcome = NoteOutcome::written;
        std::string file;
        std::optional<std::string> backup; // where the text is that it replaced
        QUORVEL_RECORD(Text, draft, outcome, file, backup)
    };
    AppReference app;
    std::string context;
    std::string locale;
    std::vector<Text> texts; // the release notes, then the promotional text
    QUORVEL_RECORD(WrittenNotes, app, context, locale, texts)
};

} // namespace quorvel
