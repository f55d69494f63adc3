// What the files of the page's fields say.
#include "Core/metadata/AgeRating.h"
#include "Core/metadata/FieldValue.h"
#include "Platform/json/JSON.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace quorvel;
using testing::HasSubstr;
using F = FieldType;

namespace {

std::string sent(std::string_view from, std::string_view to) {
    return encodeJSON(ageRatingChanges(from, to));
}

} // namespace

TEST(FieldValue, understandsTheSpellingsOfRealTrees) {
    struct Row {
        F field;
        std::string_view text, value;
    };
    const Row rows[] = {
        {F::name, " Name\n", " Name\n"}, // a store text is its value
        {F::supportURL, "\uFEFF https://a.example/x\r\n", "https://a.example/x"},
        {F::privacyPolicyText, "one\ntwo\n", "one\ntwo"},
        {F::copyright, "2026 Fernhollow\n", "2026 Fernhollow"},
        {F::primaryCategory, "UTILITIES", "UTILITIES"},
        {F::primaryCategory, "photo_and_video\n", "PHOTO_AND_VIDEO"},
        {F::primaryCategory, "MZGenre.Photography", "PHOTO_AND_VIDEO"},
        {F::secondaryCategory, "MZGenre.Food_Drink", "FOOD_AND_DRINK"},
        {F::secondaryCategory, "Food & Drink", "FOOD_AND_DRINK"},
        {F::secondaryCategory, "MZGenre.Apps.DeveloperTools", "DEVELOPER_TOOLS"},
        {F::primarySubcategoryOne, "MZGenre.Puzzle", "GAMES_PUZZLE"},
        {F::primarySubcategoryTwo, "games role playing", "GAMES_ROLE_PLAYING"},
        {F::primarySubcategoryTwo, "Music", "Music"}, // of games, or of stickers
        {F::primaryCategory, "GAMES_PUZZLE", "GAMES_PUZZLE"},
        {F::releaseType, "after approval\n", "AFTER_APPROVAL"},
        {F::earliestReleaseDate, "2026-12-01T09:00:00+01:00", "2026-12-01T08:00:00Z"},
        {F::earliestReleaseDate, "2026-12-01T09:00+01:00\n", "2026-12-01T08:00:00Z"},
        {F::earliestReleaseDate, "2026-12-01T09:00Z", "2026-12-01T09:00:00Z"},
        {F::earliestReleaseDate, "2026-12-01T09:00", "2026-12-01T09:00"}, // where?
        {F::earliestReleaseDate, "2026-12-01T09+01:00", "2026-12-01T09+01:00"},
        {F::demoAccountRequired, "Yes\n", "true"},
        {F::demoAccountRequired, "0", "false"},
        {F::demoAccountPassword, " pass word \n", " pass word "},
        {F::ageRating, "{\"gambling\":false,\"advertising\":true,\"lootBox\":null}",
         "{\n  \"advertising\": true,\n  \"gambling\": false\n}"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(canonicalValue(row.field, row.text), row.value) << rawValue(row.field) << row.text;
}

TEST(FieldValue, namesWhatAppStoreConnectWouldRefuse) {
    struct Row {
        F field;
        std::string_view text, fault; // no fault: the value is taken
    };
    const Row rows[] = {
        {F::supportURL, "https://a.example", ""},
        {F::supportURL, "http://münchen.example/hilfe?x=1#y", ""},
        {F::supportURL, "\n", ""},
        {F::supportURL, "www.example.com", "support_url.txt: \"www.example.com\" has no https:// in front"},
        {F::copyright, "one\ntwo", "several lines"},
        {F::releaseType, "SCHEDULE", "did you mean SCHEDULED?"},
        {F::earliestReleaseDate, "2026-12-01", "is no date with a time"},
        {F::earliestReleaseDate, "2026-12-01T09:30:00Z", "is no whole hour"},
        {F::earliestReleaseDate, "2026-12-01T09:30Z", "is no whole hour"},
        {F::earliestReleaseDate, "2026-12-01T09:00", "is no date with a time"},
        {F::earliestReleaseDate, "2026-12-01T09:00:00+05:30", "is no whole hour"},
        {F::primaryCategory, "PRODUCTIVTY", "did you mean PRODUCTIVITY?"},
        {F::primaryCategory, "GAMES_PUZZLE", "is no category"},
        {F::primarySubcategoryOne, "GAMES_PUZLE", "did you mean GAMES_PUZZLE?"},
        {F::demoAccountRequired, "maybe", "is neither true nor false"},
        {F::contactEmail, "nobody", "is no e-mail address"},
        {F::contactEmail, "@", "is no e-mail address"},
        {F::contactEmail, "@example.com", "is no e-mail address"},
        {F::contactEmail, "help@example", "is no e-mail address"},
        {F::contactEmail, "help@example.", "is no e-mail address"},
        {F::contactEmail, "a@example.com,b@example.com", "is no e-mail address"},
        {F::contactEmail, "help+apple@mail.example.com", ""},
        {F::contactPhone, "12", "is no phone number"},
        {F::contactPhone, "+44 CALL-US-NOW", "is no phone number"},
        {F::contactPhone, "020 7946 0000", ""},
        {F::contactPhone, "+290 2000", ""},
        {F::demoAccountPassword, "one\ntwo", "review_information/demo_password.txt has several lines"},
        {F::demoAccountPassword, " one two \n", ""},
        {F::ageRating, "{", "is no JSON object"},
        {F::ageRating, "[]", "is no JSON object"},
        {F::ageRating, R"({"gamblin":false})", "did you mean \"gambling\"?"},
        {F::ageRating, R"({"gambling":"false"})", "takes true or false, without quotes"},
        {F::ageRating, R"({"contests":"FREQUENTLY"})", "did you mean FREQUENT?"},
        {F::ageRating, R"({"kidsAgeBand":null,"contests":"NONE"})", ""},
        {F::ageRating, R"({"developerAgeRatingInfoUrl":"nowhere"})",
         "\"developerAgeRatingInfoUrl\" is no address"},
        {F::ageRating, R"({"developerAgeRatingInfoUrl":true})", "takes the address of a web page"},
        {F::ageRating, R"({"developerAgeRatingInfoUrl":"https://a b"})", "holds a blank"},
        {F::ageRating, R"({"developerAgeRatingInfoUrl":"https://a.example/x"})", ""},
        {F::ageRating, R"({"gambling":true,"gambling":false})", "answers \"gambling\" twice"},
    };
    for (const Row& row : rows) {
        const std::string fault = valueFault(row.field, row.text).value_or("");
        EXPECT_THAT(fault, HasSubstr(std::string(row.fault))) << rawValue(row.field) << row.text;
        EXPECT_EQ(fault.empty(), row.fault.empty()) << fault;
    }
    // App Store Connect may know more than we do.
    EXPECT_EQ(valueFault(F::ageRating, R"({"newQuestion":"X"})", R"({"newQuestion":"Y"})"), std::nullopt);
}

TEST(AgeRating, isComparedByMeaningAndKeepsWhatAFileDoesNotName) {
    const std::string copy = ageRatingText(decodeJSON<JSONValue>(
        R"({"gambling":false,"contests":"NONE","kidsAgeBand":"SIX_TO_EIGHT","lootBox":null})"));
    EXPECT_EQ(ageRatingOver(copy, R"( {"contests" : "NONE"} )"), copy);
    EXPECT_EQ(sent(copy, ageRatingOver(copy, R"({"contests":"FREQUENT","advertising":true})")),
              R"({"advertising":true,"contests":"FREQUENT"})");
    const std::string without = ageRatingOver(copy, R"({"kidsAgeBand":null})");
    EXPECT_EQ(sent(copy, without), R"({"kidsAgeBand":null})");
    EXPECT_EQ(sent(copy, copy), "{}");
    EXPECT_EQ(ageRatingOver(copy, "{"), "{"); // to be refused as it stands

    // Both sides changed answers: those of the other side join what the file names.
    EXPECT_EQ(mergeAgeRatings(copy, R"({"contests":"FREQUENT","gambling":false})",
                              ageRatingOver(copy, R"({"gambling":true,"advertising":true})"))
                  .value_or("none"),
              "{\n  \"contests\": \"FREQUENT\",\n  \"gambling\": true\n}");
    EXPECT_EQ(mergeAgeRatings(copy, R"({"contests":"FREQUENT"})", R"({"contests":"INFREQUENT"})"),
              std::nullopt);
    EXPECT_EQ(mergeAgeRatings(copy, "{", copy), std::nullopt);
}

TEST(AgeRating, takesBackTheAnswersOfAPushAlone) {
    constexpr std::string_view before = R"({"contests":"NONE","gambling":false})";
    constexpr std::string_view sentText = R"({"advertising":true,"contests":"NONE","gambling":true})";
    struct Row {
        std::string_view local, copy, back; // no way back: nothing to do
        bool replacesEdit = false;
    };
    const Row rows[] = {
        {R"({"gambling":true,"advertising":true})", sentText, R"({"gambling":false,"advertising":null})"},
        {"", sentText, R"({"gambling":false,"advertising":null})"},
        // Somebody changed another answer since.
        {R"({"advertising":true,"contests":"FREQUENT","gambling":true})", sentText,
         R"({"advertising":null,"contests":"FREQUENT","gambling":false})"},
        // A newer answer to the same question.
        {R"({"gambling":"x"})", sentText, R"({"gambling":false,"advertising":null})", true},
        {R"({"gambling":true)", sentText, R"({"gambling":false,"advertising":null})", true},
        {R"({"contests":"FREQUENT"})", before, ""},
        {R"({"gambling":false,"advertising":null})", sentText, ""},
    };
    for (const Row& row : rows) {
        const auto back = ageRatingBack(row.local, row.copy, before, sentText);
        EXPECT_EQ(back ? encodeJSON(decodeJSON<JSONValue>(back->text)) : "", row.back) << row.local;
        EXPECT_EQ(back && back->replacesEdit, row.replacesEdit) << row.local;
    }
}
