#include "Core/ai/JSONAnswer.h"
#include "Core/ai/translation/KeywordList.h"
#include "Core/ai/translation/ReplyText.h"
#include "Core/ai/translation/TextTrimming.h"
#include "Platform/text/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace quorvel;

TEST(TextTrimming, cutsAtWordBoundariesOfEveryScript) {
    const struct {
        std::string text;
        std::size_t limit;
        std::string expected;
    } cases[] = {
        {"Tides at a glance", 17, "Tides at a glance"},
        {"Tides at a glance", 16, "Tides at a"},
        {"Tides, moon, and surf", 12, "Tides, moon"}, // no separator at the end
        {"Gezeiten – immer dabei", 11, "Gezeiten"},
        {"Hochwasserstandsmeldungen", 10, "Hochwasser"}, // one word: cut inside, but at the limit
        {"潮の満ち引きをひと目で確認", 8, "潮の満ち引きを"},
        {"ดูน้ำขึ้นน้ำลงได้ทันที", 8, "ดูน้ำขึ้นน้ำลง"},
        {"一目了然的潮汐时间表", 5, "一目了然的"},
        {"潮汐（完整版）", 3, "潮汐"}, // no opening mark at the end
        {"Surf 👨‍👩‍👧‍👦 family", 6, "Surf 👨‍👩‍👧‍👦"},
        {"👨‍👩‍👧‍👦👨‍👩‍👧‍👦👨‍👩‍👧‍👦", 2,
         "👨‍👩‍👧‍👦👨‍👩‍👧‍👦"},
        {"e\u0301te\u0301 e\u0301ternel", 5, "e\u0301te\u0301"},
        {"  leading blanks", 4, "le"}, // inside its first word
        {"abc", 0, ""},
        {"", 5, ""},
    };
    for (const auto& each : cases)
        EXPECT_EQ(trimToBoundary(each.text, each.limit), each.expected) << each.text;
    EXPECT_EQ(wholeWordsWithin("Hochwasserstandsmeldungen", 10), std::nullopt);
}

TEST(TextTrimming, neverExceedsTheLimitNorCutsACharacter) {
    const std::string pieces[] = {"a",  "tide ",   "、", "潮", "ก", "ำ", "่",    "👩‍🔬",
                                  "🇩🇪", "e\u0301", "\n", "क्ष", " ", ",", "한글"};
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        for (int piece = 0; piece < 25; ++piece)
            text += pieces[random() % std::size(pieces)];
        const std::size_t limit = random() % 25;
        const std::string cut = trimToBoundary(text, limit);
        ASSERT_LE(graphemeCount(cut), limit) << text;
        ASSERT_TRUE(isValidUTF8(cut)) << text;
        const auto boundaries = graphemeBoundaries(text);
        const std::size_t at = text.find(cut);
        ASSERT_NE(at, std::string::npos) << text;
        ASSERT_TRUE(std::ranges::binary_search(boundaries, at + cut.size())) << text;
    }
}

TEST(TextTrimming, dropsWholeKeywordsFromTheEnd) {
    EXPECT_EQ(wholeTermsWithin("tide,surf,moon", 14), "tide,surf,moon");
    EXPECT_EQ(wholeTermsWithin("tide,surf,moon", 13), "tide,surf");
    EXPECT_EQ(wholeTermsWithin("tide,surf,moon", 9), "tide,surf");
    EXPECT_EQ(wholeTermsWithin("tide,surf,moon", 8), "tide");
    EXPECT_EQ(wholeTermsWithin("tidetables,surf", 9), std::nullopt);
}

TEST(ReplyText, findsTheTranslationInWhatModelsAnswer) {
    const struct {
        std::string reply;
        FieldType field;
        std::string source;
        std::string expected;
    } cases[] = {
        {"Gezeiten im Blick", FieldType::subtitle, "Tides", "Gezeiten im Blick"},
        {" \nGezeiten\n im Blick \n", FieldType::subtitle, "Tides", "Gezeiten im Blick"},
        {"\"Gezeiten\"", FieldType::subtitle, "Tides", "Gezeiten"},
        {"„Gezeiten“", FieldType::subtitle, "Tides", "Gezeiten"},
        {"\"Ja\" und \"nein\"", FieldType::subtitle, "Tides", "\"Ja\" und \"nein\""},
        {"“Gezeiten”", FieldType::subtitle, "\"Tides\"", "“Gezeiten”"},
        {"```text\nGezeiten\n```", FieldType::subtitle, "Tides", "Gezeiten"},
        {"Here you go:\n\n```\nEins\n\nZwei\n```\nEnjoy!", FieldType::description, "One\n\nTwo",
         "Eins\n\nZwei"},
        {"```\nnever closed", FieldType::description, "x", "never closed"},
        {"never opened\n```", FieldType::description, "x", "never opened"},
        {"```Gezeiten```", FieldType::subtitle, "Tides", "Gezeiten"},
        {"```text\nGezeiten```", FieldType::subtitle, "Tides", "Gezeiten"},
        {"**Gezeiten**", FieldType::subtitle, "Tides", "Gezeiten"},
        {"”Tidvatten”", FieldType::subtitle, "Tides", "Tidvatten"},
        {"»Gezeiten«", FieldType::subtitle, "Tides", "Gezeiten"},
        {"Translation:\nGezeiten", FieldType::subtitle, "Tides", "Gezeiten"},
        {"Gezeiten\n\n(8 characters)", FieldType::subtitle, "Tides", "Gezeiten"},
        {"以下是翻译：\n\n潮汐", FieldType::description, "Tides", "潮汐"},
        {"Run ```ls```", FieldType::description, "Run ```ls```", "Run ```ls```"},
        {"Here is the translation:\n\nEins", FieldType::description, "One", "Eins"},
        {"Neu:\n\n• Eins", FieldType::releaseNotes, "New:\n\n• One", "Neu:\n\n• Eins"},
        {"Neu:\n• Eins", FieldType::releaseNotes, "One", "Neu:\n• Eins"},
        {"Neu:\n\n• Eins", FieldType::releaseNotes, "New\n\n• One", "Neu:\n\n• Eins"}, // the source's heading
        {"Here it is:\n\nNeu\n\n• Eins", FieldType::releaseNotes, "New\n\n• One", "Neu\n\n• Eins"},
        {"---\nEins\n---", FieldType::description, "One", "Eins"},
        {"Eins\r\nZwei\rDrei\x01", FieldType::description, "x", "Eins\nZwei\nDrei"},
        {"\xEF\xBB\xBF"
         "Eins",
         FieldType::description, "x", "Eins"},
        {"```\n```", FieldType::description, "x", ""},
        {" tide , surf、Moon,\nmoon,,", FieldType::keywords, "x", "tide,surf,Moon"},
        {"Keywords:\ntide,surf\n\nThey are popular, mostly.", FieldType::keywords, "x", "tide,surf"},
        {"tide\n\nsurf", FieldType::keywords, "x", "tide,surf"},
        {"\"tide\", \"surf\"", FieldType::keywords, "x", "tide,surf"},
    };
    for (const auto& each : cases)
        EXPECT_EQ(translationIn(each.reply, each.field, each.source), each.expected) << each.reply;
}

