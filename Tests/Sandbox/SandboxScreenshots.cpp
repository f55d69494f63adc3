#include "Platform/crypto/Digest.h"
#include "Platform/task/StopToken.h"
#include "Sandbox/rules/Uploads.h"
#include "Tests/Sandbox/RawSandbox.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace quorvel::sandbox::test {
namespace {

using testing::HasSubstr;

/// A fresh set of the demo account.
std::string makeSet(RawSandbox& fixture, std::string_view displayType = "APP_IPHONE_55") {
    const std::string version = fixture.version(fixture.app("studio.fernhollow.mosswick"), "IOS", "3.5");
    return fixture
        .create("appScreenshotSets", {{"screenshotDisplayType", displayType}},
                {{"appStoreVersionLocalization", fixture.localization(version, "it")}})
        .id();
}

std::string someBytes(std::size_t count) {
    std::string bytes(count, '\0');
    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<char>((i * 2'654'435'761U) >> 13);
    return bytes;
}

Reply reserve(RawSandbox& fixture, const std::string& set, std::int64_t size) {
    return fixture.create("appScreenshots", {{"fileName", "one.png"}, {"fileSize", size}},
                          {{"appScreenshotSet", set}});
}

const JSONValue::Array& partsOf(const Reply& reserved) {
    return *reserved.body.at("data", "attributes", "uploadOperations")->items();
}

Reply sendPart(RawSandbox& fixture, const JSONValue& part, const std::string& bytes) {
    return fixture.send("PUT", *part.find("url")->text(),
                        bytes.substr(static_cast<std::size_t>(*part.find("offset")->integer()),
                                     static_cast<std::size_t>(*part.find("length")->integer())),
                        {{"Content-Type", "image/png"}});
}

std::string stateOf(const Reply& reply) {
    return *reply.body.at("data", "attributes", "assetDeliveryState", "state")->text();
}

Reply commit(RawSandbox& fixture, const Reply& reserved, const std::string& checksum) {
    return fixture.update("appScreenshots", reserved.id(),
                          {{"uploaded", true}, {"sourceFileChecksum", checksum}});
}

TEST(SandboxScreenshots, partsCoverAFileWithoutGaps) {
    for (const std::int64_t size : {1, 2, 3, 1000, 65'521, 65'522, 700'001, 50'000'000}) {
        std::int64_t offset = 0;
        for (const UploadPart& part : uploadParts(size)) {
            EXPECT_EQ(part.offset, offset) << size;
            EXPECT_GT(part.length, 0) << size;
            offset += part.length;
        }
        EXPECT_EQ(offset, size);
        EXPECT_EQ(uploadParts(size).size() > 1, size > 1) << size;
    }
}

TEST(SandboxScreenshots, partsMayArriveInAnyOrderAndAtOnce) {
    RawSandbox fixture;
    const std::string set = makeSet(fixture);
    const std::string bytes = someBytes(600'001);
    const Reply reserved = reserve(fixture, set, static_cast<std::int64_t>(bytes.size()));
    EXPECT_EQ(stateOf(reserved), "AWAITING_UPLOAD");
    JSONValue::Array parts = partsOf(reserved);
    ASSERT_GT(parts.size(), 2U);
    std::reverse(parts.begin(), parts.end());
    for (const JSONValue& part : parts)
        EXPECT_EQ(sendPart(fixture, part, bytes).status, 200);
    EXPECT_EQ(stateOf(commit(fixture, reserved, md5Hex(bytes))), "UPLOAD_COMPLETE");

    const Reply second = reserve(fixture, set, static_cast<std::int64_t>(bytes.size()));
    {
        std::vector<std::jthread> threads;
        for (const JSONValue& part : partsOf(second))
            threads.emplace_back([&] { EXPECT_EQ(sendPart(fixture, part, bytes).status, 200); });
    }
    EXPECT_EQ(stateOf(commit(fixture, second, md5Hex(bytes))), "UPLOAD_COMPLETE");
    EXPECT_TRUE(std::filesystem::is_empty(fixture.folder() / "state" / "uploads"));
}

TEST(SandboxScreenshots, aPartThatIsSentAgainIsTakenOnce) {
    RawSandbox fixture;
    const std::string bytes = someBytes(100'000);
    const Reply reserved = reserve(fixture, makeSet(fixture), 100'000);
    for (const JSONValue& part : partsOf(reserved))
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(sendPart(fixture, part, bytes).status, 200);
    EXPECT_EQ(stateOf(commit(fixture, reserved, md5Hex(bytes))), "UPLOAD_COMPLETE");
}

TEST(SandboxScreenshots, partsMustBeWhatWasAskedFor) {
    RawSandbox fixture;
    const Reply reserved = reserve(fixture, makeSet(fixture), 1000);
    const JSONValue& part = partsOf(reserved)[0];
    const std::string url = *part.find("url")->text();
    const std::string bytes = someBytes(static_cast<std::size_t>(*part.find("length")->integer()));
    EXPECT_EQ(fixture.send("PUT", url, bytes).status, 400) << "without the header";
    EXPECT_EQ(fixture.send("PUT", url, bytes + "x", {{"Content-Type", "image/png"}}).status, 400);
    EXPECT_EQ(fixture.send("PUT", url, bytes, {{"Content-Type", "image/png"}, {"Authorization", "Bearer x"}})
                  .status,
              400);
    EXPECT_EQ(fixture.send("PUT", url + "9", bytes, {{"Content-Type", "image/png"}}).status, 404);
    EXPECT_EQ(fixture.send("POST", url, bytes, {{"Content-Type", "image/png"}}).status, 405);
    EXPECT_EQ(fixture.send("PUT", url, bytes, {{"Content-Type", "image/png"}}).status, 200);
    const Reply early = commit(fixture, reserved, md5Hex(someBytes(1000)));
    EXPECT_EQ(stateOf(early), "FAILED") << "a part is missing";
    EXPECT_EQ(commit(fixture, reserved, "x").status, 409) << "it was committed";
}

TEST(SandboxScreenshots, aWrongChecksumFailsTheAsset) {
    RawSandbox fixture;
    const std::string bytes = someBytes(1000);
    const Reply reserved = reserve(fixture, makeSet(fixture), 1000);
    for (const JSONValue& part : partsOf(reserved))
        (void)sendPart(fixture, part, bytes);
    const Reply committed = commit(fixture, reserved, md5Hex("another file"));
    EXPECT_EQ(committed.status, 200);
    EXPECT_EQ(stateOf(committed), "FAILED");
    EXPECT_EQ(committed.body.at("data", "attributes", "assetDeliveryState", "errors")->items()->size(), 1U);
}

TEST(SandboxScreenshots, processingGivesAnUploadItsPicture) {
    RawSandbox fixture;
    const std::string set = makeSet(fixture);
    ASSERT_EQ(stateOf(fixture.upload(set, "one.png", someBytes(3000))), "UPLOAD_COMPLETE");
    fixture.server().advance(2);
    const Reply list = fixture.get("/v1/appScreenshotSets/" + set + "/appScreenshots");
    const JSONValue& attributes = *list.list()[0].find("attributes");
    EXPECT_EQ(*attributes.at("assetDeliveryState", "state")->text(), "COMPLETE");
    std::string url = *attributes.at("imageAsset", "templateUrl")->text();
    ASSERT_THAT(url, HasSubstr("/{w}x{h}bb.{f}"));
    url.replace(url.find("{w}x{h}bb.{f}"), 13, "200x400bb.png");
    fixture.useToken("");
    const Reply picture = fixture.get(url);
    EXPECT_EQ(picture.status, 200);
    EXPECT_THAT(picture.response.body, HasSubstr("PNG"));
}

TEST(SandboxScreenshots, processingTakesAndMakesWhatTheTestSays) {
    RawSandbox fixture;
    const std::string set = makeSet(fixture);
    const auto shownState = [&] {
        const Reply list = fixture.get("/v1/appScreenshotSets/" + set + "/appScreenshots");
        return list.list().empty()
                   ? std::string("nothing")
                   : *list.list().back().at("attributes", "assetDeliveryState", "state")->text();
    };
    const JSONValue pace =
        JSONValue::object({{"screenshots", 50}, {"screenshotsFail", true}, {"visibility", 10}});
    ASSERT_EQ(fixture.post("/__sandbox/pace", pace).status, 200);
    ASSERT_EQ(fixture.upload(set, "one.png", someBytes(100)).status, 200);
    EXPECT_EQ(shownState(), "nothing");
    fixture.server().advance(10.5);
    EXPECT_EQ(shownState(), "UPLOAD_COMPLETE");
    fixture.server().advance(40);
    EXPECT_EQ(shownState(), "FAILED");
}

TEST(SandboxScreenshots, aSetHoldsTenInTheOrderThatIsNamed) {
    RawSandbox fixture;
    const std::string set = makeSet(fixture);
    std::vector<std::string> ids;
    for (int i = 0; i < 10; ++i)
        ids.push_back(reserve(fixture, set, 100 + i).id());
    EXPECT_EQ(reserve(fixture, set, 100).status, 409);
    std::reverse(ids.begin(), ids.end());
    const auto reorder = [&](const std::vector<std::string>& order) {
        JSONValue::Array references;
        for (const std::string& id : order)
            references.push_back(reference("appScreenshots", id));
        return fixture
            .patch("/v1/appScreenshotSets/" + set + "/relationships/appScreenshots",
                   JSONValue::object({{"data", std::move(references)}}))
            .status;
    };
    EXPECT_EQ(reorder({ids.begin(), ids.end() - 1}), 409) << "one is not named";
    std::vector<std::string> twice = ids;
    twice.back() = twice.front();
    EXPECT_EQ(reorder(twice), 409);
    EXPECT_EQ(reorder(ids), 204);
    EXPECT_EQ(fixture.send("DELETE", "/v1/appScreenshots/" + ids[3]).status, 204);
    ids.erase(ids.begin() + 3);
    fixture.restart();
    std::vector<std::string> listed;
    for (const JSONValue& entry : fixture.get("/v1/appScreenshotSets/" + set + "/appScreenshots").list())
        listed.push_back(*entry.find("id")->text());
    EXPECT_EQ(listed, ids);
}

TEST(SandboxScreenshots, setsAreOfKnownTypesAndUnlockedVersions) {
    RawSandbox fixture;
    const std::string version = fixture.version(fixture.app("studio.fernhollow.mosswick"), "IOS", "3.5");
    const std::string localization = fixture.localization(version, "en-US");
    const auto make = [&](std::string_view displayType) {
        return fixture.create("appScreenshotSets", {{"screenshotDisplayType", displayType}},
                              {{"appStoreVersionLocalization", localization}});
    };
    for (const char* unknown :
         {"APP_IPAD_PRO_11", "APP_IPAD_129", "IMESSAGE_APP_IPHONE", "IMESSAGE_APP_IPAD"})
        EXPECT_EQ(make(unknown).codes(), "ENTITY_ERROR.ATTRIBUTE.INVALID") << unknown;
    EXPECT_EQ(make("APP_IPHONE_67").codes(), "ENTITY_ERROR.ATTRIBUTE.INVALID.DUPLICATE");
    const std::string set = make("APP_IPHONE_55").id();
    const Reply reserved = reserve(fixture, set, 10);
    EXPECT_EQ(reserve(fixture, set, 0).status, 409);
    fixture.server().setVersionState(version, "WAITING_FOR_REVIEW");
    EXPECT_EQ(make("APP_IPHONE_47").status, 409);
    EXPECT_EQ(reserve(fixture, set, 10).status, 409);
    EXPECT_EQ(fixture.send("DELETE", "/v1/appScreenshots/" + reserved.id()).status, 409);
}

} // namespace
} // namespace quorvel::sandbox::test
