#include "Tests/Programs/QuorvelFixture.h"
#include "Tests/support/FileMode.h"

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

// The program under a link, as an installation has it, with a server beside it.
class Assistants : public QuorvelTest {
  protected:
    Assistants() {
        std::filesystem::create_directories(folder / "bin");
        std::filesystem::create_directories(folder / "home/.cursor");
        std::filesystem::create_symlink(QUORVEL_PROGRAM, folder / "bin/quorvel");
        environment["PATH"] = (folder / "bin").string() + ":/usr/bin:/bin";
    }
    void installServer() {
        writeFileAtomically(folder / "bin/quorvel-mcp", "#!/bin/sh\n");
        std::filesystem::permissions(server, std::filesystem::perms::owner_all);
    }
    ProgramResult runLinked(std::vector<std::string> arguments) {
        auto linked = call(std::move(arguments));
        linked.program = folder / "bin/quorvel";
        return runProgram(linked);
    }
    JSONValue assistant(std::size_t index) {
        const JSONValue status = onlyDocument(runLinked({"assistants", "status", "--json"}).out);
        return status.find("assistants")->items()->at(index);
    }

    std::filesystem::path server = folder / "bin/quorvel-mcp";
    std::filesystem::path claude = folder / "home/.claude.json";
    std::filesystem::path cursor = folder / "home/.cursor/mcp.json";
};

TEST_F(Assistants, areConnectedShownAndDisconnected) {
    installServer();
    writeFileAtomically(claude, "{\"mcpServers\": {}, \"big\": 9007199254740993}");
    const auto planned = runLinked({"assistants", "connect", "claude-code,cursor", "--dry-run"});
    EXPECT_EQ(planned.status, 0) << planned.all();
    EXPECT_THAT(planned.out, AllOf(HasSubstr("Claude Code: would add to " + claude.string()),
                                   HasSubstr("Cursor: would make " + cursor.string()),
                                   HasSubstr("\"command\": \"" + server.string() + "\"")));
    EXPECT_FALSE(std::filesystem::exists(cursor));
    EXPECT_EQ(*assistant(0).find("status")->text(), "notInstalled");

    const auto connected = runLinked({"assistants", "connect", "claude-code", "cursor"});
    EXPECT_EQ(connected.status, 0) << connected.all();
    EXPECT_THAT(connected.error, HasSubstr("Restart Claude Code, Cursor"));
    EXPECT_EQ(readFile(claude), "{\"mcpServers\": {\"quorvel\": {\"command\": \"" + server.string() +
                                    "\", \"args\": []}}, \"big\": 9007199254740993}");
    EXPECT_EQ(*assistant(2).find("status")->text(), "installed");
    EXPECT_THAT(runLinked({"assistants", "connect", "cursor"}).out,
                HasSubstr("Cursor: connected already in " + cursor.string()));

    writeFileAtomically(cursor, R"({"mcpServers":{"quorvel":{"command":"/gone/quorvel-mcp"}}})");
    const auto stale = runLinked({"assistants", "status"});
    EXPECT_EQ(stale.status, 0);
    EXPECT_THAT(stale.all(), AllOf(HasSubstr("Cursor starts /gone/quorvel-mcp"), HasSubstr("(edits)"),
                                   HasSubstr("The server is " + server.string())));
    EXPECT_THAT(runLinked({"assistants", "connect", "cursor"}).out,
                HasSubstr("it started /gone/quorvel-mcp"));

    const auto removed = runLinked({"assistants", "disconnect", "claude-code", "windsurf"});
    EXPECT_EQ(removed.status, 0);
    EXPECT_THAT(removed.out,
                AllOf(HasSubstr("Claude Code: removed from"), HasSubstr("Windsurf: not connected")));
    EXPECT_EQ(readFile(claude), "{\"mcpServers\": {}, \"big\": 9007199254740993}");
}

