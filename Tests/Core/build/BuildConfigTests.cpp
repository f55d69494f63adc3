#include "Core/build/ArchiveInfo.h"
#include "Core/build/BuildConfigStore.h"
#include "Core/build/ProjectSearch.h"
#include "Platform/files/Files.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorvel {

namespace {

using test::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

} // namespace

TEST(BuildConfigStore, keepsOneConfigurationPerAppAndPlatform) {
    const TemporaryFolder folder;
    const auto defaults = std::make_shared<UserDefaults>(folder / "settings.json");
    const BuildConfigStore store(defaults);
    const BuildConfig phone{.projectPath = "/a/App.xcodeproj", .scheme = "App"};
    BuildConfig mac = phone;
    mac.platform = TargetPlatform::macOS;
    mac.autoAttachBuildToVersion = false;
    EXPECT_TRUE(store.save("A", phone));
    EXPECT_TRUE(store.save("A", mac));
    EXPECT_FALSE(store.save("A", mac)) << "nothing changed";
    EXPECT_EQ(BuildConfigStore(defaults).load("A", TargetPlatform::iOS), phone);
    EXPECT_EQ(store.load("A", TargetPlatform::macOS), mac);
    EXPECT_EQ(store.load("B", TargetPlatform::iOS), std::nullopt);
    EXPECT_EQ(defaults->string("Brevant.BuildConfig.A.macOS"),
              R"({"projectPath":"/a/App.xcodeproj","scheme":"App","configuration":"Release",)"
              R"("exportMethod":"app-store","autoDeclareEncryptionExempt":false,)"
              R"("autoAttachBuildToVersion":false,"platform":"macOS","autoIncrementBuildNumber":true})");
    defaults->set("Brevant.BuildConfig.A.iOS", "{\"scheme\":");
    EXPECT_EQ(store.load("A", TargetPlatform::iOS), std::nullopt);
    EXPECT_TRUE(store.save("A", phone));
}

TEST(ProjectSearch, findsTheProjectsOfTheNearestFolderThatHasAny) {
    const TemporaryFolder folder;
    const auto make = [&](const char* path) { createFolders(folder / path); };
    for (const char* path :
         {"one/.git", "one/App.xcodeproj/project.xcworkspace", "one/Sources/Deep", "pods/.git",
          "pods/App.xcodeproj", "pods/App.xcworkspace", "pods/Pods/Pods.xcodeproj", "pods/Pods/Target",
          "two/A.xcodeproj", "two/B.xcodeproj", "none/.git/hooks", "none/x"})
        make(path);
    const auto found = [&](const char* start) {
        std::vector<std::string> names;
        for (const auto& path : projectsAbove(folder / start))
            names.push_back(path.lexically_relative(folder.path()).string());
        return names;
    };
    EXPECT_THAT(found("one/Sources/Deep"), ElementsAre("one/App.xcodeproj"));
    EXPECT_THAT(found("one/App.xcodeproj"), ElementsAre("one/App.xcodeproj")) << "not the workspace inside";
    EXPECT_THAT(found("pods"), ElementsAre("pods/App.xcworkspace"));
    EXPECT_THAT(found("pods/Pods/Target"), ElementsAre("pods/App.xcworkspace"));
    EXPECT_THAT(found("two"), ElementsAre("two/A.xcodeproj", "two/B.xcodeproj"));
    EXPECT_THAT(found("none/x"), IsEmpty()) << "not above the repository";
}

TEST(ArchiveInfo, isWhatTheArchiveSaysOfItsApp) {
    const TemporaryFolder folder;
    EXPECT_EQ(archiveInfoOf(folder.path()), ArchiveInfo{});
    writeFileAtomically(folder / "Info.plist",
                        "<plist><dict><key>ApplicationProperties</key><dict>\n"
                        "\t<key>CFBundleShortVersionString</key>\r\n\t<string>3.5</string>\n"
                        "\t<key>CFBundleVersion</key><string> 42 </string></dict></dict></plist>");
    EXPECT_EQ(archiveInfoOf(folder.path()), (ArchiveInfo{"3.5", "42"}));
    writeFileAtomically(folder / "Info.plist", "bplist00 CFBundleVersion");
    EXPECT_EQ(archiveInfoOf(folder.path()), ArchiveInfo{});
}

} // namespace quorvel