TEST(KeywordList, holdsBareTermsOnceWhateverModelsWriteAroundThem) {
    const struct {
        std::string reply;
        std::string expected;
    } cases[] = {
        {"1. tide\n2. surf\n10) moon\n(4) 3d map", "tide,surf,moon,3d map"},
        {"- tide\n* surf\n• moon\n– ebb\n✓ flow", "tide,surf,moon,ebb,flow"},
        {"Keywords: tide, surf", "tide,surf"},
        {"关键词：潮汐，冲浪", "潮汐,冲浪"},
        {"tide; surf；moon | ebb｜flow", "tide,surf,moon,ebb,flow"},
        {"潮汐、冲浪・波", "潮汐,冲浪・波"},
        {"مد، جزر؛ موج", "مد,جزر,موج"},
        {"tide · surf · moon", "tide,surf,moon"},
        {"tide·surf·moon", "tide,surf,moon"},
        {"col·lecció, 哈利·波特", "col·lecció,哈利·波特"}, // no separators
        {"col·lecció", "col·lecció"},
        {"tide, surf.", "tide,surf"},
        {"潮汐，冲浪。", "潮汐,冲浪"},
        {"ज्वार, लहर।", "ज्वार,लहर"},
        {"node.js, 2.0, a/b", "node.js,2.0,a/b"},
        {"Tide, TIDE, tide", "Tide"},
        {"Straße, STRASSE, Ébène, e\u0301bène, ΣΟΦΟΣ, σοφος", "Straße,Ébène,ΣΟΦΟΣ"},
        {"ti\u00ADde\u200B, \u202Bsurf\u202C, \uFEFFmoon", "tide,surf,moon"},
        {"می\u200Cخواهم, موج\u200C", "می\u200Cخواهم,موج"}, // the first joins nothing, the second is in vain
        {"tide,surf (9 characters)", "tide,surf"},
        {"tide, \"surf\" ,**moon**", "tide,surf,moon"},
        {"tide   table,surf", "tide table,surf"},
        {"tide,surf\nThese are terms that people look for.", "tide,surf"},
        {"tide,surf. They fit into the limit.", "tide,surf"},
        {"潮汐，冲浪\n\n（这些关键词很受欢迎，也符合字数限制。）", "潮汐,冲浪"},
        {"Here is a list, made with much care and love.\ntide,surf,moon", "tide,surf,moon"},
        {"مد، جزر\n\nملاحظة: هذه الكلمات شائعة، وتناسب الحد.", "مد,جزر"},
        {"海，山，川", "海,山,川"},
        {"-, ., :, 。", ""},
        {"tide·surf·moon,tide·surf·moon", "tide,surf,moon"},
    };
    for (const auto& each : cases) {
        const std::string tidy = translationIn(each.reply, FieldType::keywords, "x");
        EXPECT_EQ(tidy, each.expected) << each.reply;
        EXPECT_EQ(tidyKeywords(tidy), tidy) << "a tidy list stays";
    }
}

TEST(KeywordList, leavesOutTermsThatSayNoMoreThanWhatIsIndexed) {
    const std::vector<std::string> indexed = {"Tide Pool – Ébène", "海を見る"};
    EXPECT_EQ(tidyKeywords("tide,TIDE pool,tide table,e\u0301bène,海,海辺,pools", indexed),
              "tide table,海辺,pools");
    EXPECT_EQ(tidyKeywords("pool,Tide", indexed), "");
}

TEST(JSONAnswer, findsAJSONObjectWithinProse) {
    EXPECT_EQ(objectIn("Sure:\n```json\n{\"a\":{}}\n```"), "{\"a\":{}}");
    EXPECT_EQ(objectIn(R"({"a":"}\"{"} Note: {name} stays.)"), R"({"a":"}\"{"})");
    EXPECT_EQ(objectIn("}{"), std::nullopt);
    EXPECT_EQ(objectIn("none"), std::nullopt);
}
