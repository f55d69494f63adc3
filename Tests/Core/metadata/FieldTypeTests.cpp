#include "Core/asc/records/AppRecords.h"
#include "Core/asc/records/VersionRecords.h"
#include "Core/metadata/FieldRule.h"
#include "Core/metadata/FieldType.h"
#include "Core/metadata/LocalizationAttributes.h"

#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataSnapshot.h"

#include <gtest/gtest.h>

#include <string>

using namespace quorvel;

namespace {

std::string repeated(std::string_view text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

constexpr std::string_view family = "\U0001F468\u200D\U0001F469\u200D\U0001F467"; // one character, 18 bytes
using Status = MetadataSnapshot::CellStatus;

} // namespace

TEST(FieldType, hasAMemberInEveryAttributeRecordOfItsHome) {
    EXPECT_TRUE(holdsAllTexts<AppInfoLocalizationAttributes>(FieldHome::appInfoLocalization));
    EXPECT_TRUE(holdsAllTexts<AppInfoLocalizationCreateAttributes>(FieldHome::appInfoLocalization));
    EXPECT_TRUE(holdsAllTexts<AppInfoLocalizationPatchAttributes>(FieldHome::appInfoLocalization));
    EXPECT_TRUE(holdsAllTexts<AppStoreVersionLocalizationAttributes>(FieldHome::versionLocalization));
    EXPECT_TRUE(holdsAllTexts<VersionLocalizationCreateAttributes>(FieldHome::versionLocalization));
    EXPECT_TRUE(holdsAllTexts<VersionLocalizationPatchAttributes>(FieldHome::versionLocalization));
    EXPECT_FALSE(holdsAllTexts<AppInfoLocalizationAttributes>(FieldHome::versionLocalization));
}

TEST(FieldType, countsWhatPeopleSeeAgainstEachLimit) {
    struct Case {
        FieldType field;
        std::string text;
        Status status;
        std::int64_t count;
    };
    const std::vector<Case> cases = {
        {FieldType::name, repeated("a", 30), Status::ok, 30},
        {FieldType::name, repeated("a", 31), Status::overLimit, 31},
        {FieldType::name, repeated(family, 30), Status::ok, 30},
        {FieldType::name, repeated(family, 31), Status::overLimit, 31},
        {FieldType::name, repeated("e\u0301", 30), Status::ok, 30},
        {FieldType::name, repeated("a", 30) + "\n", Status::overLimit, 31},
        {FieldType::subtitle, repeated("ü", 31), Status::overLimit, 31},
        {FieldType::description, repeated("漢", 4000), Status::ok, 4000},
        {FieldType::description, repeated("漢", 4001), Status::overLimit, 4001},
        {FieldType::promotionalText, repeated("a", 171), Status::overLimit, 171},
        {FieldType::releaseNotes, repeated("a\r\n", 2000), Status::ok, 4000},
        {FieldType::keywords, "a,b,c", Status::ok, 5},
        {FieldType::keywords, "a, b, c", Status::ok, 7},
        {FieldType::keywords, repeated("ك", 100), Status::ok, 100},
        {FieldType::keywords, repeated("ك", 101), Status::overLimit, 101},
        {FieldType::description, "", Status::empty, 0},
        {FieldType::description, "\n", Status::empty, 0},
        {FieldType::description, " \u00A0\r\n\t", Status::empty, 0},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(std::string(rawValue(one.field)) + " of " + std::to_string(one.text.size()) + " bytes");
        const auto cell = MetadataSnapshot::cellOf(one.text, one.field);
        EXPECT_EQ(cell.status, one.status);
        EXPECT_EQ(cell.charCount, one.count);
        EXPECT_EQ(isOverLimit(one.text, one.field), one.status == Status::overLimit);
    }
}

TEST(MetadataSnapshot, answersForCellsThatItDoesNotHold) {
    FieldTexts texts;
    texts[FieldType::name] = repeated(family, 100);
    const auto grid = MetadataSnapshot::of({{"de-DE", texts}});
    EXPECT_EQ(grid.locales, std::vector<std::string>{"de-DE"});
    EXPECT_EQ(grid.cell("de-DE", FieldType::name).preview, repeated(family, 80));
    const MetadataSnapshot::Cell missing{Status::notPulled, 0, 100, "", {}};
    EXPECT_EQ(grid.cell("de-DE", FieldType::keywords), missing);
    EXPECT_EQ(grid.cell("fr-FR", FieldType::keywords), missing);
}

TEST(TextRemarks, nameWhatIsOddAboutAText) {
    using R = TextRemark;
    struct Case {
        FieldType field;
        std::string text;
        std::vector<TextRemark> remarks;
    };
    const std::vector<Case> cases = {
        {FieldType::keywords, "a,b,c", {}},
        {FieldType::keywords, "a, b", {R::blankAfterComma}},
        {FieldType::keywords, "a ,b", {R::blankAfterComma}},
        {FieldType::keywords, "a,\u3000b", {R::blankAfterComma}},
        {FieldType::keywords, "two words,b", {}},
        {FieldType::keywords, "日本、猫", {R::foreignComma}},
        {FieldType::keywords, "日本，猫", {R::foreignComma}},
        {FieldType::keywords, "قط،كلب", {R::foreignComma}},
        {FieldType::keywords, "Cat,dog,cat", {R::repeatedKeyword}},
        {FieldType::keywords, "ÉTÉ,e\u0301te\u0301", {R::repeatedKeyword}},
        {FieldType::keywords, "a,,b,", {R::emptyKeyword}},
        {FieldType::keywords, "cat;dog|a\tb", {R::otherSeparator}},
        {FieldType::keywords, "cats,cat,cats cat", {R::similarKeyword, R::keywordPhrase}},
        {FieldType::name, "Moss <3 🌱", {R::unusualCharacter}},
        {FieldType::description, "Moss <3 🌱", {}},
        {FieldType::keywords, "a,b\n", {R::finalLineBreak}},
        {FieldType::description, "日本、猫, a, a", {}},
        {FieldType::description, "one\r\ntwo", {R::carriageReturn}},
        {FieldType::description, "one\r\n", {R::carriageReturn, R::finalLineBreak}},
        {FieldType::description, "\uFEFFone", {R::byteOrderMark}},
        {FieldType::description, "one\uFEFF", {}},
        {FieldType::description, "one\x1B[1m", {R::controlCharacter}},
        {FieldType::keywords, "a,b\x7F", {R::controlCharacter}},
        {FieldType::description, "one\n\ttwo\u0085", {}},
        {FieldType::name, repeated("ক্ষ", 30), {R::codePointsOverLimit}},
        {FieldType::name, repeated("ক্ষ", 31), {}}, // over the limit anyway
        {FieldType::name, "\n", {}},
    };
    for (const Case& one : cases)
        EXPECT_EQ(remarksOn(one.text, one.field), one.remarks) << rawValue(one.field) << ": " << one.text;
}

TEST(FieldRule, readsWhatItKnowsAndHasItsOwnLimit) {
    const std::vector<FieldRule> rules = {FieldRule::of(FieldType::subtitle, TranslateMode::optimized, 25),
                                          FieldRule::of(FieldType::keywords, TranslateMode::off),
                                          {"description", "sometimes", 0},
                                          {"tagline", "on", 5}};
    EXPECT_EQ(rules[0], (FieldRule{"subtitle", "optimized", 25}));
    EXPECT_EQ(rules[0].fieldTypeValue(), FieldType::subtitle);
    EXPECT_EQ(rules[0].translateModeValue(), TranslateMode::optimized);
    EXPECT_EQ(rules[2].translateModeValue(), std::nullopt);
    EXPECT_EQ(rules[3].fieldTypeValue(), std::nullopt);
    EXPECT_EQ(limitOf(FieldType::subtitle, rules), 25u);
    EXPECT_EQ(limitOf(FieldType::keywords, rules), 100u);
    EXPECT_EQ(limitOf(FieldType::description, rules), 4000u);
    EXPECT_EQ(limitOf(FieldType::name, rules), 30u);
}

TEST(FieldType, goesByEachOfItsNames) {
    for (const FieldFacts& facts : fieldFacts) {
        std::string file(facts.fileName.substr(0, facts.fileName.find('.')));
        file.erase(0, file.find('/') + 1);
        for (const std::string_view name :
             {facts.rawName, facts.attribute, facts.shortLabel, std::string_view(file), facts.fileName})
            EXPECT_EQ(fieldNamed(name), // "notes": of the release, or for the review?
                      name == "notes" ? std::nullopt : std::optional(facts.field))
                << name;
    }
    for (const auto* name :
         {"release_notes", "whatsNew", "whats_new", "RELEASENOTES", "What's new", "release_notes.txt"})
        EXPECT_EQ(fieldNamed(name), FieldType::releaseNotes) << name;
    for (const auto* name : {"", "notes", "notes.txt", "name.json", "rating_config.txt", "title"})
        EXPECT_EQ(fieldNamed(name), std::nullopt) << name;
    EXPECT_EQ(fieldNamed("phone_number.txt"), FieldType::contactPhone);
}

TEST(Locales, knowWhatTheAppStoreTakesAndHintAtTheRest) {
    EXPECT_EQ(appStoreLocales().size(), 50u);
    for (const std::string_view locale : appStoreLocales()) {
        EXPECT_TRUE(isAppStoreLocale(locale));
        EXPECT_EQ(nearestAppStoreLocale(locale), locale);
    }
    EXPECT_TRUE(isAppStoreLocale("bn") && isAppStoreLocale("bn-BD")); // seen in both spellings
    const std::vector<std::pair<std::string_view, std::optional<std::string_view>>> hints = {
        {"de", "de-DE"},
        {"de_DE", "de-DE"},
        {"DE-de", "de-DE"},
        {"de-AT", "de-DE"},
        {"en", "en-US"},
        {"en_us", "en-US"},
        {"en-NZ", "en-US"},
        {"es", "es-ES"},
        {"es-419", "es-MX"},
        {"pt", "pt-PT"},
        {"fr-BE", "fr-FR"},
        {"zh", "zh-Hans"},
        {"zh-CN", "zh-Hans"},
        {"zh_TW", "zh-Hant"},
        {"zh-Hant-HK", "zh-Hant"},
        {"nb-NO", "no"},
        {"no-NO", "no"},
        {"tr-TR", "tr"},
        {"iw", "he"},
        {"si-LK", std::nullopt},
        {"default", std::nullopt},
        {"review_information", std::nullopt},
        {"", std::nullopt},
        {"-", std::nullopt},
        {"android", std::nullopt}};
    for (const auto& [code, nearest] : hints) {
        EXPECT_FALSE(isAppStoreLocale(code)) << code;
        EXPECT_EQ(nearestAppStoreLocale(code), nearest) << code;
    }
}
