#include "Core/aso/AppleStorefront.h"
#include "Core/aso/KeywordScore.h"
#include "Core/aso/KeywordTerms.h"
#include "Core/aso/RankHistory.h"
#include "Core/aso/RankVelocityDetector.h"
#include "Core/aso/StoreLink.h"
#include "Core/aso/StorefrontLocales.h"
#include "Core/metadata/Locales.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace quorvel {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

using Rank = std::optional<std::int64_t>;

const Date now = dateFromSecondsSince1970(1'800'000'000);

KeywordSnapshot snapshotOf(double daysAgo, Rank rank) {
    return {.capturedAt = now - std::chrono::seconds(static_cast<std::int64_t>(daysAgo * 86'400)),
            .ourRank = rank,
            .resultCount = {},
            .competitorRanks = {},
            .keyword = {}};
}

TEST(RankVelocityDetector, comparesTheEndsOfTheWeekInTheGivenWords) {
    const std::string drop =
        " A 5+ position drop is rare without a metadata or competitor shift — investigate.";
    const std::string climb = " Big move; figure out what triggered it so you can repeat the pattern.";
    struct Case {
        Rank first, last;
        std::string severity, summary, detail; // no alert without a severity
    };
    const std::vector<Case> cases = {
        {{}, {}, "", "", ""},
        {12, 16, "", "", ""},
        {30, 26, "", "", ""},
        {12, 17, "warning", "Rank dropped 5 spots", "Was at #12, now at #17." + drop},
        {30, 25, "win", "Rank climbed 5 spots", "From #30 to #25." + climb},
        {8,
         {},
         "warning",
         "Fell out of the top 200",
         "Was at #8, now no longer ranking. Look at competitor moves or recent metadata changes."},
        {{},
         140,
         "win",
         "Now ranking at #140",
         "Earlier this period the term was off-chart for our app. Whatever changed is helping — keep it."}};
    std::string lastID;
    for (const auto& [first, last, severity, summary, detail] : cases) {
        SCOPED_TRACE(summary);
        // In no order, with a fall and a climb between the ends, and older ones that do not count.
        const std::vector<KeywordSnapshot> snapshots = {snapshotOf(0, last), snapshotOf(7.01, 1),
                                                        snapshotOf(3, 199), snapshotOf(7, first)};
        const auto alert =
            RankVelocityDetector::detect("tide clock", snapshots, RankVelocityDetector::week, now);
        ASSERT_EQ(alert.has_value(), !severity.empty());
        if (!alert) continue;
        EXPECT_EQ(rawValue(alert->severity), severity);
        EXPECT_EQ(alert->summary, summary);
        EXPECT_EQ(alert->detail, detail);
        EXPECT_EQ(alert->keywordTerm, "tide clock");
        EXPECT_NE(alert->id, lastID);
        lastID = alert->id;
    }
    const std::vector<KeywordSnapshot> one = {snapshotOf(8, 1), snapshotOf(1, 100)};
    EXPECT_FALSE(RankVelocityDetector::detect("tide clock", one, RankVelocityDetector::week, now));
}

TEST(RankHistory, comparesWithTheSnapshotBeforeAndPlotsEachDay) {
    const std::vector<KeywordSnapshot> snapshots = {snapshotOf(31, {}), snapshotOf(6.8, 40),
                                                    snapshotOf(1, 50), snapshotOf(0.1, 30)};
    using Kind = RankChange::Kind;
    const auto week = rankChangeOver(snapshots, 7);
    ASSERT_TRUE(week);
    EXPECT_EQ(week->kind, Kind::up) << "half a day less than a week will do";
    EXPECT_EQ(week->places, 10);
    EXPECT_EQ(rankChangeOver(snapshots, 30)->kind, Kind::entered);
    EXPECT_FALSE(rankChangeOver(std::span(snapshots).last(2), 7)) << "nothing is a week old";
    EXPECT_EQ(rankChangeOver(std::vector{snapshotOf(9, 3), snapshotOf(0, {})}, 7)->kind, Kind::left);
    EXPECT_FALSE(rankChangeOver(std::vector{snapshotOf(9, {}), snapshotOf(0, {})}, 7));

    const auto days = dailyRanks(snapshots, 3, now);
    EXPECT_THAT(days, ElementsAre(DailyRank{false, {}}, DailyRank{true, 50}, DailyRank{true, 30}));
    EXPECT_TRUE(dailyRanks(std::vector{snapshotOf(-2, 7)}, 3, now).back().wasCaptured)
        << "a clock that was set back since";
}

TEST(KeywordTerms, matchTextsByWords) {
    struct Case {
        std::string text, term;
        bool holds;
    };
    const std::vector<Case> cases = {{"Garden Journal: Plant Diary", "plant journal", true},
                                     {"Heart rate", "art", false},
                                     {"garden,plant,DIARY", "diary plant", true},
                                     {"Gärten & Pflanzen", "GÄRTEN", true},
                                     {"庭の日記アプリ", "日記", true},
                                     {"Garden", "", false},
                                     {"Garden", "!?", false}};
    for (const auto& [text, term, holds] : cases)
        EXPECT_EQ(textHoldsTerm(text, term), holds) << text << " / " << term;
    EXPECT_EQ(tidyTerm("  tide \t  clock\u200B "), "tide clock");
    EXPECT_EQ(termKey("Tide  Clock"), termKey("tide clock"));
    EXPECT_THAT(describingTerms("Bloomly: Plant Care & the Diary", "Water 3 Plants"),
                ElementsAre("plant", "care", "plant care", "diary", "water", "plants"));
    EXPECT_EQ(brandOf("Bloomly: Plant Care"), "Bloomly");
    EXPECT_EQ(brandOf("Bloomly"), "Bloomly");
    EXPECT_EQ(brandOf("Plant Care"), "");
}

TEST(KeywordScore, addsItsPartsAndSaysThem) {
    const KeywordFacts facts{.term = "plants",
                             .isHint = true,
                             .chartApps = 9,
                             .chartSize = 100,
                             .results = 200,
                             .firstTitles = 4,
                             .ourRank = 34};
    const KeywordScore score = scoreOf(facts);
    EXPECT_EQ(score, (KeywordScore{.total = 90, .demand = 45, .competition = 15, .reach = 20, .length = 10}));
    EXPECT_EQ(explain(facts),
              "suggested by the store · 9 of 100 chart apps · 4 of the first 10 · you are #34 "
              "· 6 characters");
    EXPECT_EQ(scoreOf({.term = "plants", .isHint = true, .results = 0}).total, 0);
    EXPECT_EQ(scoreOf({.term = "plants", .results = 2, .firstTitles = 1}).competition, 12);
}

TEST(StoreLink, readsWhatPeoplePaste) {
    struct Case {
        std::string text;
        std::optional<StoreLink> link;
    };
    const std::vector<Case> cases = {{"6700000101", StoreLink{.appStoreId = "6700000101"}},
                                     {"id6700000101 ", StoreLink{.appStoreId = "6700000101"}},
                                     {"https://apps.apple.com/DE/app/b%C3%A4ume/id42?mt=8",
                                      StoreLink{.appStoreId = "42", .country = "de"}},
                                     {"https://apps.apple.com/app/id42#x", StoreLink{.appStoreId = "42"}},
                                     {"studio.example.app", StoreLink{.bundleId = "studio.example.app"}},
                                     {"https://apps.apple.com/de/story/42", std::nullopt},
                                     {"https://", std::nullopt},
                                     {"0042", std::nullopt},
                                     {"99999999999999999999", std::nullopt},
                                     {"Bloomly", std::nullopt},
                                     {"", std::nullopt}};
    for (const auto& [text, link] : cases)
        EXPECT_EQ(readStoreLink(text), link) << text;
}

TEST(StorefrontLocales, knowsThoseOfEveryStorefront) {
    for (const auto& country : AppleStorefront::countries) {
        EXPECT_FALSE(storefrontLocales(country.code).empty()) << country.code;
        for (const std::string_view locale : storefrontLocales(country.code))
            EXPECT_TRUE(isAppStoreLocale(locale)) << locale;
    }
    EXPECT_EQ(storefrontLocales("DE").front(), "de-DE");
    EXPECT_TRUE(storefrontLocales("xx").empty());
}

} // namespace
} // namespace quorvel
