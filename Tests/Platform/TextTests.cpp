#include "Platform/text/Text.h"

#include <gmock/gmock.h>
#include <unicode/brkiter.h>
#include <unicode/utext.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <thread>

namespace quorvel {
namespace {

using testing::ElementsAre;

void appendUTF8(std::string& text, char32_t value) {
    icu::UnicodeString(static_cast<UChar32>(value)).toUTF8String(text);
}

std::vector<std::size_t> boundariesOfLibrary(const std::string& text) {
    UErrorCode status = U_ZERO_ERROR;
    static const std::unique_ptr<icu::BreakIterator> iterator(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    UText source = UTEXT_INITIALIZER;
    utext_openUTF8(&source, text.data(), static_cast<std::int64_t>(text.size()), &status);
    iterator->setText(&source, status);
    std::vector<std::size_t> result;
    for (auto at = iterator->first(); at != icu::BreakIterator::DONE; at = iterator->next())
        result.push_back(static_cast<std::size_t>(at));
    utext_close(&source);
    return result;
}

TEST(Graphemes, passUnicodesWholeTestFile) {
    constexpr const char* path = "/usr/share/unicode/auxiliary/GraphemeBreakTest.txt";
    std::ifstream file(path);
    if (!file) GTEST_SKIP() << path << " is missing: install the package unicode-data";
    int cases = 0;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line.substr(0, line.find('#')));
        std::string text;
        std::vector<std::size_t> expected;
        for (std::string word; words >> word;) {
            if (word == "÷")
                expected.push_back(text.size());
            else if (word != "×")
                appendUTF8(text, static_cast<char32_t>(std::stoul(word, nullptr, 16)));
        }
        if (expected.empty()) continue;
        ++cases;
        EXPECT_EQ(graphemeBoundaries(text), expected) << line;
        EXPECT_EQ(graphemeCount(text), expected.size() - 1) << line;
    }
    EXPECT_GE(cases, 600);
}

// Strings of code points that take part in some rule, among them conjuncts, which the test file leaves out.
TEST(Graphemes, agreeWithTheTextLibrarysRules) {
    const std::u32string alphabet =
        U"\r\n\u0001 a1é\u0300\u0308\u200d\u200c\ufe0f\u0600\u0903\u1100\u1160\u11a8\uac00\uac01\u00a9\u2764"
        U"\u0915\u0937\u094d\u093c\u0995\u09cd\u0d15\u0d4d\u0c15\u0c4d\u0e01\u0e33\u0e49"
        U"\U0001f1e6\U0001f468\U0001f3fb\U000e0061\U000e0001\u3042\u3099\U00020000\u17d2\u1780\u0b15\u0b4d"
        U"\u0b57";
    std::mt19937 random(20260301);
    for (int round = 0; round < 30000; ++round) {
        std::string text;
        for (auto length = random() % 9; length > 0; --length)
            appendUTF8(text, alphabet[random() % alphabet.size()]);
        const auto boundaries = graphemeBoundaries(text);
        ASSERT_EQ(boundaries, text.empty() ? std::vector<std::size_t>{0} : boundariesOfLibrary(text))
            << testing::PrintToString(text);
        ASSERT_EQ(graphemeCount(text), boundaries.size() - 1) << testing::PrintToString(text);
    }
}

TEST(Graphemes, countRunsOfPlainTextAsIfTakenOneByOne) {
    // Runs of ASCII of each length about the width of a step, cut by every kind of neighbour.
    const std::vector<std::string> neighbours = {"",       "\r",      "\n",     "\r\n", "\u0301",
                                                 "日本語", "e\u0301", "\u0600", "\xFF", "👨‍👩‍👧"};
    for (std::size_t length = 0; length < 70; ++length)
        for (const std::string& before : neighbours)
            for (const std::string& after : neighbours)
                for (const std::string& filling : {std::string(length, 'x'), std::string(length, '\r')}) {
                    const std::string text = before + filling + after;
                    ASSERT_EQ(graphemeCount(text), graphemeBoundaries(text).size() - 1)
                        << testing::PrintToString(text);
                }
}

TEST(Graphemes, countAsPeopleCount) {
    const std::string family = "👨‍👩‍👧‍👦";
    std::string families;
    for (int count = 0; count < 30; ++count)
        families += family;
    const std::vector<std::pair<std::string, std::size_t>> table = {
        {"", 0},
        {families, 30},
        {std::string(31, 'x'), 31},
        {"a\r\nb", 3},
        {"\r\n\r\n", 2},
        {"\r\r\n\n", 3},
        {"🇩🇪🇯🇵🇫", 3},
        {"क्षत्रिय", 3},
        {"アプリ、\u304b\u3099", 5},
        {"\u0301", 1},
        {std::string("a\0b", 3), 3},
        {"a\xFF\xFE"
         "b",
         4},
        {"\xE3\x81", 2},                // a cut character
        {"\xED\xA0\x80", 3},            // a surrogate
        {"\xC0\xAF\xF5\x80\x80\x80", 6} // overlong and beyond Unicode
    };
    for (const auto& [text, count] : table)
        EXPECT_EQ(graphemeCount(text), count) << testing::PrintToString(text);
    EXPECT_THAT(graphemeBoundaries(""), ElementsAre(0));
    EXPECT_THAT(graphemeBoundaries("e\u0301\xFFz"), ElementsAre(0, 3, 4, 5));
}

TEST(Graphemes, prefixesNeverCutACluster) {
    const std::string text = "a\r\ne\u0301👨‍👩‍👧🇩🇪";
    const auto boundaries = graphemeBoundaries(text);
    ASSERT_EQ(boundaries.size(), 6U);
    for (std::size_t count = 0; count < boundaries.size(); ++count)
        EXPECT_EQ(graphemePrefix(text, count), text.substr(0, boundaries[count])) << count;
    EXPECT_EQ(graphemePrefix(text, 1000), text);
    EXPECT_EQ(graphemePrefix("", 0), "");
}

TEST(Graphemes, areCountedFromManyThreadsAlike) {
    const std::string text = "Ünïcödé 日本語 हिन्दी 👨‍👩‍👧 ไทย";
    const std::size_t expected = graphemeCount(text);
    const auto words = wordSegments(text);
    std::vector<std::thread> threads;
    std::atomic<int> wrong = 0;
    for (int thread = 0; thread < 8; ++thread)
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round)
                wrong += graphemeCount(text) != expected || wordSegments(text) != words;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

TEST(Text, knowsWellFormedUTF8) {
    for (const char* good : {"", "plain", "é", "\uFFFD", "\U0010FFFF", "\uD7FF\uE000", "\x7F"})
        EXPECT_TRUE(isValidUTF8(good)) << testing::PrintToString(good);
    for (const char* bad :
         {"\x80", "\xC3", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF",
          "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "a\xE9z", "\xE2\x82"})
        EXPECT_FALSE(isValidUTF8(bad)) << testing::PrintToString(bad);
    EXPECT_EQ(codePointCount("e\u0301👍\xFF"), 4U);
}

TEST(Text, trimsUnicodeWhiteSpaceOnly) {
    const std::vector<std::pair<std::string, std::string>> table = {
        {"", ""},
        {" \t\r\n a b \v\f\n", "a b"},
        {"\u3000全角\u3000", "全角"},
        {"\u00A0\u2003\u2028\u2029\u0085x\u202F\u205F\u1680", "x"},
        {"\u200B", "\u200B"}, // zero width, but no white space
        {" \xFF\x80 ", "\xFF\x80"},
        {"\x80\x80\x80\x80\x80 ", "\x80\x80\x80\x80\x80"},
        {" \u3000\n", ""}};
    for (const auto& [text, expected] : table) {
        EXPECT_EQ(trim(text), expected) << testing::PrintToString(text);
        EXPECT_EQ(isBlank(text), expected.empty()) << testing::PrintToString(text);
    }
}

TEST(Text, cutsWordsThatJoinToTheTextAgain) {
    EXPECT_THAT(wordSegments("Don't stop, it's 3.14!"),
                ElementsAre("Don't", " ", "stop", ",", " ", "it's", " ", "3.14", "!"));
    EXPECT_THAT(wordSegments("one \t\r\n\n two"), ElementsAre("one", " \t\r\n\n ", "two"));
    EXPECT_THAT(wordSegments("สวัสดีชาวโลก"), ElementsAre("สวัสดี", "ชาว", "โลก"));
    EXPECT_THAT(wordSegments("東京都に住む"), ElementsAre("東京", "都", "に", "住む"));
    EXPECT_TRUE(wordSegments("").empty());
    std::mt19937 random(7);
    for (int round = 0; round < 500; ++round) {
        std::string bytes;
        for (auto length = random() % 40; length > 0; --length)
            bytes.push_back("ab \n\xE3\x81\x82\xFF.é"[random() % 11]);
        std::string joined;
        for (const auto segment : wordSegments(bytes))
            joined += segment;
        ASSERT_EQ(joined, bytes) << testing::PrintToString(bytes);
    }
}

TEST(Text, measuresTerminalCells) {
    const std::vector<std::pair<std::string, std::size_t>> table = {{"plain", 5},
                                                                    {"日本", 4},
                                                                    {"ｱﾌﾟﾘ", 4},
                                                                    {"ﾊﾞ", 2},
                                                                    {"e\u0301", 1},
                                                                    {"각", 2},
                                                                    {"\u1112\u1161\u11ab", 2},
                                                                    {"👨‍👩‍👧", 2},
                                                                    {"👍🏽", 2},
                                                                    {"🇩🇪", 2},
                                                                    {"❤\uFE0F", 2},
                                                                    {"❤", 1},
                                                                    {"1\uFE0F\u20E3", 2},
                                                                    {"क्षि", 2},
                                                                    {"\n\x1B", 0},
                                                                    {"\u200B", 0},
                                                                    {"\xFF", 1},
                                                                    {"", 0}};
    for (const auto& [text, cells] : table)
        EXPECT_EQ(displayWidth(text), cells) << text;
}

TEST(Text, escapesWhatATerminalWouldObey) {
    const std::vector<std::pair<std::string, std::string>> table = {
        {"plain ü 日 👍", "plain ü 日 👍"},   {"a\nb\r\tc", "a\\nb\\r\\tc"},
        {"\x1B[31m\x7F", "\\x1B[31m\\x7F"}, {std::string("a\0b", 3), "a\\x00b"},
        {"\u009B\u0085", "\\u009B\\u0085"}, {"\u202Egnp.exe\u2066\u2028", "\\u202Egnp.exe\\u2066\\u2028"},
        {"\xC3(\xFF", "\\xC3(\\xFF"}};
    for (const auto& [text, expected] : table)
        EXPECT_EQ(escapeControls(text), expected);
}

TEST(Text, escapesADocumentSoThatItStaysOne) {
    EXPECT_EQ(escapeControlsInJSON("{\n  \"a\": \"\u202Eb\u200F\x7F\u009B \u061C\u05D0日\"\n}"),
              "{\n  \"a\": \"\\u202Eb\\u200F\\u007F\\u009B \\u061C\u05D0日\"\n}");
}

TEST(Text, sortsNamesAsPeopleDoAndWritesThemInASCII) {
    std::vector<std::string> names = {"Zebra", "app 10", "Äpfel", "App 2", "apfel", "App 10", "", "日本"};
    std::ranges::sort(names, nameLess);
    EXPECT_THAT(names, ElementsAre("", "apfel", "Äpfel", "App 2", "app 10", "App 10", "Zebra", "日本"));
    const std::vector<std::pair<std::string, std::string>> table = {
        {"plain 1-2", "plain 1-2"}, {"Über Gärten, œuvre", "Uber Garten, oeuvre"}, {"Сад", "Sad"}, {"", ""}};
    for (const auto& [text, written] : table)
        EXPECT_EQ(transliterateToASCII(text), written);
}

TEST(Text, sortsNumbersByValueAndStaysAnOrder) {
    std::vector<std::string> names = {"10.png", "2.png", "a10b2", "a10b10",
                                      "a2",     "",      "0",     "00",
                                      "01",     "1",     "a01b2", "a1b10",
                                      "a1b1",   "a001",  "a",     "a99999999999999999999999",
                                      "b",      "é",     "a-1",   "100000000000000000000000000",
                                      "1a",     "01a",   "1 a",   "0a",
                                      "Z",      "_1",    "é2",    "é10"};
    for (const auto& left : names)
        for (const auto& right : names) {
            ASSERT_EQ(naturalLess(left, right) + naturalLess(right, left), left != right)
                << left << " " << right;
            for (const auto& third : names)
                ASSERT_FALSE(naturalLess(left, right) && naturalLess(right, third) &&
                             !naturalLess(left, third))
                    << left << " " << right << " " << third;
        }
    std::vector<std::string> files = {"Shot 10", "shot 1",  "Shot 9", "Shot 09",
                                      "Shot 1",  "Shot 2b", "Shot 2"};
    std::ranges::sort(files, naturalLess);
    EXPECT_THAT(files, ElementsAre("Shot 1", "Shot 2", "Shot 2b", "Shot 09", "Shot 9", "Shot 10", "shot 1"));
    EXPECT_EQ(asciiLowercase("ÄBc-Z@["), "Äbc-z@[");
}

} // namespace
} // namespace quorvel
