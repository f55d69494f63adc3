#include "Core/assistants/MCPHandoff.h"
#include "Core/build/BuildConfigStore.h"
#include "Platform/files/Files.h"
#include "Quorvel/actions/ActionCatalogue.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/AssistantHandoff.h"
#include "Quorvel/application/Failure.h"
#include "Tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace quorvel {
namespace {

TEST(AssistantHandoff, makesNothingInAnEmptyHomeAndStopsNothingWhereItCannotWrite) {
    const test::TemporaryFolder folder;
    Application application({.home = {folder / "home"}, .workingFolder = folder.path()});
    refreshAssistantHandoff(application);
    EXPECT_FALSE(std::filesystem::exists(folder / "home"));

    const auto made = application.workspaces().create("Garden");
    const MCPHandoffStore store(mcpFolder(application.home()));
    std::filesystem::create_directories(store.file() / "in the way");
    const LogCapture log;
    EXPECT_NO_THROW(refreshAssistantHandoff(application));
    EXPECT_NE(log.text().find("AssistantHandoff: Couldn't hand over to assistants: "), std::string::npos);

    std::filesystem::remove_all(store.file());
    refreshAssistantHandoff(application);
    EXPECT_EQ(store.load(), (MCPHandoff{.workspaceNamespace = made.id, .workspaceName = "Garden"}));
    const auto written = std::filesystem::last_write_time(store.file());
    refreshAssistantHandoff(application);
    EXPECT_EQ(std::filesystem::last_write_time(store.file()), written) << "nothing changed";
}

TEST(Assistants, areNotConnectedByADescriptionThatNamesNoProgram) {
    const test::TemporaryFolder folder;
    Application application({.home = {folder.path()}, .workingFolder = folder.path()});
    EXPECT_THROW((void)findAction("connect_assistants")
                     ->perform(application, R"({"assistants":["claude-code"]})", ActionProgress()),
                 ApplicationError);
    const auto status =
        decodeJSON<JSONValue>(findAction("assistant_status")->perform(application, "{}", ActionProgress()));
    EXPECT_EQ(status.find("assistants")->items()->size(), 4U);
    EXPECT_FALSE(*status.find("serverIsThere")->boolean());
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

} // namespace
} // namespace quorvel
