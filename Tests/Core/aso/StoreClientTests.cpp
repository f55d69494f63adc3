// The clients of the public store over real connections, and what they make of its answers.
#include "Core/aso/ASOError.h"
#include "Core/aso/AppStoreHTMLScraper.h"
#include "Core/aso/AppleChartsClient.h"
#include "Core/aso/AppleSearchHintsClient.h"
#include "Core/aso/AppleStorefront.h"
#include "Core/aso/ITunesSearchClient.h"
#include "Tests/support/ScriptedServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

std::string storeErrorOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const ASOError& error) {
        return error.description();
    }
    return "nothing was thrown";
}

constexpr std::string_view parsing = "Failed to parse Apple's response: ";

TEST(StoreClients, sendExactlyTheRequestsOfEachService) {
    struct Case {
        std::string body; // of the answer
        std::function<void(const std::shared_ptr<HTTPClient>&, const std::string&)> call;
        std::string target;
        std::vector<std::string> headers;
    };
    const std::string results = R"({"resultCount":1,"results":[{"trackId":7,"trackName":"A"}]})";
    const std::string feed = R"({"feed":{"results":[]}})", legacy = R"({"feed":{"updated":{}}})";
    const auto search = [](std::string term, std::string country, int limit) {
        return [=](const auto& http, const std::string& base) {
            (void)ITunesSearchClient(http, base).search(term, country, limit);
        };
    };
    const auto chart = [](ChartKind kind, int limit, std::optional<AppStoreGenre> genre) {
        return [=](const auto& http, const std::string& base) {
            (void)AppleChartsClient(http, base, base + "/old").topApps(kind, "DE", limit, genre);
        };
    };
    const std::vector<Case> cases = {
        {results,
         search("to do & märz", "US", 0),
         "/search?term=to%20do%20%26%20m%C3%A4rz&country=us&entity=software&limit=1",
         {}},
        {results,
         search("a+b/c", "de", 500),
         "/search?term=a%2Bb%2Fc&country=de&entity=software&limit=200",
         {}},
        {results,
         [](const auto& http, const std::string& base) {
             EXPECT_EQ(ITunesSearchClient(http, base + "/").lookupApp("7", "DE").trackName, "A");
         },
         "/lookup?id=7&country=de",
         {}},
        {results,
         [](const auto& http, const std::string& base) {
             (void)ITunesSearchClient(http, base).lookupBundle("org.example.app", "us");
         },
         "/lookup?bundleId=org.example.app&country=us",
         {}},
        {R"(<plist version="1.0"><dict/></plist>)",
         [](const auto& http, const std::string& base) {
             (void)AppleSearchHintsClient(http, base).hints("gard", "US");
         },
         "/WebObjects/MZSearchHints.woa/wa/hints?clientApplication=Software&term=gard&country=us",
         {"User-Agent: iTunes/12.11 (Macintosh; OS X 12.0) AppleWebKit/612.1.29.16.6",
          "X-Apple-Store-Front: 143441-1,29 t:apps3", "Accept: application/xml,*/*"}},
        {feed,
         chart(ChartKind::topFree, 250, {}),
         "/api/v2/de/apps/top-free/100/apps.json",
         {"Accept: application/json"}},
        {feed, chart(ChartKind::topPaid, -3, {}), "/api/v2/de/apps/top-paid/1/apps.json", {}},
        {feed, chart(ChartKind::topGrossing, 5, {}), "/api/v2/de/apps/top-grossing/5/apps.json", {}},
        {legacy,
         chart(ChartKind::topFree, 10, AppStoreGenre::games),
         "/old/de/rss/topfreeapplications/limit=10/genre=6014/json",
         {"Accept: application/json"}},
        {legacy,
         chart(ChartKind::topPaid, 10, AppStoreGenre::all),
         "/old/de/rss/toppaidapplications/limit=10/genre=36/json",
         {}},
        {legacy,
         chart(ChartKind::topGrossing, 10, AppStoreGenre::medical),
         "/old/de/rss/topgrossingapplications/limit=10/genre=6020/json",
         {}},
        {"<html></html>",
         [](const auto& http, const std::string& base) {
             (void)AppStoreHTMLScraper(http, base).fetch("42", "GB");
         },
         "/gb/app/id42",
         {"User-Agent: Mozilla/5.0 (Macintosh; Intel Mac OS X 14_0) AppleWebKit/605.1.15",
          "Accept: text/html,*/*"}},
    };
    std::vector<Connection> script;
    for (const Case& one : cases)
        script.push_back({Receive{}, Send{answer("200 OK", one.body, "Connection: close\r\n")}});
    ScriptedServer server(script);
    const auto http = std::make_shared<URLSessionHTTPClient>(std::make_shared<URLSession>());
    for (const Case& one : cases)
        one.call(http, server.url(""));
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), cases.size());
    for (std::size_t i = 0; i < cases.size(); ++i) {
        EXPECT_THAT(requests[i], StartsWith("GET " + cases[i].target + " HTTP/1.1\r\n"));
        for (const std::string& header : cases[i].headers)
            EXPECT_THAT(requests[i], HasSubstr("\r\n" + header + "\r\n"));
    }
}

