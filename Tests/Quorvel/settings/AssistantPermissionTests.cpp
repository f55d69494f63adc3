#include "Quorvel/settings/AssistantPermission.h"
#include "Tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace quorvel {
namespace {

TEST(AssistantPermissionSetting, isRememberedAndNeverAllowsMoreThanWasUnderstood) {
    const test::TemporaryFolder folder;
    const auto defaults = std::make_shared<UserDefaults>(folder / "settings.json");
    const AssistantPermissionSetting setting(defaults);
    EXPECT_EQ(setting.permission(), AssistantPermission::edits);
    for (const auto& [permission, word] : RawValues<AssistantPermission>::values) {
        setting.choose(permission);
        EXPECT_EQ(setting.permission(), permission);
        EXPECT_EQ(defaults->string(AssistantPermissionSetting::key), word);
    }
    defaults->set(AssistantPermissionSetting::key, "everything"); // by hand
    EXPECT_EQ(setting.permission(), AssistantPermission::readOnly);
    std::filesystem::create_directory(folder / "folder.json");
    const AssistantPermissionSetting unreadable(std::make_shared<UserDefaults>(folder / "folder.json"));
    EXPECT_EQ(unreadable.permission(), AssistantPermission::readOnly);
}

} // namespace
} // namespace quorvel
