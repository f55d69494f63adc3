#include "Platform/crypto/Digest.h"
#include "Tests/Sandbox/RawSandbox.h"

#include <gmock/gmock.h>

namespace quorvel::sandbox::test {
namespace {

struct PreviewAccount : RawSandbox {
    PreviewAccount() {
        const std::string next = version(app("studio.fernhollow.mosswick"), "IOS", "3.5");
        language = localization(next, "it");
        set = create("appPreviewSets", {{"previewType", "IPHONE_67"}},
                     {{"appStoreVersionLocalization", language}})
                  .id();
    }
    [[nodiscard]] Reply reserve(std::int64_t size, std::string_view frame = "00:00:07:15") {
        return create("appPreviews",
                      {{"fileName", "one.mp4"},
                       {"fileSize", size},
                       {"mimeType", "video/mp4"},
                       {"previewFrameTimeCode", frame}},
                      {{"appPreviewSet", set}});
    }
    // The answers to the parts.
    [[nodiscard]] std::vector<int> sendParts(const Reply& reserved, const std::string& bytes,
                                             const std::string& type) {
        std::vector<int> statuses;
        for (const JSONValue& part : *reserved.body.at("data", "attributes", "uploadOperations")->items())
            statuses.push_back(send("PUT", *part.find("url")->text(),
                                    bytes.substr(static_cast<std::size_t>(*part.find("offset")->integer()),
                                                 static_cast<std::size_t>(*part.find("length")->integer())),
                                    {{"Content-Type", type}})
                                   .status);
        return statuses;
    }
    [[nodiscard]] std::string stateOf(const std::string& id) {
        const JSONValue held = server().state();
        return *held.at("appPreviews", id, "attributes", "videoDeliveryState", "state")->text();
    }
    std::string language, set;
};

TEST(SandboxPreviews, goFromReservationToProcessedWithTheFrameThatWasChosen) {
    PreviewAccount account;
    const std::string bytes(200'001, 'v');
    const Reply reserved = account.reserve(static_cast<std::int64_t>(bytes.size()));
    ASSERT_EQ(reserved.status, 201);
    EXPECT_EQ(account.stateOf(reserved.id()), "AWAITING_UPLOAD");
    EXPECT_THAT(account.sendParts(reserved, bytes, "image/png"), testing::Each(400)) << "of another type";
    EXPECT_THAT(account.sendParts(reserved, bytes, "video/mp4"), testing::Each(200));
    const auto commit = [&](std::string_view checksum) {
        return account
            .update("appPreviews", reserved.id(), {{"uploaded", true}, {"sourceFileChecksum", checksum}})
            .status;
    };
    EXPECT_EQ(commit(md5Hex(bytes)), 200);
    EXPECT_EQ(commit(md5Hex(bytes)), 409) << "it was committed";
    for (const char* state : {"UPLOAD_COMPLETE", "PROCESSING", "COMPLETE"}) {
        EXPECT_EQ(account.stateOf(reserved.id()), state);
        account.server().advance(1);
    }
    const auto choose = [&](std::string_view code) {
        return account.update("appPreviews", reserved.id(), {{"previewFrameTimeCode", code}}).status;
    };
    EXPECT_EQ(choose("7 seconds"), 409);
    EXPECT_EQ(choose("00:00:09:00"), 200);
    const JSONValue held = account.server().state();
    EXPECT_EQ(*held.at("appPreviews", reserved.id(), "attributes", "previewFrameTimeCode")->text(),
              "00:00:09:00");
}

TEST(SandboxPreviews, keepTheLimitsOfSetsAndFiles) {
    PreviewAccount account;
    EXPECT_EQ(account
                  .create("appPreviewSets", {{"previewType", "IPHONE_67"}},
                          {{"appStoreVersionLocalization", account.language}})
                  .status,
              409)
        << "there is one";
    EXPECT_EQ(account
                  .create("appPreviewSets", {{"previewType", "APP_IPHONE_67"}},
                          {{"appStoreVersionLocalization", account.language}})
                  .status,
              409)
        << "a type of screenshots";
    EXPECT_EQ(account.reserve(500'000'001).status, 409);
    EXPECT_EQ(account.reserve(10, "later").status, 409);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(account.reserve(10).status, 201);
    const Reply fourth = account.reserve(10);
    EXPECT_EQ(fourth.status, 409);
    EXPECT_THAT(fourth.detail(), testing::HasSubstr("at most 3 previews"));
}

} // namespace
} // namespace quorvel::sandbox::test
