#include "Core/assistants/MCPHandoff.h"
#include "Core/build/BuildConfigStore.h"
#include "Platform/files/Files.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/AssistantHandoff.h"
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

} // namespace
} // namespace quorvel
