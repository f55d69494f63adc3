// The guide to CI is run as it stands: what its jobs call, in a clean clone with an empty home.
#include "Tests/Programs/QuorvelFixture.h"

#include <regex>

namespace quorvel::test {
namespace {

struct Job {
    std::string name;
    std::vector<std::string> lines; // commands, in order
};

// The jobs of the page's examples, one list per example.
std::vector<std::vector<Job>> examplesOf(const std::string& page) {
    std::vector<std::vector<Job>> examples;
    std::istringstream text(page);
    const std::regex job(R"( {0,2}(compare|publish):)");
    const std::regex command(R"( +- (?:run: )?(quorvel .*))");
    bool isExample = false;
    std::smatch found;
    for (std::string line; std::getline(text, line);) {
        if (line.starts_with("```")) isExample = line == "```yaml";
        if (line == "```yaml") examples.emplace_back();
        if (!isExample) continue;
        if (std::regex_match(line, found, job)) examples.back().push_back({found[1], {}});
        if (std::regex_match(line, found, command)) {
            EXPECT_FALSE(examples.back().empty()) << line;
            if (!examples.back().empty()) examples.back().back().lines.push_back(found[1]);
        }
    }
    return examples;
}

class CIGuide : public QuorvelAccountTest {
  protected:
    CIGuide() {
        // As a service hands it over: the text of the key in a variable, and nothing else of use.
        environment.erase("ASC_PRIVATE_KEY_PATH");
        environment["ASC_PRIVATE_KEY"] = readFile(server.access().privateKeyFile).value();
        environment["PATH"] =
            std::filesystem::path(QUORVEL_PROGRAM).parent_path().string() + ":/usr/bin:/bin";
    }

    ProgramResult inCheckout(const std::string& line) {
        return runProgram({"/bin/sh", {"-c", line}, environment, folder / "checkout"});
    }
    /// A checkout with one edit, and the home of a new container.
    void checkOut(const std::string& subtitle) {
        std::filesystem::remove_all(folder / "checkout");
        std::filesystem::copy(folder / "origin", folder / "checkout",
                              std::filesystem::copy_options::recursive);
        std::filesystem::remove_all(folder / "checkout/metadata/ios/next/.brevant");
        std::filesystem::remove_all(folder / "checkout/metadata/.brevant");
        writeFileAtomically(folder / "checkout/metadata/ios/next/de-DE/subtitle.txt", subtitle);
        std::filesystem::remove_all(folder / "home");
    }
};

TEST_F(CIGuide, holdsJobsThatDoWhatThePageSays) {
    const auto page = readFile(std::filesystem::path(QUORVEL_SOURCE_DIR) / "docs/ci.md").value_or("");
    const auto examples = examplesOf(page);
    ASSERT_EQ(examples.size(), 2u);
    createFolders(folder / "origin");
    writeFileAtomically(folder / "origin/quorvel.toml",
                        std::string("app = \"") + app + "\"\ntree = \"metadata\"\nplatform = \"ios\"\n");
    ASSERT_EQ(runProgram({QUORVEL_PROGRAM, {"pull", "--quiet"}, environment, folder / "origin"}).status, 0);
    int edit = 0;
    for (const auto& jobs : examples) {
        ASSERT_EQ(jobs.size(), 2u);
        const std::string subtitle = "Ernte Nummer " + std::to_string(++edit);
        for (const Job& job : jobs) {
            checkOut(subtitle);
            ASSERT_FALSE(job.lines.empty()) << job.name;
            const std::size_t before = changesSent();
            for (const std::string& line : job.lines) {
                const auto result = inCheckout(line);
                EXPECT_EQ(result.status, line.find("--exit-code") == line.npos ? 0 : 1) << line << "\n"
                                                                                        << result.all();
            }
            EXPECT_EQ(changesSent() - before, job.name == "publish" ? 1u : 0u) << job.name;
        }
        const auto settled = inCheckout("quorvel diff --exit-code");
        EXPECT_EQ(settled.status, 0) << settled.all() << "the push left copies";
    }
}

} // namespace
} // namespace quorvel::test
