// What a check finds in the files of a store page, and the rules that it knows.
#pragma once

#include "Core/metadata/FieldTexts.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace quorvel {

enum class CheckSeverity {
    error,   // App Store Connect, or a push before it, refuses this
    warning, // it is taken, though hardly what is meant
};

template <>
struct RawValues<CheckSeverity> {
    static constexpr std::pair<CheckSeverity, std::string_view> values[] = {
        {CheckSeverity::error, "error"}, {CheckSeverity::warning, "warning"}};
};

/// A rule has the name that a push or a remark has for the same thing.
enum class CheckRule {
    unreadableFile,
    byteOrderMark,
    controlCharacter,
    overLimit,
    tooShort,
    invalidValue,
    contradiction,
    clearsField,
    clearsName,
    unreviewed,
    inConflict,
    notAnAppStoreLocale,
    pictureRefused,
    tooManyPictures,
    missingText,
    missingLocale,
    missingBeside,
    firstVersion,
    codePointsOverLimit,
    unusualCharacter,
    unencryptedAddress,
    differsBetweenPlatforms,
    unknownFile,
    unusedPicture,
    secretInRepository,
    otherSeparator,
    foreignComma,
    blankAfterComma,
    emptyKeyword,
    repeatedKeyword,
    keywordInName,
    similarKeyword,
    keywordPhrase,
    carriageReturn,
    finalLineBreak,
};

struct CheckRuleFacts {
    CheckRule rule;
    std::string_view name;
    CheckSeverity severity; // of most of its findings
    std::string_view summary;
};

