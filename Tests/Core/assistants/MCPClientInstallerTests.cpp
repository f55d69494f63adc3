#include "Core/assistants/MCPClientInstaller.h"
#include "Core/assistants/ServerProgram.h"
#include "Platform/files/Files.h"
#include "Tests/support/FileMode.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <grp.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

namespace quorvel {
namespace {

using Change = MCPClientInstaller::Change;
using InstallError = MCPClientInstaller::InstallError;
using Status = MCPClientInstaller::Status;
using testing::HasSubstr;

constexpr MCPClient claude = MCPClient::claudeCode;

class Installer : public testing::Test {
  protected:
    void write(const std::string& text) { writeFileAtomically(file, text); }
    // The error of an install, which changed nothing in the home.
    std::optional<InstallError> refusal(const MCPClientInstaller& tried, MCPClient client = claude) {
        const auto before = readable(file) ? readFile(file) : std::nullopt;
        const auto names = listFolder(folder.path());
        try {
            (void)tried.install(client);
        } catch (const InstallError& error) {
            EXPECT_EQ(readable(file) ? readFile(file) : std::nullopt, before);
            EXPECT_EQ(listFolder(folder.path()), names);
            return error;
        }
        ADD_FAILURE() << "nothing was thrown";
        return std::nullopt;
    }
    static bool readable(const std::filesystem::path& path) { return std::filesystem::is_regular_file(path); }

    test::TemporaryFolder folder;
    std::filesystem::path file = folder / ".claude.json";
    MCPClientInstaller installer{"/bin/quorvel-mcp", Home{folder.path()}};
};

TEST_F(Installer, keepsOtherServersAndTellsAMovedProgram) {
    EXPECT_EQ(installer.status(claude), Status());
    write("{\"mcpServers\":{\"a\":{\"command\":\"x\"}}}");
    ::chmod(file.c_str(), 0640);
    const bool isRoot = ::geteuid() == 0; // only root can give a file away
    ASSERT_EQ(isRoot ? ::chown(file.c_str(), 4711, 4712) : 0, 0);
    EXPECT_EQ(installer.install(claude, DryRun::yes).kind, Change::Kind::added);
    EXPECT_EQ(installer.status(claude), Status()) << "a dry run changes nothing";
    EXPECT_EQ(installer.install(claude).kind, Change::Kind::added);
    EXPECT_EQ(installer.status(claude), (Status{Status::Kind::installed, "/bin/quorvel-mcp"}));
    EXPECT_EQ(test::modeOf(file), 0640U);
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_TRUE(!isRoot || (status.st_uid == 4711 && status.st_gid == 4712));
    EXPECT_EQ(installer.install(claude).kind, Change::Kind::unchanged);

    const MCPClientInstaller moved("/new/quorvel-mcp", Home{folder.path()});
    EXPECT_EQ(moved.status(claude), (Status{Status::Kind::installedButStale, "/bin/quorvel-mcp"}));
    const Change replaced = moved.install(claude);
    EXPECT_EQ(replaced.kind, Change::Kind::replaced);
    EXPECT_EQ(replaced.previousPath, "/bin/quorvel-mcp");
    EXPECT_EQ(moved.status(claude).kind, Status::Kind::installed);
    EXPECT_EQ(moved.uninstall(claude).kind, Change::Kind::removed);
    EXPECT_EQ(readFile(file), "{\"mcpServers\":{\"a\":{\"command\":\"x\"}}}");
    EXPECT_EQ(moved.uninstall(claude).kind, Change::Kind::unchanged);
}

TEST_F(Installer, makesAMissingFileButNoFolder) {
    EXPECT_EQ(installer.uninstall(MCPClient::cursor).kind, Change::Kind::unchanged);
    const auto error = refusal(installer, MCPClient::cursor);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), InstallError::Kind::parentDirectoryMissing);
    EXPECT_EQ(error->what(), "Client config directory doesn't exist yet (" + (folder / ".cursor").string() +
                                 ") — launch the client at least once and try again.");
    const Change made = installer.install(claude);
    EXPECT_TRUE(made.makesFile);
    EXPECT_EQ(readFile(file), "{\n  \"mcpServers\": {\n    \"quorvel\": {\n      \"command\": "
                              "\"/bin/quorvel-mcp\",\n      \"args\": []\n    }\n  }\n}\n");
    EXPECT_EQ(test::modeOf(file), 0600U) << "other servers' secrets may follow";
}