TEST(StoreClients, refuseBeforeTheyAskAndTellWhatTheStoreAnswers) {
    ScriptedServer server({{Receive{}, Send{answer("503 Busy", "", "Connection: close\r\n")}},
                           {Receive{}, Send{answer("200 OK", R"({"resultCount":0,"results":[]})")}}});
    const auto http = std::make_shared<URLSessionHTTPClient>(std::make_shared<URLSession>());
    const ITunesSearchClient search(http, server.url(""));
    const AppleSearchHintsClient hints(http, server.url(""));
    const AppStoreHTMLScraper pages(http, server.url(""));
    const std::string invalid = "Could not construct a valid URL for this query.";
    EXPECT_EQ(storeErrorOf([&] { (void)hints.hints("a", "xx"); }),
              "Country \"xx\" is not in our App Store storefront map.");
    EXPECT_EQ(storeErrorOf([&] { (void)search.search("a", "../", 1); }), invalid);
    EXPECT_EQ(storeErrorOf([&] { (void)search.search("\xff", "us", 1); }), invalid);
    EXPECT_EQ(storeErrorOf([&] { (void)search.lookupApp("7&country=de", "us"); }), invalid);
    EXPECT_EQ(storeErrorOf([&] { (void)pages.fetch("1/../2", "us"); }), invalid);
    EXPECT_EQ(storeErrorOf([&] { (void)ITunesSearchClient(http, "no address").search("a", "us"); }), invalid);
    EXPECT_EQ(server.connections(), 0U);
    EXPECT_EQ(storeErrorOf([&] { (void)search.search("a", "us"); }), "App Store endpoint returned HTTP 503");
    EXPECT_EQ(storeErrorOf([&] { (void)search.lookupApp("77", "us"); }),
              "App with id 77 was not found on the App Store.");
}

TEST(SearchResponses, keepEveryAppWhateverItsMembersAre) {
    const auto response = readSearchResponse(R"(

{"resultCount": 6, "results": [
 {"trackId": 1, "trackName": "Whole", "price": 4.99, "fileSizeBytes": "120", "genres": ["Games", "Word"]},
 {"trackId": 2, "trackCensoredName": "Censored", "bundleId": "b", "price": null},
 {"trackId": 3, "bundleId": "org.example.three", "fileSizeBytes": 9000000000, "price": "free"},
 {"collectionId": 4, "collectionName": "No app"},
 {"trackId": 5, "trackName": "Odd", "genres": ["Games", 7], "averageUserRating": {"a": 1}, "version": 3},
 "nothing"]})");
    std::vector<std::string> names;
    for (const auto& app : response.results)
        names.push_back(app.trackName);
    ASSERT_THAT(names, ElementsAre("Whole", "Censored", "org.example.three", "Odd"));
    EXPECT_EQ(response.results[0].price, 4.99);
    EXPECT_EQ(response.results[2].fileSizeBytes, "9000000000");
    EXPECT_FALSE(response.results[2].price || response.results[3].genres || response.results[3].version);
    EXPECT_EQ(readSearchResponse(R"({"trackId": 9, "trackName": "Bare"})").results.size(), 1U);
    for (const auto* bad : {"<html>busy</html>", "", "[]", R"({"results": 4})", "{\"results\": [\x1b"})
        EXPECT_THAT(storeErrorOf([&] { (void)readSearchResponse(bad); }),
                    AllOf(StartsWith(parsing), testing::Not(HasSubstr("\x1b"))))
            << bad;
}