TEST_F(Assistants, areRefusedOneByOneWithoutAChange) {
    EXPECT_THAT(run({"assistants", "connect", "zed"}).all(), HasSubstr("claude-code"));
    EXPECT_EQ(run({"assistants", "connect"}).status, 2);
    EXPECT_EQ(run({"assistants", "allow", "everything"}).status, 2);
    // A link would lead to the folder of the built programs, where the server lies.
    std::filesystem::remove(folder / "bin/quorvel");
    std::error_code otherDisk;
    std::filesystem::create_hard_link(QUORVEL_PROGRAM, folder / "bin/quorvel", otherDisk);
    if (otherDisk) std::filesystem::copy_file(QUORVEL_PROGRAM, folder / "bin/quorvel");
    const auto noServer = runLinked({"assistants", "connect", "claude-code"});
    EXPECT_EQ(noServer.status, 1);
    EXPECT_THAT(noServer.error,
                AllOf(HasSubstr("not installed beside this program"), HasSubstr(server.string())));
    EXPECT_EQ(runLinked({"assistants", "print"}).status, 1);
    EXPECT_THAT(runLinked({"assistants", "status"}).error,
                HasSubstr("There is no server " + server.string()));

    installServer();
    const std::string comments = "{\n  // mine\n  \"mcpServers\": {},\n}\n";
    writeFileAtomically(claude, comments);
    const auto partly = runLinked({"assistants", "connect", "claude-code", "windsurf", "cursor", "--json"});
    EXPECT_EQ(partly.status, 7);
    EXPECT_THAT(partly.error, AllOf(HasSubstr("Existing config at " + claude.string() + " isn't valid JSON."),
                                    HasSubstr("line 2, column 3: a comment"),
                                    HasSubstr("launch the client at least once")));
    EXPECT_EQ(onlyDocument(partly.out).find("changes")->items()->size(), 3U);
    EXPECT_EQ(readFile(claude), comments);
    EXPECT_EQ(runLinked({"assistants", "connect", "windsurf"}).status, 4);
    EXPECT_THAT(runLinked({"assistants", "status"}).all(),
                AllOf(HasSubstr("cannot be read"), HasSubstr("line 2")));
}

TEST_F(Assistants, getASnippetAndAPermission) {
    installServer();
    const auto printed = runLinked({"assistants", "print"});
    EXPECT_EQ(*onlyDocument(printed.out).at("mcpServers", "quorvel", "command")->text(), server);
    EXPECT_THAT(printed.error, HasSubstr("take " + server.string() + " without arguments"));
    EXPECT_EQ(runLinked({"assistants", "allow", "read-only"}).status, 0);
    EXPECT_EQ(*onlyDocument(runLinked({"assistants", "status", "--json"}).out).find("permission")->text(),
              "read-only");
}

class AssistantHandoff : public QuorvelAccountTest {
  protected:
    std::optional<JSONValue> file(const std::string& name) {
        const auto text = readFile(folder / "home/Library/Application Support/Brevant" / name);
        return text ? std::optional(onlyDocument(*text)) : std::nullopt;
    }
    std::string served() {
        const auto handoff = file("mcp-handoff.json");
        return handoff ? *handoff->find("workspaceName")->text() : "";
    }
    void must(std::vector<std::string> arguments) {
        const auto result = run(std::move(arguments));
        EXPECT_EQ(result.status, 0) << result.all();
    }
};

TEST_F(AssistantHandoff, followsTheActiveWorkspaceAndTheBuildConfigurations) {
    EXPECT_EQ(run({"assistants", "allow", "edits"}).status, 0);
    EXPECT_EQ(served(), "");
    must({"apps", "import", app});
    const std::string first = served();
    EXPECT_NE(first, "");
    must({"workspaces", "create", "Second"});
    EXPECT_EQ(served(), first);
    must({"workspaces", "use", "Second"});
    EXPECT_EQ(served(), "Second");
    must({"workspaces", "rename", "Second", "Third"});
    EXPECT_EQ(served(), "Third");
    must({"workspaces", "delete", "Third", "--yes"});
    EXPECT_EQ(served(), first) << "the only one that is left";

    std::filesystem::create_directories(folder / "Garden.xcodeproj");
    for (const std::string platform : {"ios", "macos"})
        must({"build", "config", "--app", app, "--platform", platform, "--project", "Garden.xcodeproj",
              "--scheme", "Garden " + platform});
    const auto blob = file("mcp-build-configs.json");
    ASSERT_TRUE(blob);
    EXPECT_EQ(*blob->at("configs", "mosswick-garden-journal", "scheme")->text(), "Garden ios");
    EXPECT_EQ(*blob->at("configs", "mosswick-garden-journal/macos", "scheme")->text(), "Garden macos");
    EXPECT_EQ(modeOf(folder / "home/Library/Application Support/Brevant/mcp-build-configs.json"), 0600U);
    must({"apps", "remove", app, "--yes"});
    EXPECT_FALSE(file("mcp-build-configs.json"));
}

} // namespace
} // namespace quorvel::test
