#include "Core/metadata/ContextsStore.h"
#include "Core/metadata/MetadataPuller.h"
#include "Platform/files/Files.h"
#include "Tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

using namespace quorvel;
using Class = AppStoreVersionStateClass;

namespace {

ASCResource<AppStoreVersionAttributes> version(std::string id, std::string platform, std::string number,
                                               std::optional<std::string> state,
                                               std::optional<std::string> created = {}) {
    return {std::move(id),
            "appStoreVersions",
            {std::move(platform), std::move(number), std::move(state), {}, std::move(created)}};
}

std::vector<std::string> idsOf(const std::vector<PlatformContext>& contexts) {
    std::vector<std::string> ids;
    for (const auto& context : contexts)
        ids.push_back(context.id() + "=" + context.versionId);
    return ids;
}

} // namespace

TEST(PlatformContext, takesPushesInFiveStatesOnly) {
    struct Case {
        std::string_view state;
        Class stateClass;
        bool isEditable;
    };
    const std::vector<Case> cases = {
        {"PREPARE_FOR_SUBMISSION", Class::editable, true},
        {"DEVELOPER_REJECTED", Class::editable, true},
        {"REJECTED", Class::editable, true},
        {"METADATA_REJECTED", Class::editable, true},
        {"INVALID_BINARY", Class::editable, true},
        {"READY_FOR_REVIEW", Class::editable, false},
        {"WAITING_FOR_REVIEW", Class::editable, false},
        {"IN_REVIEW", Class::editable, false},
        {"ACCEPTED", Class::editable, false},
        {"PENDING_DEVELOPER_RELEASE", Class::editable, false},
        {"SOMETHING_NEW", Class::editable, false},
        {"", Class::editable, false},
        {"READY_FOR_SALE", Class::live, false},
        {"READY_FOR_DISTRIBUTION", Class::live, false},
        {"PROCESSING_FOR_DISTRIBUTION", Class::live, false},
        {"REMOVED_FROM_SALE", Class::live, false},
        {"DEVELOPER_REMOVED_FROM_SALE", Class::live, false},
        {"REPLACED_WITH_NEW_VERSION", Class::live, false},
        {"PREORDER_READY_FOR_SALE", Class::live, false},
        {"NOT_APPLICABLE", Class::live, false},
    };
    for (const auto& [state, stateClass, isEditable] : cases) {
        EXPECT_EQ(stateClassOf(state), stateClass) << state;
        EXPECT_EQ(isEditableState(state), isEditable) << state;
    }
    EXPECT_FALSE((PlatformContext{ASCPlatform::iOS, Class::live, "1", "REJECTED", "v"}.takesPushes()));
}

TEST(PlatformContext, hasOneVersionPerPlatformAndSlot) {
    const std::vector<ASCResource<AppStoreVersionAttributes>> versions = {
        version("replaced", "IOS", "9.0", "REPLACED_WITH_NEW_VERSION", "2026-05-01T00:00:00Z"),
        version("removed", "IOS", "8.0", "REMOVED_FROM_SALE", "2026-04-01T00:00:00Z"),
        version("sale", "IOS", "2.9", "READY_FOR_SALE", "2026-01-01T00:00:00-08:00"),
        version("old", "IOS", "2.8", "READY_FOR_SALE", "2025-01-01T00:00:00Z"),
        version("next", "IOS", "2.10", "IN_REVIEW"),
        version("mac9", "MAC_OS", "1.9", "PREPARE_FOR_SUBMISSION"),
        version("mac10", "MAC_OS", "1.10", "PREPARE_FOR_SUBMISSION"),
        version("vision", "VISION_OS", "1", std::nullopt),
        version("foreign", "WATCH_OS", "1", "READY_FOR_SALE"),
    };
    const auto contexts = contextsOf(versions);
    EXPECT_EQ(idsOf(contexts), (std::vector<std::string>{"ios/next=next", "ios/live=sale", "macos/next=mac10",
                                                         "visionos/next=vision"}));
    EXPECT_EQ(chooseContext(contexts, std::nullopt)->id(), "macos/next"); // the first that takes pushes
    EXPECT_EQ(chooseContext(contexts, "ios/live")->id(), "ios/live");
    EXPECT_EQ(chooseContext(contexts, "tvos/next")->id(), "macos/next");
    EXPECT_EQ(chooseContext({}, "ios/live"), std::nullopt);
}

TEST(PlatformContext, isOfAFirstVersionUntilOneOfItsPlatformWasOnSale) {
    const auto contexts = contextsOf({version("1", "IOS", "1.0", "REMOVED_FROM_SALE"),
                                      version("2", "IOS", "1.1", "PREPARE_FOR_SUBMISSION"),
                                      version("3", "TV_OS", "1.0", "REJECTED")});
    EXPECT_EQ(releaseOf({ASCPlatform::iOS, Class::editable}, contexts), Release::update);
    EXPECT_EQ(releaseOf({ASCPlatform::tvOS, Class::editable}, contexts), Release::first);
    EXPECT_EQ(releaseOf({ASCPlatform::macOS, Class::editable}, contexts), Release::update) << "not known";
}

