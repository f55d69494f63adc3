#include "Platform/crypto/Digest.h"
#include "Platform/text/Text.h"
#include "Platform/time/Date.h"
#include "Tests/Sandbox/RawSandbox.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <set>

namespace quorvel::sandbox::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST(SandboxReading, queriesThatTheServiceDoesNotTakeAreRefused) {
    RawSandbox fixture;
    const std::string app = fixture.app("studio.fernhollow.mosswick");
    const std::string versions = "/v1/apps/" + app + "/appStoreVersions";
    struct Case {
        std::string target;
        int status;
        std::string code, source;
    };
    const std::string illegal = "PARAMETER_ERROR.ILLEGAL", invalid = "PARAMETER_ERROR.INVALID";
    const Case cases[] = {
        {"/v1/apps?limit=201", 400, invalid, "limit"},
        {"/v1/apps?limit=0", 400, invalid, "limit"},
        {"/v1/apps?limit=ten", 400, invalid, "limit"},
        {"/v1/apps?filter%5Bcolor%5D=red", 400, illegal, "filter[color]"},
        {"/v1/apps?sort=-price", 400, invalid, "sort"},
        {"/v1/apps?limit=1&limit=2", 400, invalid, "limit"},
        {"/v1/apps?cursor=40", 400, invalid, "cursor"},
        {versions + "?filter%5BappStoreState%5D=READY_FOR_DISTRIBUTION", 400, invalid,
         "filter[appStoreState]"},
        {versions + "?filter%5BappStoreState%5D=PROCESSING_FOR_DISTRIBUTION", 400, invalid,
         "filter[appStoreState]"},
        {versions + "?filter%5BappVersionState%5D=READY_FOR_DISTRIBUTION", 200, "", ""},
        {versions + "?sort=versionString", 400, illegal, "sort"},
        {versions + "?include=weather", 400, invalid, "include"},
        {versions + "?filter%5Bplatform%5D=IOS,MAC_OS", 200, "", ""},
        {"/v1/reviewSubmissions?filter%5Bstate%5D=COMPLETE", 400, "PARAMETER_ERROR.REQUIRED", "filter[app]"},
        {"/v1/apps/" + app + "/customerReviews?filter%5Bterritory%5D=DE", 400, invalid, "filter[territory]"},
        {"/v1/apps/17/appInfos", 404, "NOT_FOUND", ""},
        {"/v1/builds/17", 404, "NOT_FOUND", ""},
        {"/v1/weather", 404, "PATH_ERROR", ""},
        {"/v1/apps/" + app + "/builds/extra", 404, "PATH_ERROR", ""},
    };
    for (const Case& entry : cases) {
        const Reply reply = fixture.get(entry.target);
        EXPECT_EQ(reply.status, entry.status) << entry.target;
        EXPECT_EQ(reply.codes(), entry.code) << entry.target;
        EXPECT_EQ(reply.source(), entry.source) << entry.target;
    }
    EXPECT_EQ(fixture.send("DELETE", "/v1/apps").status, 405);
}

TEST(SandboxReading, pagesCoverAListOnceInOrder) {
    RawSandbox fixture;
    const std::string app = fixture.app("studio.fernhollow.mosswick");
    fixture.server().addReviews(app, 380);
    std::string target = "/v1/apps/" + app + "/customerReviews?sort=-createdDate&include=response&limit=150";
    std::set<std::string> ids;
    std::string previous = "9999";
    std::vector<std::size_t> sizes;
    while (!target.empty()) {
        const Reply page = fixture.get(target);
        ASSERT_EQ(page.status, 200) << target;
        sizes.push_back(page.list().size());
        EXPECT_EQ(*page.body.at("meta", "paging", "total")->integer(), 500);
        for (const JSONValue& review : page.list()) {
            ids.insert(*review.find("id")->text());
            const std::string date = *review.at("attributes", "createdDate")->text();
            EXPECT_LE(date, previous);
            previous = date;
        }
        const JSONValue* next = page.body.at("links", "next");
        target = next ? *next->text() : "";
    }
    EXPECT_EQ(ids.size(), 500U);
    EXPECT_EQ(sizes, (std::vector<std::size_t>{150, 150, 150, 50}));
    const Reply few = fixture.get("/v1/apps/" + app + "/customerReviews");
    EXPECT_LT(few.list().size(), 50U) << "a client that sends no limit has to follow the pages";
}