/// A row per rule, in the order of the enumeration: what weighs more comes first.
inline constexpr CheckRuleFacts checkRules[] = {
    {CheckRule::unreadableFile, "unreadableFile", CheckSeverity::error,
     "A file that cannot be taken as a text: no UTF-8, too large, a link out of the tree."},
    {CheckRule::byteOrderMark, "byteOrderMark", CheckSeverity::error,
     "A byte order mark at the start, which would become part of the text."},
    {CheckRule::controlCharacter, "controlCharacter", CheckSeverity::error,
     "A control character other than a tab or a line break."},
    {CheckRule::overLimit, "overLimit", CheckSeverity::error,
     "More characters, as people count them, than the field takes."},
    {CheckRule::tooShort, "tooShort", CheckSeverity::error, "A name of a single character."},
    {CheckRule::invalidValue, "invalidValue", CheckSeverity::error,
     "An address that people cannot open: not http or https, no host, blanks; or another value that is none."},
    {CheckRule::contradiction, "contradiction", CheckSeverity::error,
     "Values of two fields that do not go together, such as a subcategory of another category; some are warnings."},
    {CheckRule::clearsField, "clearsField", CheckSeverity::error,
     "A text that App Store Connect holds and that is empty or missing here; a push removes none by itself."},
    {CheckRule::clearsName, "clearsName", CheckSeverity::error,
     "A name that is empty or missing here, though no localization is without one."},
    {CheckRule::unreviewed, "unreviewed", CheckSeverity::error,
     "A generated text that nobody read; a push leaves it out."},
    {CheckRule::inConflict, "inConflict", CheckSeverity::error,
     "A text that was changed here and on App Store Connect, and nobody chose; a push leaves it out."},
    {CheckRule::notAnAppStoreLocale, "notAnAppStoreLocale", CheckSeverity::error,
     "A folder that is named almost like a locale; a warning for any other folder."},
    {CheckRule::pictureRefused, "pictureRefused", CheckSeverity::error,
     "A screenshot of a wrong size or kind, damaged or with an alpha channel."},
    {CheckRule::tooManyPictures, "tooManyPictures", CheckSeverity::error,
     "More screenshots for a locale and display type than a set takes."},
    {CheckRule::missingText, "missingText", CheckSeverity::error,
     "A text without which no version is submitted; a warning where App Store Connect may hold it."},
    {CheckRule::missingLocale, "missingLocale", CheckSeverity::warning,
     "A locale of the app, or of App Store Connect, without a folder."},
    {CheckRule::missingBeside, "missingBeside", CheckSeverity::warning,
     "A text that most other locales have."},
    {CheckRule::firstVersion, "firstVersion", CheckSeverity::warning,
     "Release notes, which a first version does not take."},
    {CheckRule::codePointsOverLimit, "codePointsOverLimit", CheckSeverity::warning,
     "Within the limit as people count characters, above it in code points."},
    {CheckRule::unusualCharacter, "unusualCharacter", CheckSeverity::warning,
     "A pictograph or an angle bracket in a name or subtitle."},
    {CheckRule::unencryptedAddress, "unencryptedAddress", CheckSeverity::warning, "An address of http:."},
    {CheckRule::differsBetweenPlatforms, "differsBetweenPlatforms", CheckSeverity::warning,
     "A field that all platforms share, which the files of two of them set differently."},
    {CheckRule::unknownFile, "unknownFile", CheckSeverity::warning,
     "A file or folder that no push takes, with the name that is probably meant."},
    {CheckRule::unusedPicture, "unusedPicture", CheckSeverity::warning,
     "A picture that no push takes, such as one of another platform."},
    {CheckRule::secretInRepository, "secretInRepository", CheckSeverity::warning,
     "The demo account's password in a working tree of git that does not ignore it."},
    {CheckRule::otherSeparator, "otherSeparator", CheckSeverity::warning,
     "Keywords: semicolons, bars, tabs or lines in place of commas."},
    {CheckRule::foreignComma, "foreignComma", CheckSeverity::warning,
     "Keywords: commas of other scripts, which separate nothing."},
    {CheckRule::blankAfterComma, "blankAfterComma", CheckSeverity::warning,
     "Keywords: blanks beside commas, which count as characters."},
    {CheckRule::emptyKeyword, "emptyKeyword", CheckSeverity::warning,
     "Keywords: a comma without a keyword beside it."},
    {CheckRule::repeatedKeyword, "repeatedKeyword", CheckSeverity::warning,
     "Keywords: one keyword more than once."},
    {CheckRule::keywordInName, "keywordInName", CheckSeverity::warning,
     "Keywords: a word of the name or the subtitle, by which the app is found already."},
    {CheckRule::similarKeyword, "similarKeyword", CheckSeverity::warning, "Keywords: a word and its plural."},
    {CheckRule::keywordPhrase, "keywordPhrase", CheckSeverity::warning,
     "Keywords: a phrase of words that are keywords themselves."},
    {CheckRule::carriageReturn, "carriageReturn", CheckSeverity::warning,
     "Line breaks of CR LF or CR, which are sent as they are."},
    {CheckRule::finalLineBreak, "finalLineBreak", CheckSeverity::warning,
     "A line break at the end, which counts as a character and is sent."},
};

[[nodiscard]] constexpr const CheckRuleFacts& factsOf(CheckRule rule) {
    return checkRules[static_cast<std::size_t>(rule)];
}

template <>
struct RawValues<CheckRule> {
    static constexpr auto values = [] {
        std::array<std::pair<CheckRule, std::string_view>, std::size(checkRules)> column{};
        for (std::size_t row = 0; row < column.size(); ++row)
            column[row] = {checkRules[row].rule, checkRules[row].name};
        return column;
    }();
};

/// One thing that is wrong, with its place as far as it has one.
struct CheckFinding {
    CheckSeverity severity = CheckSeverity::warning;
    CheckRule rule = CheckRule::unknownFile;
    std::string locale;                 // empty: not of a locale
    std::optional<FieldType> field;     // none: not of a field
    std::string file;                   // or folder; relative where `CheckReport` says to what
    std::optional<std::int64_t> line;   // from 1
    std::optional<std::int64_t> column; // from 1, in characters as people count them
    std::string text;                   // what is wrong and what to do
    QUORVEL_RECORD(CheckFinding, severity, rule, locale, field, file, line, column, text)
    bool operator==(const CheckFinding&) const = default;
};

} // namespace quorvel
