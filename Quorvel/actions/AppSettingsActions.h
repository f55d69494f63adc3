// What is recorded of an app, and the rules of its fields.
#pragma once

#include "Core/metadata/FieldRule.h"
#include "Core/metadata/FinalLineBreak.h"
#include "Quorvel/actions/AppOverview.h"
#include "Quorvel/actions/GitIgnoreAdvice.h"

namespace quorvel {

struct ShowApp {
    static constexpr ActionInfo info{"show_app", "Show everything that is recorded of an app"};
    using Request = AppRequest;
    struct Result {
        ManagedApp app;
        std::optional<std::string> workspaceName;
        std::string folder;
        std::optional<FinalLineBreak> finalLineBreak; // of the texts there; nothing when it cannot be told
        std::vector<ManagedLocale> locales;
        std::vector<FieldRule> rules;
        std::optional<TreeInPlace> tree;          // how the folder lies, where it is another tool's tree
        std::optional<GitIgnoreAdvice> gitIgnore; // what the tree's repository lacks
        QUORVEL_RECORD(Result, app, workspaceName, folder, finalLineBreak, locales, rules, tree, gitIgnore)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// A setting of an app that can be forgotten.
enum class AppSetting { brandVoice, protectedTerms, folder, glossary };

template <>
struct RawValues<AppSetting> {
    using S = AppSetting;
    static constexpr std::pair<S, std::string_view> values[] = {{S::brandVoice, "brand-voice"},
                                                                {S::protectedTerms, "protected-terms"},
                                                                {S::folder, "folder"},
                                                                {S::glossary, "glossary"}};
};

struct SetApp {
    static constexpr ActionInfo info{"set_app", "Change what is recorded of an app", Effect::localFiles};
    struct Request {
        std::string app;
        std::optional<std::string> workspace;
        std::optional<std::string> folder;
        std::optional<std::string> tree;
        std::optional<std::string> platform;
        std::optional<std::string> sourceLocale;
        std::optional<std::string> brandVoice;
        std::optional<std::vector<std::string>> protectedTerms;
        std::optional<FinalLineBreak> finalLineBreak;
        std::map<std::string, std::map<std::string, std::string>> glossary; // term → locale → rendering
        std::vector<AppSetting> clear;
        QUORVEL_RECORD(Request, app, workspace, folder, tree, platform, sourceLocale, brandVoice,
                       protectedTerms, finalLineBreak, glossary, clear)
        static constexpr JSONMember members[] = {
            {"app", "The app.", JSONMember::required},
            workspaceMember,
            {"folder", "Its metadata folder from now on; the texts in the former one stay there."},
            {"tree",
             "A tree of another tool that is its metadata folder from now on and is worked on where it is; an "
             "empty text goes back to its usual folder."},
            {"platform",
             "The platform of that tree: ios, macos, tvos or visionos. It is needed where the locales lie "
             "directly in the tree and the app has versions of several platforms."},
            {"sourceLocale", "The locale from which translations start."},
            {"brandVoice", "The tone of its texts, in the user's words."},
            {"protectedTerms", "Terms that stay untranslated; they replace the former ones."},
            {"finalLineBreak",
             "Whether a line break at the end of a text file is part of the text (keep) or not (strip), as for "
             "trees whose editors add one. It is kept in the metadata folder."},
            {"glossary",
             "Renderings of terms by locale; they are added to those that are there, and an empty one is "
             "forgotten."},
            {"clear", "Settings to forget."}};
    };
    using Result = ShowApp::Result;
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// The rules of an app's fields.
struct FieldRules {
    AppReference app;
    std::vector<FieldRule> rules;
    QUORVEL_RECORD(FieldRules, app, rules)
};

struct ListRules {
    static constexpr ActionInfo info{"list_rules", "Show the rules of an app's fields"};
    using Request = AppRequest;
    using Result = FieldRules;
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct SetRule {
    static constexpr ActionInfo info{
        "set_rule", "Say how a field is translated, and how long a translation may be", Effect::localFiles};
    struct Request {
        FieldType field = FieldType::name;
        TranslateMode translate = TranslateMode::on;
        std::optional<std::int64_t> maxLength;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, field, translate, maxLength, app, workspace)
        static constexpr JSONMember members[] = {
            {"field", "The field.", JSONMember::required},
            {"translate", "Whether and how it is translated.", JSONMember::required},
            {"maxLength", "An own limit, below the App Store's, for generated texts."},
            appMember,
            workspaceMember};
    };
    using Result = FieldRules;
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ResetRule {
    static constexpr ActionInfo info{"reset_rule", "Forget the rule of a field", Effect::localFiles};
    struct Request {
        FieldType field = FieldType::name;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, field, app, workspace)
        static constexpr JSONMember members[] = {
            {"field", "The field.", JSONMember::required}, appMember, workspaceMember};
    };
    using Result = FieldRules;
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