TEST_F(Installer, refusesWhatItCannotReadOrWrite) {
    const std::string invalid = "Existing config at " + file.string() +
                                " isn't valid JSON. Open it manually or remove it before connecting.";
    for (const std::string text : {"", "{\"a\": 1,}", "[]", "{\"mcpServers\": 1}", "\xFF"}) {
        write(text);
        const auto error = refusal(installer);
        ASSERT_TRUE(error);
        EXPECT_EQ(error->kind(), InstallError::Kind::configInvalidJSON);
        EXPECT_EQ(error->what(), invalid);
        EXPECT_NE(error->detail(), "");
        EXPECT_THROW((void)installer.status(claude), InstallError);
        EXPECT_THROW((void)installer.uninstall(claude), InstallError);
        EXPECT_EQ(readFile(file), text);
    }
    removeFile(file);
    std::filesystem::create_directory(file);
    EXPECT_EQ(refusal(installer).value().kind(), InstallError::Kind::configInvalidJSON);
    std::filesystem::remove(file);

    write("{}");
    ::chmod(file.c_str(), 0444);
    const auto readOnly = refusal(installer);
    ASSERT_TRUE(readOnly);
    EXPECT_EQ(readOnly->kind(), InstallError::Kind::writeFailed);
    EXPECT_EQ(readOnly->what(), "Could not write " + file.string() + ": it is read-only");
    std::filesystem::remove(file);
    std::filesystem::create_symlink(file, file);
    EXPECT_THROW((void)installer.install(claude), InstallError);
}

// As a user who is in the groups 1000 and 2000.
TEST_F(Installer, keepsOwnerAndGroupOrChangesNothing) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can give files away";
    ::chmod(folder.path().c_str(), 0777);
    struct Case {
        uid_t owner;
        gid_t group;
        const char* refused; // nullptr: it is not
    };
    constexpr const char* foreign = "it belongs to another user, and would be yours after that";
    for (const auto& [owner, group, refused] :
         {Case{1000, 2000, nullptr}, Case{1000, 1000, nullptr}, Case{1001, 2000, foreign},
          Case{1000, 3000, "it belongs to a group that you are no member of"}}) {
        SCOPED_TRACE(std::to_string(owner) + ":" + std::to_string(group));
        write("{}");
        ASSERT_EQ(::chown(file.c_str(), owner, group), 0);
        ASSERT_EQ(::chmod(file.c_str(), 0666), 0);
        struct stat before {
        }, after{};
        ASSERT_EQ(::stat(file.c_str(), &before), 0);
        const pid_t child = ::fork();
        if (child == 0) {
            const gid_t groups[] = {1000, 2000};
            if (::setgroups(2, groups) != 0 || ::setgid(1000) != 0 || ::setuid(1000) != 0) ::_exit(2);
            for (const DryRun dryRun : {DryRun::yes, DryRun::no})
                try {
                    (void)installer.install(claude, dryRun);
                    if (refused) ::_exit(3);
                } catch (const InstallError& error) {
                    const std::string expected =
                        "Could not write " + file.string() + ": " + (refused ? refused : "");
                    if (!refused || error.what() != expected) ::_exit(4);
                }
            ::_exit(0);
        }
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(WEXITSTATUS(status), 0);
        ASSERT_EQ(::stat(file.c_str(), &after), 0);
        EXPECT_EQ(after.st_ino == before.st_ino, refused != nullptr);
        EXPECT_EQ(after.st_uid, owner);
        EXPECT_EQ(after.st_gid, group);
        EXPECT_EQ(after.st_mode, before.st_mode);
        ASSERT_TRUE(removeFile(file));
    }
}

