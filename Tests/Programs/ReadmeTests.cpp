#include "Tests/Programs/QuorvelFixture.h"

namespace quorvel::test {
namespace {

// An account with one app and no version, an empty home, a fresh folder.
class Readme : public QuorvelAccountTest {
  protected:
    Readme() : QuorvelAccountTest(sandbox::Seed::empty) {
        forgetEnvironmentKey();
        const std::string programs = std::filesystem::path(QUORVEL_PROGRAM).parent_path();
        environment["PATH"] = programs + ":/usr/bin:/bin";
        environment["EDITOR"] = (folder / "editor").string();
        writeFileAtomically(folder / "editor", "#!/bin/sh\nprintf 'A place for drawings.' > \"$1\"\n");
        std::filesystem::permissions(folder / "editor", std::filesystem::perms::owner_all);
    }

    // The lines of the first example, with the names of this account.
    std::vector<std::string> lines() const {
        const std::string readme =
            readFile(std::filesystem::path(QUORVEL_SOURCE_DIR) / "README.md").value_or("");
        const std::size_t start = readme.find("```\n", readme.find("## A first release in ten lines")) + 4;
        std::istringstream block(readme.substr(start, readme.find("```", start) - start));
        const std::pair<std::string, std::string> names[] = {
            {"57246542-96fe-1a63-e053-0824d011072a", server.access().issuerID},
            {"AuthKey_2X9AB7C4DE.p8", server.access().privateKeyFile.string()},
            {"com.example.app", "studio.fernhollow.blankcanvas"},
            {"my-app", "blank-canvas"}};
        std::vector<std::string> found;
        for (std::string line; std::getline(block, line);) {
            for (const auto& [here, there] : names)
                if (const std::size_t at = line.find(here); at != line.npos)
                    line.replace(at, here.size(), there);
            found.push_back(line);
        }
        return found;
    }

    ProgramResult type(const std::string& line) {
        ProgramCall typed{"/bin/sh", {"-c", line}, environment, folder.path(), "y\n"};
        typed.streams = ProgramCall::Streams::terminal;
        return runProgram(typed);
    }
};

TEST_F(Readme, bringsANewcomerToAFirstPush) {
    EXPECT_EQ(lines().size(), 10u);
    for (const std::string& line : lines()) {
        const auto shown = type(line);
        EXPECT_EQ(shown.status, 0) << line << "\n" << shown.out;
    }
    ASSERT_EQ(run({"pull", "--folder", "texts"}).status, 0);
    EXPECT_EQ(readFile(text("en-US", "description.txt")), "A place for drawings.");
}

} // namespace
} // namespace quorvel::test
