// Reads and writes store texts in an app's metadata folder.
#pragma once

#include "Core/metadata/FieldTexts.h"
#include "Quorvel/actions/Target.h"

namespace quorvel {

struct ShowTexts {
    static constexpr ActionInfo info{"show_texts", "Show store texts with their lengths and limits"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        std::vector<std::string> locales;
        std::vector<FieldType> fields;
        bool dryRun = false;
        QUORVEL_RECORD(Request, app, workspace, context, folder, locales, fields, dryRun)
        static constexpr JSONMember members[] = {appMember,
                                                 workspaceMember,
                                                 contextMember,
                                                 folderMember,
                                                 {"locales", "Only these locales."},
                                                 {"fields", "Only these fields."},
                                                 dryRunMember};
    };
    struct Text {
        std::string locale;
        FieldType field = FieldType::name;
        std::string text;
        std::int64_t length = 0; // in user-perceived characters, as the limit
        std::int64_t limit = 0;
        bool isPending = false; // differs from what App Store Connect held at the last pull
        QUORVEL_RECORD(Text, locale, field, text, length, limit, isPending)
        bool operator==(const Text&) const = default;
    };
    struct Result {
        std::optional<AppReference> app; // nothing over a named folder of no recorded app
        std::string context;             // "ios/next"
        std::string sourceLocale;
        std::vector<std::string> locales; // all that have a folder
        std::vector<Text> texts;          // by locale and field; those without a file are left out
        std::vector<UnreadableText> unreadable;
        QUORVEL_RECORD(Result, app, context, sourceLocale, locales, texts, unreadable)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// What became of a text that was to be written.
enum class WriteOutcome { written, unchanged, overLimit };

template <>
struct RawValues<WriteOutcome> {
    static constexpr std::pair<WriteOutcome, std::string_view> values[] = {
        {WriteOutcome::written, "written"},
        {WriteOutcome::unchanged, "unchanged"},
        {WriteOutcome::overLimit, "overLimit"}};
};

/// Writes generated texts: each counts as unread until a person accepts it, and what it replaces is backed
/// up.
struct WriteTexts {
    static constexpr ActionInfo info{"write_texts", "Write generated store texts into local files",
                                     Effect::localFiles};
    struct NewText {
        std::string locale;
        FieldType field = FieldType::name;
        std::string text;
        QUORVEL_RECORD(NewText, locale, field, text)
        static constexpr JSONMember members[] = {{"locale", "", JSONMember::required},
                                                 {"field", "", JSONMember::required},
                                                 {"text", "", JSONMember::required}};
    };
    struct Request {
        std::vector<NewText> texts;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        QUORVEL_RECORD(Request, texts, app, workspace, context, folder)
        static constexpr JSONMember members[] = {
            {"texts", "The texts, each with its locale and field.", JSONMember::required},
            appMember,
            workspaceMember,
            contextMember,
            folderMember};
    };
    struct Text {
        std::string locale;
        FieldType field = FieldType::name;
        std::int64_t length = 0; // in user-perceived characters, as the limit
        std::int64_t limit = 0;
        WriteOutcome outcome = WriteOutcome::written;
        std::optional<std::string> backup; // where the text is that it replaced
        QUORVEL_RECORD(Text, locale, field, length, limit, outcome, backup)
    };
    struct Result {
        std::optional<AppReference> app;
        std::string context;
        std::vector<Text> texts; // in the order of the request
        QUORVEL_RECORD(Result, app, context, texts)
    };
    /// Writes nothing at all when one of the locales is none of the App Store, or a field comes twice. A text
    /// above its limit is not written.
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