TEST_F(Installer, replacesTheTargetOfLinks) {
    std::filesystem::create_directories(folder / "dotfiles/deep");
    std::filesystem::create_symlink("dotfiles/second", file);
    std::filesystem::create_symlink("deep/../../dotfiles/deep/real.json", folder / "dotfiles/second");
    const auto real = folder / "dotfiles/deep/real.json";
    for (const bool exists : {false, true}) {
        if (exists) writeFileAtomically(real, "{\n}\n");
        const Change change = installer.install(claude);
        EXPECT_EQ(change.kind, Change::Kind::added);
        EXPECT_EQ(change.makesFile, !exists);
        EXPECT_TRUE(std::filesystem::equivalent(change.target, real));
        EXPECT_TRUE(std::filesystem::is_symlink(file));
        EXPECT_TRUE(std::filesystem::is_symlink(folder / "dotfiles/second"));
        EXPECT_THAT(readFile(real).value_or(""), HasSubstr("/bin/quorvel-mcp"));
        EXPECT_EQ(listFolder(folder / "dotfiles/deep")->size(), 1U) << "no temporary file stays";
    }
    std::filesystem::remove_all(folder / "dotfiles/deep");
    EXPECT_EQ(refusal(installer).value().kind(), InstallError::Kind::parentDirectoryMissing);
    EXPECT_TRUE(std::filesystem::is_symlink(file));
}

TEST_F(Installer, beginsAnewWhenTheClientWritesMeanwhile) {
    write("{}");
    int writes = 0;
    installer.beforeWrite = [&](const std::filesystem::path& path) {
        if (++writes <= 3) writeFileAtomically(path, "{\"run\":" + std::to_string(writes) + "}");
    };
    EXPECT_EQ(installer.install(claude).kind, Change::Kind::added);
    EXPECT_EQ(readFile(file),
              R"({"run":3,"mcpServers":{"quorvel":{"command":"/bin/quorvel-mcp","args":[]}}})");
    write("{}");
    installer.beforeWrite = [&](const std::filesystem::path& path) {
        writeFileAtomically(path, "{\"run\":" + std::to_string(++writes) + "}");
    };
    try {
        (void)installer.install(claude);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const InstallError& error) {
        EXPECT_EQ(error.kind(), InstallError::Kind::writeFailed);
        EXPECT_EQ(readFile(file), "{\"run\":" + std::to_string(writes) + "}");
    }
    installer.beforeWrite = [&](const std::filesystem::path&) { write("{,"); };
    EXPECT_THROW((void)installer.install(claude), InstallError);
    EXPECT_EQ(readFile(file), "{,");
}