TEST(SandboxReading, includedResourcesAndLinkageBelongTogether) {
    RawSandbox fixture;
    const std::string app = fixture.app("studio.fernhollow.mosswick");
    const Reply builds = fixture.get(
        fmt::format("/v1/builds?filter%5Bapp%5D={}&filter%5BpreReleaseVersion.version%5D=3.5&"
                    "filter%5BpreReleaseVersion.platform%5D=IOS&sort=-uploadedDate&include=preReleaseVersion",
                    app));
    std::set<std::string> states;
    const auto& included = *builds.body.find("included")->items();
    ASSERT_EQ(included.size(), 1U);
    for (const JSONValue& build : builds.list()) {
        states.insert(*build.at("attributes", "processingState")->text());
        EXPECT_EQ(*build.at("relationships", "preReleaseVersion", "data", "id")->text(),
                  *included[0].find("id")->text());
    }
    EXPECT_EQ(states, (std::set<std::string>{"PROCESSING", "FAILED", "INVALID", "VALID"}));
    EXPECT_EQ(*included[0].at("attributes", "version")->text(), "3.5");

    const Reply sparse = fixture.get("/v1/apps?fields%5Bapps%5D=name");
    EXPECT_EQ(sparse.list()[0].find("attributes")->members()->size(), 1U);
    EXPECT_EQ(sparse.list()[0].find("relationships"), nullptr);
}

TEST(SandboxReading, filtersSelectLikeTheService) {
    RawSandbox fixture;
    const auto count = [&](const std::string& target) { return fixture.get(target).list().size(); };
    // The service also answers bundle ids that merely begin with the wanted one.
    EXPECT_EQ(count("/v1/apps?filter%5BbundleId%5D=studio.fernhollow.mosswick"), 2U);
    EXPECT_EQ(count("/v1/apps?filter%5Bsku%5D=TIDES01"), 1U);
    EXPECT_EQ(count("/v1/apps?filter%5BappStoreVersions.appStoreState%5D=READY_FOR_SALE"), 2U);
    const std::string app = fixture.app("studio.fernhollow.mosswick");
    const std::string versions = "/v1/apps/" + app + "/appStoreVersions?limit=1&filter%5Bplatform%5D=IOS";
    EXPECT_EQ(*fixture.get(versions).list()[0].at("attributes", "versionString")->text(), "3.5")
        << "the newest comes first";
    const std::string reviews = "/v1/apps/" + app + "/customerReviews?limit=200";
    EXPECT_EQ(count(reviews), 120U);
    EXPECT_EQ(count(reviews + "&exists%5BpublishedResponse%5D=true"), 24U);
    const std::size_t low = count(reviews + "&filter%5Brating%5D=1,2");
    EXPECT_GT(low, 0U);
    EXPECT_EQ(low, count(reviews + "&filter%5Brating%5D=1") + count(reviews + "&filter%5Brating%5D=2"));
    EXPECT_GT(count(reviews + "&filter%5Bterritory%5D=JPN,DEU"), 10U);
}

TEST(SandboxReading, whatIsAbsentIsNullDataOrNoAttribute) {
    RawSandbox fixture;
    const std::string app = fixture.app("studio.fernhollow.mosswick.sketchbook");
    const std::string version = fixture.version(app, "IOS", "1.0");
    for (const char* single : {"appStoreReviewDetail", "appStoreVersionPhasedRelease"}) {
        const Reply reply = fixture.get("/v1/appStoreVersions/" + version + "/" + single);
        EXPECT_EQ(reply.status, 200);
        ASSERT_NE(reply.body.find("data"), nullptr);
        EXPECT_TRUE(reply.body.find("data")->isNull());
    }
    const std::string versions = "/v1/apps/" + app + "/appStoreVersions";
    EXPECT_EQ(fixture.get(versions).list()[0].at("attributes", "usesIdfa"), nullptr);
    EXPECT_EQ(fixture.post("/__sandbox/nulls", JSONValue::object({{"sent", true}})).status, 200);
    const Reply withNulls = fixture.get(versions);
    ASSERT_NE(withNulls.list()[0].at("attributes", "usesIdfa"), nullptr);
    EXPECT_TRUE(withNulls.list()[0].at("attributes", "usesIdfa")->isNull());
}

TEST(SandboxReading, theDemoAccountHoldsWhatAppleWouldAccept) {
    RawSandbox fixture;
    const JSONValue state = fixture.server().state();
    const std::pair<const char*, std::size_t> limits[] = {
        {"name", 30}, {"subtitle", 30}, {"keywords", 100}, {"promotionalText", 170}, {"description", 4000}};
    for (const char* type : {"appInfoLocalizations", "appStoreVersionLocalizations"})
        for (const auto& [id, resource] : *state.find(type)->members())
            for (const auto& [name, limit] : limits)
                if (const JSONValue* value = resource.at("attributes", name); value && value->text()) {
                    EXPECT_LE(graphemeCount(*value->text()), limit) << name << ": " << *value->text();
                }
    const std::string app = fixture.app("studio.fernhollow.mosswick");
    for (const char* platform : {"IOS", "MAC_OS"})
        for (const char* number : {"3.4", "3.5"}) {
            const std::string version = fixture.version(app, platform, number);
            const auto texts =
                fixture.get("/v1/appStoreVersions/" + version + "/appStoreVersionLocalizations?limit=200");
            EXPECT_EQ(texts.list().size(), 40U);
        }
}

