#include "Core/asc/ASCClientProtocol.h"

#include <gtest/gtest.h>

using namespace quorvel;

namespace {

// Answers every request with one body.
class CannedClient : public ASCClientProtocol {
  public:
    explicit CannedClient(std::string body) : body_(std::move(body)) {}
    std::string exchange(const ASCRequest&) const override { return body_; }

  private:
    std::string body_;
};

} // namespace

TEST(Records, listWithoutLinksOrMetaDecodesWithBothEmpty) {
    const auto list = decodeJSON<ASCResponse<ASCList<ASCAppAttributes>>>(
        R"({"data":[{"id":"1","type":"apps","attributes":{"bundleId":"b","new":{"x":[1]},"name":null}}]})");
    EXPECT_EQ(list.links, std::nullopt);
    EXPECT_EQ(list.meta, std::nullopt);
    EXPECT_EQ(list.data[0].attributes, (ASCAppAttributes{.bundleId = "b"}));
}

TEST(Records, readSecondSpellings) {
    const CannedClient events(R"({"data":[{"id":"1","type":"appEvents","attributes":{"deepLink":"https://a/b",
        "territorySchedules":[{"territories":["USA"],"publishStart":"p","eventStart":"s","eventEnd":"e"}]}}]})");
    const auto event = events.listAppEvents("1").at(0).attributes;
    EXPECT_EQ(event.deepLinkUrl, "https://a/b");
    EXPECT_EQ(event.publishStart, "p");
    EXPECT_EQ(event.eventStart, "s");
    EXPECT_EQ(event.eventEnd, "e");

    const auto purchase = decodeJSON<InAppPurchaseAttributes>(R"({"name":"Pro","productId":"pro"})");
    EXPECT_EQ(purchase.referenceName, "Pro");
    const auto version = decodeJSON<AppStoreVersionAttributes>(
        R"({"appVersionState":"READY_FOR_DISTRIBUTION","appStoreState":"READY_FOR_SALE"})");
    EXPECT_EQ(version.appStoreState, "READY_FOR_SALE");
    EXPECT_EQ(decodeJSON<AppInfoAttributes>(R"({"appStoreState":null,"state":"ACCEPTED"})").appStoreState,
              "ACCEPTED");
}

TEST(Records, aBuildFindsItsMarketingVersionAndPlatformAmongTheIncluded) {
    const CannedClient client(R"({"data":[
        {"id":"1","type":"builds","attributes":{"version":"12"},
         "relationships":{"preReleaseVersion":{"data":{"type":"preReleaseVersions","id":"p"}}}},
        {"id":"2","type":"builds","attributes":{},"relationships":{"preReleaseVersion":{"links":{}}}},
        {"id":"3","type":"builds","attributes":{},"relationships":{}},
        {"id":"4","type":"builds","attributes":{}}],
        "included":[{"id":"p","type":"preReleaseVersions","attributes":{"version":"2.4.3","platform":"TV_OS"}}]})");
    const auto builds = client.listBuilds("a", "2.4.3");
    ASSERT_EQ(builds.size(), 4u);
    EXPECT_EQ(builds[0].marketingVersion, "2.4.3");
    EXPECT_EQ(builds[0].platform, "TV_OS");
    for (int i = 1; i < 4; ++i) {
        EXPECT_EQ(builds[i].marketingVersion, std::nullopt);
        EXPECT_EQ(builds[i].platform, std::nullopt);
    }
}

TEST(Records, aReviewTellsWhetherItHasAResponse) {
    const CannedClient client(R"({"data":[
        {"id":"1","type":"customerReviews","attributes":{"rating":5},"relationships":{"response":{"data":{"id":"r"}}}},
        {"id":"2","type":"customerReviews","attributes":{"rating":1},"relationships":{"response":{"data":null}}},
        {"id":"3","type":"customerReviews","attributes":{}}]})");
    const auto reviews = client.listCustomerReviews("a", ASCClientProtocol::Responses::include, "USA", {3});
    EXPECT_TRUE(reviews[0].hasResponse);
    EXPECT_FALSE(reviews[1].hasResponse || reviews[2].hasResponse);
}

TEST(Records, statesMapByTheirRawValuesOnly) {
    EXPECT_EQ(fromRawValue<ASCPlatform>("VISION_OS"), ASCPlatform::visionOS);
    EXPECT_EQ(fromRawValue<AppStoreVersionState>("PROCESSING_FOR_DISTRIBUTION"),
              AppStoreVersionState::processingForDistribution);
    EXPECT_EQ(fromRawValue<BuildProcessingState>("valid"), std::nullopt);
    EXPECT_EQ(std::size(RawValues<AppStoreVersionState>::values), 20u);
    EXPECT_EQ(rawValue(ReviewSubmissionState::unresolvedIssues), "UNRESOLVED_ISSUES");
}