TEST_F(Installer, leavesTheOldOrTheNewFileWhenItIsKilled) {
    const std::string large = "{\"text\":\"" + std::string(50'000, 'x') + "\",\"mcpServers\":{\"a\":1}}";
    write(large);
    (void)installer.install(claude);
    const std::string installed = readFile(file).value_or("");
    const auto temporary = folder / ".claude.json.quorvel-tmp";
    int leftovers = 0;
    for (int round = 0; round < 16; ++round) {
        int pipe[2];
        ASSERT_EQ(::pipe(pipe), 0);
        const pid_t child = ::fork();
        if (child == 0) {
            for (;;) {
                if (::write(pipe[1], "x", 1) != 1) ::_exit(1);
                (void)installer.uninstall(claude);
                (void)installer.install(claude);
            }
        }
        ::close(pipe[1]);
        char byte = 0;
        ASSERT_EQ(::read(pipe[0], &byte, 1), 1);
        // Every other kill meets a file that is being written; the reads spread them over its time.
        while (round % 2 == 1 && !std::filesystem::exists(temporary))
            ASSERT_EQ(::waitpid(child, nullptr, WNOHANG), 0);
        for (int reads = 0; reads < round % 5; ++reads) {
            const auto text = readFile(file);
            ASSERT_TRUE(text == large || text == installed);
        }
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        ::close(pipe[0]);
        const auto text = readFile(file);
        ASSERT_TRUE(text == large || text == installed);
        const auto entries = listFolder(folder.path()).value();
        for (const auto& entry : entries) {
            if (entry.name == ".claude.json") continue;
            ASSERT_EQ(entry.name, temporary.filename());
            ++leftovers;
        }
    }
    EXPECT_GT(leftovers, 0) << "no kill met a change";
    (void)installer.uninstall(claude);
    (void)installer.install(claude);
    EXPECT_EQ(readFile(file), installed);
    EXPECT_EQ(listFolder(folder.path())->size(), 1U) << "the next change removes what a killed one left";
}

TEST_F(Installer, knowsWhereEachClientKeepsItsServersAndWhetherItIsThere) {
    const Home home{folder.path()};
    const MCPClientPlaces places{folder / "Applications", {folder / "bin"}};
    const auto touch = [&](const std::filesystem::path& path, bool isProgram = false) {
        std::filesystem::create_directories((folder / path).parent_path());
        writeFileAtomically(folder / path, "");
        if (isProgram) ::chmod((folder / path).c_str(), 0755);
    };
    struct Row {
        MCPClient client;
        std::string raw, name, configuration, application, command;
    };
    const std::vector<Row> rows = {
        {MCPClient::claudeCode, "claude-code", "Claude Code", ".claude.json", "", "claude"},
        {MCPClient::claudeDesktop, "claude-desktop", "Claude Desktop",
         "Library/Application Support/Claude/claude_desktop_config.json", "Claude.app", "claude-desktop"},
        {MCPClient::cursor, "cursor", "Cursor", ".cursor/mcp.json", "Cursor.app", "cursor"},
        {MCPClient::windsurf, "windsurf", "Windsurf", ".codeium/windsurf/mcp_config.json", "Windsurf.app",
         "windsurf"}};
    for (const auto& [client, raw, name, configuration, application, command] : rows) {
        EXPECT_EQ(rawValue(client), raw);
        EXPECT_EQ(displayNameOf(client), name);
        EXPECT_EQ(configurationOf(client, home), folder / configuration);
        EXPECT_FALSE(isDetected(client, home, places)) << name;
        touch("bin/" + command);
        EXPECT_FALSE(isDetected(client, home, places)) << "that is no program";
        touch("bin/" + command, true);
        EXPECT_TRUE(isDetected(client, home, places)) << name;
        std::filesystem::remove(folder / "bin" / command);
        if (application.empty()) continue;
        std::filesystem::create_directories(folder / "Applications" / application);
        EXPECT_TRUE(isDetected(client, home, places)) << name;
    }
    for (const auto& [trace, client] : {std::pair(".claude.json", MCPClient::claudeCode),
                                        std::pair(".config/Windsurf/x", MCPClient::windsurf)}) {
        touch(trace);
        EXPECT_TRUE(isDetected(client, home, {folder / "none", {}})) << trace;
    }
    std::filesystem::create_directories(folder / ".config/Claude");
    EXPECT_EQ(configurationOf(MCPClient::claudeDesktop, home),
              folder / ".config/Claude/claude_desktop_config.json");
    std::filesystem::create_directories(folder / "Library/Application Support/Claude");
    EXPECT_EQ(configurationOf(MCPClient::claudeDesktop, home), folder / rows[1].configuration);
}

TEST(ServerProgram, isFoundBesideTheStableNameOfTheProgram) {
    const test::TemporaryFolder made;
    const auto folder = std::filesystem::canonical(made.path());
    const auto program = [&](const std::string& path) {
        std::filesystem::create_directories((folder / path).parent_path());
        writeFileAtomically(folder / path, "");
        std::filesystem::permissions(folder / path, std::filesystem::perms::owner_all);
    };
    program("versions/1.2/bin/quorvel");
    program("versions/1.2/bin/quorvel-mcp");
    std::filesystem::create_directories(folder / "bin");
    std::filesystem::create_directories(folder / "home");
    std::filesystem::create_symlink("../versions/1.2/bin/quorvel", folder / "bin/quorvel");
    std::filesystem::create_symlink(folder / "bin/quorvel", folder / "home/q");
    EXPECT_EQ(findServerProgram(folder / "home/q").path, folder / "versions/1.2/bin/quorvel-mcp");
    std::filesystem::create_symlink("../versions/1.2/bin/quorvel-mcp", folder / "bin/quorvel-mcp");
    EXPECT_EQ(findServerProgram(folder / "home/q").path, folder / "bin/quorvel-mcp");
    EXPECT_EQ(findServerProgram(folder / "bin/quorvel").path, folder / "bin/quorvel-mcp");
    std::filesystem::remove(folder / "versions/1.2/bin/quorvel-mcp"); // the link leads nowhere now
    const ServerProgram missing = findServerProgram(folder / "home/q");
    EXPECT_EQ(missing.path, std::nullopt);
    EXPECT_EQ(missing.searched.size(), 3U);
    EXPECT_TRUE(findServerProgram("").searched.empty()) << "not in the working folder";
}

} // namespace
} // namespace quorvel