TEST(SandboxReading, salesReportsAreTablesOfFinishedDays) {
    RawSandbox fixture;
    const auto fetch = [&](const std::string& changes, std::string accept = "application/a-gzip") {
        std::string target =
            "/v1/salesReports?filter%5BreportType%5D=SALES&filter%5BreportSubType%5D=SUMMARY&"
            "filter%5Bfrequency%5D=DAILY" +
            changes;
        return fixture.send("GET", target, "", {{"Accept", std::move(accept)}});
    };
    const std::string vendor = "&filter%5BvendorNumber%5D=" + fixture.server().access().vendorNumber;
    const auto day = [](int ago) {
        const double seconds = secondsSince1970(systemClock()()) - ago * 86'400.0;
        return "&filter%5BreportDate%5D=" + formatISO8601(dateFromSecondsSince1970(seconds)).substr(0, 10);
    };
    const Reply report = fetch(vendor + day(2) + "&filter%5Bversion%5D=1_0");
    EXPECT_EQ(report.status, 200);
    EXPECT_EQ(report.response.header("Content-Type"), "application/a-gzip");
    EXPECT_THAT(report.response.body, StartsWith("\x1f\x8b\x08"));
    EXPECT_THAT(report.response.body, HasSubstr("Provider\tProvider Country\tSKU\t"));
    EXPECT_EQ(fetch(vendor + day(2)).response.body, report.response.body) << "the figures of a day stay";
    EXPECT_EQ(fetch(vendor + day(60)).status, 200);
    EXPECT_THAT(fetch(vendor + day(61)).detail(), HasSubstr("no sales for the date"));
    EXPECT_THAT(fetch(vendor + day(0)).detail(), HasSubstr("not available yet"));
    fixture.server().advance(86'400);
    EXPECT_EQ(fetch(vendor + day(0)).status, 200);
    EXPECT_THAT(fetch(vendor + "&filter%5Bversion%5D=1_1").detail(),
                HasSubstr("latest version for this report is 1_0"));
    EXPECT_EQ(fetch("&filter%5BvendorNumber%5D=1").status, 500);
    EXPECT_EQ(fetch("").source(), "filter[vendorNumber]");
    EXPECT_EQ(fetch(vendor, "application/json").status, 406);
}

TEST(SandboxReading, analyticsReportsAreWalkedDownToTheirFiles) {
    RawSandbox fixture;
    const std::string tides = fixture.app("studio.fernhollow.tides");
    const Reply made =
        fixture.create("analyticsReportRequests", {{"accessType", "ONGOING"}}, {{"app", tides}});
    ASSERT_EQ(made.status, 201);
    EXPECT_EQ(fixture.create("analyticsReportRequests", {{"accessType", "ONGOING"}}, {{"app", tides}}).status,
              409);
    const std::string reports = "/v1/analyticsReportRequests/" + made.id() + "/reports";
    EXPECT_TRUE(fixture.get(reports).list().empty()) << "reports take a day";
    fixture.server().advance(86'401);
    const Reply found = fixture.get(reports + "?filter%5Bcategory%5D=COMMERCE");
    ASSERT_EQ(found.list().size(), 1U);
    const Reply instances = fixture.get("/v1/analyticsReports/" + *found.list()[0].find("id")->text() +
                                        "/instances?filter%5Bgranularity%5D=DAILY");
    ASSERT_EQ(instances.list().size(), 7U);
    const Reply segments =
        fixture.get("/v1/analyticsReportInstances/" + *instances.list()[0].find("id")->text() + "/segments");
    const JSONValue& attributes = *segments.list().at(0).find("attributes");
    fixture.useToken("");
    const Reply file = fixture.get(*attributes.find("url")->text());
    EXPECT_EQ(file.status, 200);
    EXPECT_EQ(md5Hex(file.response.body), *attributes.find("checksum")->text());
    EXPECT_EQ(static_cast<std::int64_t>(file.response.body.size()),
              *attributes.find("sizeInBytes")->integer());
}

} // namespace
} // namespace quorvel::sandbox::test