TEST(Hints, areReadFromEveryFormOfPropertyList) {
    const auto list = [](std::string_view inner) {
        return "<?xml version=\"1.0\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple Computer//DTD PLIST 1.0//EN\" "
               "\"http://127.0.0.1:1/never.dtd\">\n<plist version=\"1.0\">" +
               std::string(inner) + "</plist>";
    };
    EXPECT_THAT(
        readHints(list("<dict><key>title</key><string>x</string><key>hints</key><array>"
                       "<dict><key>term</key><string>garden &amp; co</string><key>priority</key>"
                       "<integer>6859</integer></dict><dict><key>url</key><string>no term</string></dict>"
                       "<dict><key>term</key><string>园&#8211;</string></dict><string>bare</string>"
                       "<true/><real>1.5</real></array></dict>")),
        ElementsAre("garden & co", "园–", "bare"));
    EXPECT_THAT(readHints(list("<dict><key>hints</key><array/></dict>")), testing::IsEmpty());
    std::string deep = "<dict><key>hints</key>";
    for (int level = 0; level < 100'000; ++level)
        deep += "<array>";
    const std::pair<std::string, std::string> bad[] = {
        {list("<array/>"), "expected top-level dict"},
        {"", "plist read: no element found in line 1"},
        {"<html><body>Busy</body></html>", "plist read: it is XML, but not a property list"},
        {list("<dict><key>hints</key></dict>"), "plist read: a key has no value"},
        {list("<dict><string>x</string></dict>"),
         "plist read: keys and values of a dictionary do not alternate"},
        {list("<dict><key>a</key><integer>many</integer></dict>"), "plist read: an integer is no number"},
        {list("<dict><key>a</key><b/></dict>"), "plist read: it holds the unknown element \"b\""},
        {list("<dict>&passwd;</dict>"), "plist read: it uses an entity that nobody declares"},
        {"<!DOCTYPE plist [<!ENTITY a \"aaaa\"><!ENTITY b \"&a;&a;\">]><plist><string>&b;</string></plist>",
         "plist read: it declares its own document type"},
        {list(deep), "plist read: it is nested too deeply"}};
    for (const auto& [text, detail] : bad)
        EXPECT_EQ(storeErrorOf([&] { (void)readHints(text); }), std::string(parsing) + detail);
}

TEST(Charts, areReadFromBothFeeds) {
    const auto current = readChartFeed(
        R"({"feed":{"results":[{"id":"11","name":"One","artistName":"Maker","releaseDate":"2020-01-02",)"
        R"("genres":[{"genreId":"6014","name":"Games","url":"https://example/6014"}],"url":"u","artworkUrl100":"p"},)"
        R"({"id":12,"name":"Two"}]}})");
    ASSERT_EQ(current.size(), 2U);
    EXPECT_EQ(current[0].genres.at(0).name, "Games");
    EXPECT_EQ(current[1], (ChartApp{.id = "12", .name = "Two", .rank = 2}));

    const std::string first =
        R"({"id":{"label":"page","attributes":{"im:id":"21"}},"im:name":{"label":"一"},"im:artist":{"label":"M"},)"
        R"("im:image":[{"label":"p53","attributes":{"height":"53"}},{"label":"p100","attributes":{"height":"100"}},)"
        R"({"label":"p512","attributes":{"height":"512"}}],"im:releaseDate":{"label":"x","attributes":{"label":"May 1"}},)"
        R"("category":{"attributes":{"im:id":"6011","label":"Music"}},"link":[{"attributes":{"rel":"enclosure","href":"no"}},)"
        R"({"attributes":{"rel":"alternate","href":"yes"}}]})";
    const std::string second =
        R"({"id":{"label":"page","attributes":{"im:id":"22"}},"im:name":{"label":"Two"},)"
        R"("im:image":{"label":"only","attributes":{}},"link":{"attributes":{"rel":"alternate","href":"single"}}})";
    const auto legacy = readLegacyChart(R"({"feed":{"entry":[)" + first + "," + second + "]}}");
    ASSERT_EQ(legacy.size(), 2U);
    EXPECT_EQ(legacy[0], (ChartApp{.id = "21",
                                   .name = "一",
                                   .artistName = "M",
                                   .genres = {{"6011", "Music", {}}},
                                   .releaseDate = "May 1",
                                   .url = "yes",
                                   .artworkUrl100 = "p100",
                                   .rank = 1}));
    EXPECT_EQ(legacy[1],
              (ChartApp{.id = "22", .name = "Two", .url = "single", .artworkUrl100 = "only", .rank = 2}));
    EXPECT_EQ(readLegacyChart(R"({"feed":{"entry":)" + second + "}}").size(), 1U); // alone, it is no list
    EXPECT_EQ(readLegacyChart(R"({"feed":{"updated":{"label":"now"}}})").size(), 0U);

    const auto legacyError = [](std::string text) {
        return storeErrorOf([&] { (void)readLegacyChart(text); });
    };
    EXPECT_EQ(legacyError(R"({"feed":{"entry":[)" + first + R"(,{"id":{"attributes":{"im:id":"3"}}}]}})"),
              std::string(parsing) + "Legacy chart decode: $.feed.entry[1].im:name.label: missing");
    for (const auto* bad :
         {"<html>", "{}", R"({"feed":{}})", R"({"feed":{"entry":7}})", R"({"feed":{"entry":["x"]}})"}) {
        EXPECT_THAT(legacyError(bad), StartsWith(std::string(parsing) + "Legacy chart decode: ")) << bad;
        EXPECT_THAT(storeErrorOf([&] { (void)readChartFeed(bad); }), StartsWith(parsing)) << bad;
    }
}

TEST(ProductPages, areReadInEveryForm) {
    const std::string data =
        R"({"aggregateRating":{"ratingValue":4.8,"reviewCount":6193151},"applicationCategory":"Photo &amp; Video",)"
        R"("operatingSystem":"Requires iOS 9.0"})";
    const AppStorePageData whole{"1", {}, 4.8, 6193151, "Photo & Video", "Requires iOS 9.0"};
    const std::pair<std::string, AppStorePageData> pages[] = {
        {"<script id=\"software-application\" type=\"application/ld+json\">" + data + "</script>", whole},
        {"<script type=\"application/ld+json\" id=software-application>\n" + data + "\n</script>", whole},
        {"<script id=\"e1\" name=\"schema:software-application\" type=\"application/ld+json\">" + data +
             "</script>",
         whole},
        {"<script id=\"other\" type=\"application/ld+json\">" + data + "</script>", {"1"}},
        {"<script id=\"software-application\" type=\"application/ld+json\">{broken</script>"
         "<p class=\"subtitle x\"> A &amp; B &#8211; C &#x2013; &amp;#65; &#0;&#1114112; &no; </p>",
         {"1", "A & B – C – &#65; &#0;&#1114112; &no;"}},
        {"<script id=\"software-application\" type=\"application/ld+json\">{\"aggregateRating\":{\"ratingValue\":"
         "\"4.5\",\"reviewCount\":\"12\"},\"operatingSystem\":7}</script>",
         {"1", {}, 4.5, 12}},
        {"<script id=\"software-application\" type=\"application/ld+json\">{\"aggregateRating\":{\"ratingValue\":"
         "\"4,5\",\"reviewCount\":1.5}}</script><p class=\"subtitle\"> </p>",
         {"1"}},
        {"<html></html>", {"1"}}};
    for (const auto& [html, expected] : pages)
        EXPECT_EQ(readProductPage(html, "1"), expected) << html;
    EXPECT_EQ(storeErrorOf([] { (void)readProductPage("caf\xe9", "1"); }),
              std::string(parsing) + "HTML response not UTF-8");
}

// An expression that goes back and tries again needs hours for these, or a stack without end.
TEST(ProductPages, thatAreHostileAreReadInLinearTime) {
    const auto repeated = [](std::string_view piece, std::size_t bytes) {
        std::string text;
        while (text.size() < bytes)
            text += piece;
        return text;
    };
    constexpr std::size_t size = 2U << 20;
    const std::string open = "<script id=\"software-application\" type=\"application/ld+json\">";
    for (const std::string& page :
         {repeated("<script id=software-application type=\"application/ld+json\"", size),
          repeated(open, size), repeated("<script id=software-application id=software-application ", size),
          open + repeated("x", size), repeated("<p class=\"subtitle", size),
          open + repeated("[", size) + "</script>"})
        EXPECT_EQ(readProductPage(page, "1"), (AppStorePageData{"1"}));
}

TEST(StoreTables, nameEveryGenreAndCountry) {
    for (const auto& [genre, name] : RawValues<AppStoreGenre>::values) {
        EXPECT_EQ(genreNamed(name), genre);
        EXPECT_EQ(genreNamed(std::to_string(genreId(genre))), genre);
        EXPECT_EQ(genreNamed(std::string(" ") + std::string(displayName(genre)) + " "), genre);
    }
    EXPECT_EQ(genreId(AppStoreGenre::books), 6018);
    EXPECT_EQ(genreId(AppStoreGenre::graphicsDesign), 6027);
    EXPECT_EQ(displayName(AppStoreGenre::newsstand), "Magazines & Newspapers");
    EXPECT_EQ(genreNamed("6019"), std::nullopt);
    EXPECT_EQ(AppleStorefront::headerValue("US"), "143441-1,29 t:apps3");
    EXPECT_EQ(AppleStorefront::storefrontId("nz"), 143461);
    EXPECT_EQ(AppleStorefront::storefrontId("xx"), std::nullopt);
}

} // namespace
} // namespace quorvel::test
