#include "Quorvel/settings/ActiveWorkspace.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace quorvel {
namespace {

using testing::StartsWith;

TEST(ActiveWorkspace, isRememberedBetweenRunsUntilItIsForgotten) {
    const test::TemporaryFolder folder;
    const auto defaults = [&] { return std::make_shared<UserDefaults>(folder / "settings.json"); };
    const ActiveWorkspace workspace(defaults());
    EXPECT_EQ(workspace.id(), std::nullopt);
    EXPECT_TRUE(workspace.choose("one"));
    EXPECT_EQ(ActiveWorkspace(defaults()).id(), "one");
    EXPECT_TRUE(workspace.choose(std::nullopt));
    EXPECT_EQ(ActiveWorkspace(defaults()).id(), std::nullopt);
    defaults()->set(ActiveWorkspace::key, ""); // by hand
    EXPECT_EQ(workspace.id(), std::nullopt);
}

TEST(ActiveWorkspace, saysInTheLogThatAChoiceWasNotStored) {
    const test::TemporaryFolder folder;
    writeFileAtomically(folder / "file", "in the way");
    const LogCapture log;
    const ActiveWorkspace workspace(std::make_shared<UserDefaults>(folder / "file" / "settings.json"));
    EXPECT_FALSE(workspace.choose("one"));
    EXPECT_THAT(log.text(), StartsWith("error ActiveWorkspace: Couldn't save active workspace: " +
                                       folder.path().native()));
    EXPECT_EQ(workspace.id(), std::nullopt);
}

} // namespace
} // namespace quorvel
