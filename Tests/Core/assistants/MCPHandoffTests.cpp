#include "Core/assistants/MCPHandoff.h"
#include "Platform/files/Files.h"
#include "Tests/support/FileMode.h"
#include "Tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace quorvel {
namespace {

TEST(MCPHandoffStore, writesForItsOwnerOnlyAndReadsNothingFromWhatItCannotUnderstand) {
    const test::TemporaryFolder folder;
    const MCPHandoffStore store(folder / "Brevant");
    EXPECT_EQ(store.load(), std::nullopt);
    const MCPHandoff handoff{.workspaceNamespace = "66AD", .workspaceName = "Gärten & \"Co\""};
    store.save(handoff);
    EXPECT_EQ(store.load(), handoff);
    EXPECT_EQ(store.file(), folder / "Brevant/mcp-handoff.json");
    EXPECT_EQ(readFile(store.file()),
              "{\n  \"version\": 1,\n  \"workspaceName\": \"Gärten & \\\"Co\\\"\",\n  "
              "\"workspaceNamespace\": \"66AD\"\n}\n");
    EXPECT_EQ(test::modeOf(store.file()), 0600U);
    for (const char* text :
         {"", "{", "[]", "{\"version\":1}", "{\"version\":\"1\",\"workspaceNamespace\":\"\"}",
          R"({"version":2,"workspaceNamespace":"a","workspaceName":"b"})"}) {
        writeFileAtomically(store.file(), text);
        EXPECT_EQ(store.load(), std::nullopt) << text;
    }
    store.save(std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(store.file()));
    std::filesystem::create_directory(store.file());
    EXPECT_EQ(store.load(), std::nullopt);
}

TEST(MCPBuildConfigStore, keepsBuildsForMacOSApartFromTheOthers) {
    const test::TemporaryFolder folder;
    const MCPBuildConfigStore store(folder.path());
    MCPBuildConfigsBlob blob;
    for (const TargetPlatform platform : allTargetPlatforms)
        blob.configs[MCPBuildConfigsBlob::keyOf("tides", platform)] = {
            .projectPath = "/p.xcodeproj", .scheme = "Tides", .platform = platform};
    store.save(blob);
    EXPECT_EQ(store.load(), blob);
    const auto text = decodeJSON<JSONValue>(readFile(folder / "mcp-build-configs.json").value_or(""));
    ASSERT_TRUE(text.at("configs", "tides/macos") && text.at("configs", "tides"));
    EXPECT_EQ(*text.at("configs", "tides", "platform")->text(), "iOS");
    EXPECT_EQ(*text.at("configs", "tides/macos", "platform")->text(), "macOS");
}

} // namespace
} // namespace quorvel