TEST(PlatformContext, isEncodedInOrderAndNamedByItsFolder) {
    const PlatformContext context{ASCPlatform::visionOS, Class::live, "2.4.3", "READY_FOR_SALE", "17"};
    const std::string json = R"({"platform":"VISION_OS","stateClass":"live","versionString":"2.4.3",)"
                             R"("appStoreState":"READY_FOR_SALE","versionId":"17"})";
    EXPECT_EQ(encodeJSON(context), json);
    EXPECT_EQ(decodeJSON<PlatformContext>(json), context);
    EXPECT_EQ(parseContextID(context.id()), context.contextID());
    for (const std::string_view bad : {"", "ios", "ios/", "ios/editable", "IOS/next", "ios/next/", "/next"})
        EXPECT_EQ(parseContextID(bad), std::nullopt) << bad;

    const MetadataFolder app{"/tree"};
    EXPECT_EQ(app.contextFolder(context.contextID()).rootURL, "/tree/visionos/live");
    EXPECT_EQ(app.platformFolder(ASCPlatform::iOS).rootURL, "/tree");
    EXPECT_EQ(app.platformFolder(ASCPlatform::macOS).rootURL, "/tree/macos");
    EXPECT_EQ(defaultAppFolder(Home{"/home/me"}, "my-app").rootURL, "/home/me/Documents/Brevant/my-app");
    EXPECT_THROW((void)defaultAppFolder(Home{"/home/me"}, "../etc"), MetadataError);
}

TEST(PlatformContext, findsTheAppInfoOfItsSlot) {
    const auto info = [](std::string id, std::optional<std::string> state) {
        return ASCResource<AppInfoAttributes>{std::move(id), "appInfos", {std::move(state), {}}};
    };
    struct Case {
        ASCList<AppInfoAttributes> infos;
        std::string next, live;
    };
    const std::vector<Case> cases = {
        {{info("a", "READY_FOR_SALE"), info("b", "PREPARE_FOR_SUBMISSION")}, "b", "a"},
        {{info("b", "PREPARE_FOR_SUBMISSION"), info("a", "READY_FOR_DISTRIBUTION")}, "b", "a"},
        {{info("a", "READY_FOR_SALE"), info("b", "WAITING_FOR_REVIEW")}, "b", "a"},
        {{info("b", "IN_REVIEW"), info("c", "REJECTED"), info("a", "READY_FOR_SALE")}, "c", "a"},
        {{info("r", "REPLACED_WITH_NEW_INFO"), info("a", "READY_FOR_SALE")}, "a", "a"},
        {{info("a", "READY_FOR_SALE")}, "a", "a"},
        {{info("a", std::nullopt)}, "a", "a"},
    };
    for (const Case& one : cases) {
        EXPECT_EQ(chooseAppInfo(one.infos, Class::editable)->id, one.next) << encodeJSON(one.infos);
        EXPECT_EQ(chooseAppInfo(one.infos, Class::live)->id, one.live) << encodeJSON(one.infos);
    }
    EXPECT_EQ(chooseAppInfo(ASCList<AppInfoAttributes>(), Class::live), std::nullopt);
}

TEST(ContextsStore, remembersContextsAndForgivesADamagedFile) {
    const test::TemporaryFolder folder;
    const MetadataFolder app{folder / "app"};
    const ContextsStore store(app, [] { return dateFromSecondsSince1970(1772368200); });
    EXPECT_EQ(store.load(), std::nullopt);
    const std::vector<PlatformContext> contexts = {
        {ASCPlatform::iOS, Class::editable, "2.4.3", "PREPARE_FOR_SUBMISSION", "17"}};
    store.save(contexts, "ios/next");
    EXPECT_EQ(store.load(), (PersistedContexts{dateFromSecondsSince1970(1772368200), contexts, "ios/next"}));
    EXPECT_EQ(*readFile(app.contextsFile()), R"({
  "contexts": [
    {
      "appStoreState": "PREPARE_FOR_SUBMISSION",
      "platform": "IOS",
      "stateClass": "editable",
      "versionId": "17",
      "versionString": "2.4.3"
    }
  ],
  "lastUpdated": "2026-03-01T12:30:00Z",
  "selectedContextId": "ios/next"
})");
    store.save(contexts, std::nullopt);
    EXPECT_EQ(store.load()->selectedContextId, std::nullopt);
    for (const std::string_view damaged : {"", "{", "[]", R"({"contexts":[]})", "\xFF"}) {
        writeFileAtomically(app.contextsFile(), damaged);
        EXPECT_EQ(store.load(), std::nullopt) << damaged;
    }
}
